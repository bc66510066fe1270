#include "platform/linux/AvahiDaemonWatch.h"

#include "platform/linux/AvahiLoop.h"

#include "tests/support/PrivateBus.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

const QByteArray noBus = "unix:path=/nonexistent/lanterna-tests";
const QString daemonName = QStringLiteral("org.freedesktop.Avahi");

class AvahiDaemonWatchTest : public testing::Test
{
protected:
    AvahiDaemonWatchTest() { qputenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().toUtf8()); }
    ~AvahiDaemonWatchTest() override
    {
        onLoop([this] { watch.reset(); });
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", noBus); // never the machine's own
    }
    void onLoop(const Task &task)
    {
        std::atomic<bool> done = false;
        loop->post([&] {
            task();
            done = true;
        });
        ASSERT_TRUE(turnLoopUntil([&] { return done.load(); }));
    }
    void begin(std::chrono::milliseconds pause = 0ms)
    {
        onLoop([&] {
            watch.emplace(loop->api(), pause, [this](bool justNow) {
                toldJustNow = justNow;
                ++told;
            });
        });
    }

    PrivateBus bus;
    std::unique_ptr<AvahiLoop> loop = AvahiLoop::start();
    std::optional<AvahiDaemonWatch> watch; // belongs to the loop's thread
    std::atomic<int> told = 0;
    std::atomic<bool> toldJustNow = false;
};

} // namespace

TEST_F(AvahiDaemonWatchTest, ComingOfTheDaemonIsToldAtOnceAndEachTime)
{
    begin();
    QDBusConnection daemon = bus.connect();
    for (int times = 1; times <= 2; ++times) {
        EXPECT_TRUE(daemon.registerService(daemonName));
        EXPECT_TRUE(turnLoopUntil([&] { return told == times; }));
        EXPECT_TRUE(toldJustNow);
        EXPECT_TRUE(daemon.unregisterService(daemonName));
    }
}

TEST_F(AvahiDaemonWatchTest, DaemonThatIsThereIsToldButHasNotJustCome)
{
    EXPECT_TRUE(bus.connect().registerService(daemonName));
    begin();
    EXPECT_TRUE(turnLoopUntil([&] { return told == 1; }));
    EXPECT_FALSE(toldJustNow);
}

TEST_F(AvahiDaemonWatchTest, NothingIsToldWithinThePause)
{
    constexpr auto pause = 2000ms; // long beside the time in which a busy machine gets to the daemon's coming
    const auto before = std::chrono::steady_clock::now();
    begin(pause);
    EXPECT_TRUE(bus.connect().registerService(daemonName));
    EXPECT_TRUE(turnLoopUntil([&] { return told == 1; }));
    EXPECT_GE(std::chrono::steady_clock::now() - before, pause);
    EXPECT_FALSE(toldJustNow);
}

TEST_F(AvahiDaemonWatchTest, OthersThatComeAreNotTold)
{
    begin();
    EXPECT_TRUE(bus.connect().registerService(QStringLiteral("org.freedesktop.Avahi2")));
    EXPECT_TRUE(bus.connect().registerService(QStringLiteral("org.example.Other")));
    const auto end = std::chrono::steady_clock::now() + 200ms; // the daemon itself is told within 20
    EXPECT_TRUE(turnLoopUntil([&] { return std::chrono::steady_clock::now() > end; }));
    EXPECT_EQ(told, 0);
}

TEST_F(AvahiDaemonWatchTest, EndOfTheBusIsSurvived)
{
    begin();
    bus.kill();
    onLoop([] {});
    EXPECT_EQ(told, 0);
}

TEST_F(AvahiDaemonWatchTest, WithoutABusThereIsNothingToTell)
{
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", noBus);
    begin();
    onLoop([] {});
    EXPECT_EQ(told, 0);
}
