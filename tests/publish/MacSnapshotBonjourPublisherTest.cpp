#include "publish/MacSnapshotBonjourPublisher.h"

#include "platform/Json.h"
#include "platform/NotificationNames.h"
#include "platform/SettingsStore.h"
#include "platform/ThreadPool.h"
#include "tests/fakes/FakeServicePublishing.h"
#include "tests/fakes/FakeStreamListener.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"

#include <QTemporaryDir>

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

const QByteArray nothing = R"({"source":"Lanterna"})";

/// A machine in 192.168.1.0/24 whose clients are the test's.
class SnapshotPublisher : public testing::Test
{
protected:
    void start()
    {
        publisher.start();
        dispatch.runReady();
    }
    void store(const QVariantMap &snapshot) { settings.setValue("latestLocalSnapshot", snapshot); }
    void storeLocal() { store({{"subnet", "192.168.1"}, {"dateEpoch", 1731680000.9}}); }
    void saved()
    {
        notifications.post(snapshotSavedNotification);
        dispatch.runReady();
    }
    /// What a client that connects now has received when all is done.
    QByteArray received()
    {
        const auto client = machine.connect();
        dispatch.runReady();
        EXPECT_TRUE(client->disconnected);
        return client->received.value_or("nothing");
    }
    [[nodiscard]] QByteArray advertisedRevision() const
    {
        return network.services.size() == 1 ? network.services.first()->text.value("rev") : QByteArray("not announced once");
    }

    QTemporaryDir folder;
    FakeSystemLog log;
    SettingsStore settings{folder.path(), log};
    NotificationCenter notifications;
    FakeServicePublishing network;
    FakeStreamListener::Machine machine;
    QStringList prefixes{"10.8.0", "192.168.1"};
    int prefixReadings = 0;
    VirtualDispatch dispatch;
    SnapshotPublisherPorts ports{dispatch, settings, notifications, log, network, [this] { return machine.make(); },
        [this] {
            ++prefixReadings;
            return prefixes;
        },
        [] { return QStringLiteral("Study"); }};
    MacSnapshotBonjourPublisher publisher{ports};
};

TEST_F(SnapshotPublisher, ListensAndAnnouncesTheRevision)
{
    storeLocal();
    start();
    ASSERT_EQ(machine.listeners.size(), 1);
    ASSERT_EQ(network.services.size(), 1);
    const ServiceRegistration expected{"Study", "_rgfscanmac._tcp", "", machine.listeners.first()->port, {{"rev", "1731680000"}}};
    EXPECT_EQ(*network.services.first(), expected);
    EXPECT_EQ(log.lines(), QStringList{"MacSnapshotBonjourPublisher: advertising _rgfscanmac._tcp rev=1731680000"});
}

TEST_F(SnapshotPublisher, SnapshotWithSecondsIsAdvertisedWithThem)
{
    store({{"dateEpoch", 1731680000.9}, {"macSig", "abc"}});
    start();
    EXPECT_EQ(advertisedRevision(), "1731680000");
}

TEST_F(SnapshotPublisher, SnapshotWithoutSecondsIsAdvertisedWithItsSignature)
{
    store({{"macSig", "abc"}});
    start();
    EXPECT_EQ(advertisedRevision(), "abc");
}

TEST_F(SnapshotPublisher, SnapshotWithAnEmptySignatureIsAdvertisedAsZero)
{
    store({{"macSig", ""}});
    start();
    EXPECT_EQ(advertisedRevision(), "0");
}

TEST_F(SnapshotPublisher, WithoutASnapshotTheRevisionIsZeroAndClientsGetTheSourceAlone)
{
    start();
    EXPECT_EQ(advertisedRevision(), "0");
    EXPECT_EQ(received(), nothing);
    EXPECT_EQ(log.lines(), QStringList{"MacSnapshotBonjourPublisher: advertising _rgfscanmac._tcp rev=0"});
}

TEST_F(SnapshotPublisher, ValueThatIsNoSnapshotCountsAsNone)
{
    settings.setValue("latestLocalSnapshot", "text");
    start();
    EXPECT_EQ(advertisedRevision(), "0");
    EXPECT_EQ(received(), nothing);
}

TEST_F(SnapshotPublisher, StartReturnsBeforeAnythingHappens)
{
    publisher.start();
    EXPECT_TRUE(machine.listeners.isEmpty());
    EXPECT_EQ(log.lines(), QStringList());
}

TEST_F(SnapshotPublisher, NewSnapshotChangesTheTextInPlace)
{
    start();
    storeLocal();
    saved();
    EXPECT_EQ(advertisedRevision(), "1731680000");
    EXPECT_EQ(network.history.size(), 1);
    EXPECT_EQ(network.textChanges, 1);
    EXPECT_EQ(log.lines().last(), "MacSnapshotBonjourPublisher: updated advertised rev=1731680000");
}

