#include "platform/linux/WakeWatcher.h"

#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/BusProcess.h"
#include "tests/support/RunUntil.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

/// A real message bus on a socket of its own, that can be ended and started again.
class RestartableBus
{
public:
    RestartableBus()
    {
        QFile configuration(m_folder.filePath("bus.conf"));
        if (configuration.open(QIODevice::WriteOnly))
            configuration.write(QString("<busconfig><type>system</type><listen>%1</listen><auth>EXTERNAL</auth>"
                                        "<policy context=\"default\"><allow send_destination=\"*\"/><allow receive_type=\"signal\"/>"
                                        "<allow receive_type=\"method_return\"/><allow receive_type=\"error\"/><allow own=\"*\"/><allow user=\"*\"/>"
                                        "<allow send_type=\"signal\"/></policy></busconfig>")
                                    .arg(address())
                                    .toUtf8());
    }
    ~RestartableBus() { stop(); }
    RestartableBus(const RestartableBus &) = delete;
    RestartableBus &operator=(const RestartableBus &) = delete;

    /// Starts the bus; true once it takes connections.
    bool start() { return !m_bus.start(m_folder.filePath("bus.conf")).isEmpty(); }
    /// Ends the bus at once, as a crash would, with its socket.
    void stop()
    {
        m_bus.kill();
        QFile::remove(m_folder.filePath("socket"));
    }
    [[nodiscard]] QString address() const { return "unix:path=" + m_folder.filePath("socket"); }

private:
    QTemporaryDir m_folder;
    BusProcess m_bus;
};

/// Says what logind says.
class FakeLogind
{
public:
    /// `name` is the well-known name it takes; empty for none.
    explicit FakeLogind(const QString &address, const QString &name = "org.freedesktop.login1")
        : m_name(QString("fake-logind-%1").arg(quintptr(this))), m_bus(QDBusConnection::connectToBus(address, m_name))
    {
        m_owner = !name.isEmpty() && m_bus.registerService(name);
    }
    ~FakeLogind() { QDBusConnection::disconnectFromBus(m_name); }
    FakeLogind(const FakeLogind &) = delete;
    FakeLogind &operator=(const FakeLogind &) = delete;

    [[nodiscard]] bool ownsItsName() const { return m_owner; }
    void prepareForSleep(bool aboutToSleep)
    {
        QDBusMessage signal = QDBusMessage::createSignal("/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep");
        signal << aboutToSleep;
        m_bus.send(signal);
    }
    /// Returns once the bus has taken everything that was said so far.
    void waitForBus() { m_bus.interface()->isServiceRegistered("org.freedesktop.DBus"); }

private:
    QString m_name;
    QDBusConnection m_bus;
    bool m_owner = false;
};

class Waking : public testing::Test
{
protected:
    void startBus() { ASSERT_TRUE(bus.start()) << "dbus-daemon does not run"; }
    bool wakesReach(int count)
    {
        return runUntil([&] { return wakes >= count; });
    }
    /// Turns the loop, and lets time pass, until the watcher has a bus again.
    bool reconnects()
    {
        return runUntil([&] {
            dispatch.advance(1s);
            return watcher.connected();
        });
    }

    RestartableBus bus;
    VirtualDispatch dispatch;
    int wakes = 0;
    WakeWatcher watcher{dispatch, [this] { ++wakes; }, bus.address()};
};

TEST_F(Waking, EndOfSleepIsToldItsBeginningIsNot)
{
    startBus();
    FakeLogind logind(bus.address());
    ASSERT_TRUE(logind.ownsItsName());
    watcher.start();
    for (int signal = 0; signal < 100; ++signal)
        logind.prepareForSleep(true);
    logind.prepareForSleep(false);
    ASSERT_TRUE(wakesReach(1));
    EXPECT_EQ(wakes, 1);
    logind.prepareForSleep(true);
    logind.prepareForSleep(false);
    EXPECT_TRUE(wakesReach(2));
}

TEST_F(Waking, OnlyLogindIsBelieved)
{
    startBus();
    FakeLogind logind(bus.address());
    FakeLogind stranger(bus.address(), {});
    watcher.start();
    for (int signal = 0; signal < 100; ++signal)
        stranger.prepareForSleep(false);
    stranger.waitForBus(); // what logind says now comes after
    logind.prepareForSleep(false);
    ASSERT_TRUE(wakesReach(1));
    EXPECT_EQ(wakes, 1);
}

TEST_F(Waking, LogindMayStartLaterAndStartAgain)
{
    startBus();
    watcher.start();
    for (int life = 1; life <= 2; ++life) {
        FakeLogind logind(bus.address());
        ASSERT_TRUE(runUntil([&] {
            logind.prepareForSleep(false);
            return wakes >= 1;
        }));
        wakes = 0;
    }
}

TEST_F(Waking, IsToldAgainAfterTheBusRestarted)
{
    startBus();
    watcher.start();
    ASSERT_TRUE(watcher.connected());
    for (int restart = 0; restart < 3; ++restart) {
        bus.stop();
        ASSERT_TRUE(runUntil([&] { return !watcher.connected(); }));
        dispatch.advance(10s); // tries while there is nothing
        startBus();
        ASSERT_TRUE(reconnects());
        FakeLogind logind(bus.address());
        wakes = 0;
        ASSERT_TRUE(runUntil([&] {
            logind.prepareForSleep(false);
            return wakes >= 1;
        }));
    }
}

TEST_F(Waking, MachineWithoutABusIsLeftInPeaceAndABusThatComesLaterIsFound)
{
    watcher.start();
    EXPECT_FALSE(watcher.connected());
    dispatch.advance(24h);
    EXPECT_FALSE(watcher.connected());
    startBus();
    dispatch.advance(60s); // the longest pause between two tries
    EXPECT_TRUE(watcher.connected());
}

TEST_F(Waking, NothingIsToldInsideTheStart)
{
    startBus();
    FakeLogind logind(bus.address());
    logind.prepareForSleep(false);
    watcher.start();
    EXPECT_EQ(wakes, 0);
}

TEST_F(Waking, NothingIsToldOnceTheWatcherIsGone)
{
    startBus();
    FakeLogind logind(bus.address());
    int told = 0;
    auto other = std::make_unique<WakeWatcher>(
        dispatch, [&] { ++told; }, bus.address());
    other->start();
    watcher.start();
    other.reset();
    logind.prepareForSleep(false);
    ASSERT_TRUE(wakesReach(1));
    EXPECT_EQ(told, 0);
}

} // namespace