TEST_F(SnapshotPublisher, RemovedSnapshotIsAdvertisedAsZero)
{
    storeLocal();
    start();
    settings.remove("latestLocalSnapshot");
    saved();
    EXPECT_EQ(advertisedRevision(), "0");
    EXPECT_EQ(log.lines().last(), "MacSnapshotBonjourPublisher: updated advertised rev=0");
}

TEST_F(SnapshotPublisher, EachNotificationIsAnsweredWithTheSameRevisionToo)
{
    start();
    saved();
    saved();
    EXPECT_EQ(network.textChanges, 2);
    EXPECT_EQ(log.count("MacSnapshotBonjourPublisher: updated advertised rev=0"), 2);
}

TEST_F(SnapshotPublisher, NotificationsBeforeTheListenerExistsDoNothing)
{
    publisher.snapshotSaved({});
    publisher.snapshotSaved({});
    dispatch.runReady();
    EXPECT_EQ(log.lines(), QStringList());
    machine.startError = "Too many open files";
    start();
    log.clear();
    saved();
    saved();
    EXPECT_EQ(log.lines(), QStringList());
    EXPECT_TRUE(network.history.isEmpty());
}

TEST_F(SnapshotPublisher, ClientReceivesTheWholeSnapshotAndTheEnd)
{
    storeLocal();
    start();
    EXPECT_EQ(received(), R"({"dateEpoch":1731680000.9,"source":"Lanterna","subnet":"192.168.1"})");
}

TEST_F(SnapshotPublisher, SnapshotThatHasASourceKeepsIt)
{
    store({{"subnet", "192.168.1"}, {"source", "Elsewhere"}});
    start();
    EXPECT_EQ(received(), R"({"source":"Elsewhere","subnet":"192.168.1"})");
    EXPECT_EQ(settings.dictionary("latestLocalSnapshot").size(), 2);
}

TEST_F(SnapshotPublisher, SnapshotOfAnotherNetworkIsWithheldFromEachClient)
{
    storeLocal();
    start();
    prefixes = {"10.0.0"};
    EXPECT_EQ(received(), nothing);
    EXPECT_EQ(received(), nothing);
    EXPECT_EQ(log.count("MacSnapshotBonjourPublisher: withholding snapshot — subnet '192.168.1' is not local"), 2);
    EXPECT_EQ(advertisedRevision(), "1731680000");
}

TEST_F(SnapshotPublisher, SnapshotWithoutASubnetIsWithheld)
{
    start();
    prefixes.append("");
    for (const QVariantMap &snapshot : {QVariantMap{{"macSig", "abc"}}, {{"subnet", ""}}, {{"subnet", 192.168}}}) {
        store(snapshot);
        EXPECT_EQ(received(), nothing);
    }
    EXPECT_EQ(log.count("MacSnapshotBonjourPublisher: withholding snapshot — subnet '' is not local"), 3);
}

TEST_F(SnapshotPublisher, SubnetsAreComparedExactly)
{
    start();
    for (const char *subnet : {"192.168.1 ", "192.168.1.", "192.168.10", "192.168"}) {
        store({{"subnet", subnet}});
        EXPECT_EQ(received(), nothing);
    }
}

TEST_F(SnapshotPublisher, WhetherTheSnapshotIsLocalIsAskedForEachClient)
{
    storeLocal();
    start();
    const QByteArray whole = received();
    prefixes = {"10.0.0"};
    EXPECT_EQ(received(), nothing);
    prefixes = {"192.168.1"};
    EXPECT_EQ(received(), whole);
    EXPECT_EQ(prefixReadings, 3);
}

TEST_F(SnapshotPublisher, ChangedSnapshotIsServedAtOnce)
{
    start();
    for (qlonglong number = 0; number < 5; ++number) {
        store({{"subnet", "192.168.1"}, {"number", number}});
        EXPECT_EQ(parseJson(received()).value().toMap().value("number"), QVariant(number));
        EXPECT_EQ(parseJson(received()).value().toMap().value("number"), QVariant(number));
    }
    store({{"subnet", "192.168.1"}, {"number", 4.0}}); // another value, though Qt calls it equal
    EXPECT_EQ(received(), R"({"number":4.0,"source":"Lanterna","subnet":"192.168.1"})");
}

TEST_F(SnapshotPublisher, ClientsOfOneSnapshotShareItsBytes)
{
    storeLocal();
    start();
    EXPECT_EQ(static_cast<const void *>(received().constData()), received().constData());
}

TEST_F(SnapshotPublisher, SnapshotThatJSONCannotHoldIsServedAsAnEmptyObject)
{
    store({{"subnet", "192.168.1"}, {"when", QDateTime::currentDateTimeUtc()}});
    start();
    EXPECT_EQ(received(), "{}");
}

TEST_F(SnapshotPublisher, ListenerThatCannotStartIsLoggedAndNothingIsAnnounced)
{
    machine.startError = "Too many open files";
    start();
    EXPECT_EQ(log.lines(), QStringList{"MacSnapshotBonjourPublisher: start error: Too many open files"});
    EXPECT_TRUE(network.history.isEmpty());
}

TEST_F(SnapshotPublisher, LaterStartTriesAgain)
{
    machine.startError = "Too many open files";
    start();
    machine.startError.clear();
    start();
    EXPECT_EQ(advertisedRevision(), "0");
    EXPECT_EQ(log.lines().last(), "MacSnapshotBonjourPublisher: advertising _rgfscanmac._tcp rev=0");
}

TEST_F(SnapshotPublisher, SecondStartObservesOnceMoreAndListensOnce)
{
    start();
    start();
    EXPECT_EQ(machine.listeners.size(), 1);
    EXPECT_EQ(log.count("MacSnapshotBonjourPublisher: advertising _rgfscanmac._tcp rev=0"), 1);
    saved();
    EXPECT_EQ(log.count("MacSnapshotBonjourPublisher: updated advertised rev=0"), 2);
}

TEST_F(SnapshotPublisher, FailedListenerIsLoggedAndStays)
{
    start();
    machine.listeners.first()->fail("Invalid argument");
    dispatch.runReady();
    EXPECT_EQ(log.lines().last(), "MacSnapshotBonjourPublisher: listener failed: Invalid argument");
    start();
    EXPECT_EQ(machine.listeners.size(), 1);
    EXPECT_EQ(network.history.size(), 1);
    EXPECT_EQ(advertisedRevision(), "0");
}

TEST_F(SnapshotPublisher, SecondsBeyond64BitsEndTheProgram)
{
    store({{"dateEpoch", 1e300}, {"macSig", "abc"}});
    EXPECT_DEATH(start(), "\"dateEpoch\" of the stored snapshot is 1e\\+300");
}

TEST_F(SnapshotPublisher, AnnouncementAndListenerEndWithThePublisher)
{
    {
        MacSnapshotBonjourPublisher own(ports);
        own.start();
        dispatch.runReady();
        EXPECT_EQ(machine.listeners.size(), 1);
        EXPECT_EQ(network.services.size(), 1);
    }
    EXPECT_TRUE(machine.listeners.isEmpty());
    EXPECT_TRUE(network.services.isEmpty());
}

TEST_F(SnapshotPublisher, StepsThatWaitWhenThePublisherGoesDoNothing)
{
    std::shared_ptr<FakeStreamClient> client;
    {
        MacSnapshotBonjourPublisher own(ports);
        own.start();
        dispatch.runReady();
        client = machine.connect();
        own.snapshotSaved({});
        machine.listeners.first()->fail("Invalid argument");
        log.clear();
    }
    dispatch.runReady();
    saved();
    EXPECT_FALSE(client->received);
    EXPECT_TRUE(client->disconnected);
    EXPECT_EQ(log.lines(), QStringList());
}

TEST_F(SnapshotPublisher, AnnouncementThatWaitsWhenThePublisherGoesIsNotMade)
{
    {
        MacSnapshotBonjourPublisher own(ports);
        own.start();
    }
    dispatch.runReady();
    EXPECT_TRUE(network.history.isEmpty());
}

/// Serial queues with a real thread; the rest is the test's.
class PooledQueues : public VirtualDispatch
{
public:
    std::shared_ptr<SerialQueue> makeSerialQueue() override { return pool.makeSerialQueue(); }
    ThreadPool pool;
};

TEST_F(SnapshotPublisher, MayGoWhileClientsConnectAndSnapshotsAreSaved)
{
    /// Connects again and again from a thread of its own, and drops what it gets.
    struct BusyListener : StreamListener {
        struct Connection : StreamConnection {
            explicit Connection(std::atomic<int> &counted) : count(counted) { }
            void sendFinalMessage(const QByteArray &bytes) override { count += bytes.contains("192.168.1"); }
            std::atomic<int> &count;
        };
        explicit BusyListener(std::atomic<int> &counted) : count(counted) { }
        [[nodiscard]] Started start(NewConnection newConnection, Failed) override
        {
            thread = std::jthread([this, newConnection = std::move(newConnection)](const std::stop_token &stop) {
                while (!stop.stop_requested()) {
                    newConnection(std::make_shared<Connection>(count));
                    std::this_thread::sleep_for(std::chrono::microseconds(50)); // or the queue only grows
                }
            });
            return {4711, {}};
        }
        std::atomic<int> &count;
        std::jthread thread;
    };
    storeLocal();
    std::atomic<int> served = 0;
    PooledQueues queues;
    for (int round = 0; round < 20; ++round) {
        served = 0;
        MacSnapshotBonjourPublisher own({queues, settings, notifications, log, network, [&] { return std::make_unique<BusyListener>(served); },
            [this] { return prefixes; }, ports.serviceName});
        own.start();
        std::jthread saver([this](const std::stop_token &stop) {
            while (!stop.stop_requested()) {
                notifications.post(snapshotSavedNotification);
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
        });
        while (served < 10)
            queues.runReady();
    }
}

} // namespace
