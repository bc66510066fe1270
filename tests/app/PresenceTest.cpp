#include "app/HostPresence.h"
#include "tests/app/ControllerFixture.h"

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class Presence : public ControllerFixture
{
protected:
    /// A running program on these interfaces, with the host announced for the texts; what the start announced is forgotten.
    void running(const QList<std::pair<QString, QString>> &interfaces, const QStringList &nics, bool showCurrentUser = false)
    {
        earlierRun();
        startWith(interfaces);
        presenceOf(nics, showCurrentUser);
        publishing.history.clear();
        log.clear();
    }
    /// The names announced now.
    [[nodiscard]] QStringList names() const
    {
        QStringList found;
        for (const auto &service : publishing.services)
            found.append(service->name);
        return found;
    }
    /// Interfaces come and go; the display has noticed.
    void interfacesBecome(const QList<std::pair<QString, QString>> &interfaces)
    {
        kernel.addresses.clear();
        for (const auto &[name, address] : interfaces)
            kernel.add(name, address);
        controller->findMyHost();
        settle();
    }
    void found(const QString &name)
    {
        ASSERT_EQ(browsing.watches.size(), 1);
        browsing.watches[0]->found({name, QStringLiteral("_mediaremotetv._tcp."), QStringLiteral("local."), 2});
    }

    const QList<std::pair<QString, QString>> one{{"en0", "192.168.1.20"}};
    const QList<std::pair<QString, QString>> two{{"en0", "192.168.1.20"}, {"en1", "10.0.0.5"}};
};

TEST_F(Presence, TheNameHoldsHostUserAndInterface)
{
    running(one, {"en0: 192.168.1.20"}, true);
    controller->setupService();
    dispatch.runReady();
    ASSERT_EQ(publishing.services.size(), 1);
    EXPECT_EQ(*publishing.services[0], (ServiceRegistration{"lighthouse, Ada Keeper: en0: 192.168.1.20", "_Lanterna._tcp.", {}, 12341, {}}));
    EXPECT_TRUE(publishing.services[0]->text.isEmpty());
}

TEST_F(Presence, WithoutTheUserTheNameSaysUnknown)
{
    running(one, {"en0: 192.168.1.20"}, false);
    controller->setupService();
    EXPECT_EQ(names(), QStringList{"lighthouse, Unknown: en0: 192.168.1.20"});
}

TEST_F(Presence, ALoopbackAddressIsNeverAnnounced)
{
    running(two, {"lo: 127.0.0.1", "en1: 10.0.0.5"});
    controller->setupService();
    EXPECT_EQ(names(), QStringList{"lighthouse, Unknown: en1: 10.0.0.5"});
    presenceOf({"en0: 192.168.1.20", "lo: 127.0.0.1"});
    controller->setupService();
    EXPECT_EQ(names(), QStringList{"lighthouse, Unknown: en0: 192.168.1.20"});
    interfacesBecome({});
    controller->setupService();
    EXPECT_FALSE(isAnnounced("en0: 127.0.0.1"));
    EXPECT_EQ(names(), QStringList());
}

TEST_F(Presence, FromTwoInterfacesToOneTheSecondServiceKeepsItsOldAddress)
{
    running(two, {"en0: 192.168.1.20", "en1: 10.0.0.5"});
    controller->setupService();
    EXPECT_EQ(names(), QStringList({"lighthouse, Unknown: en0: 192.168.1.20", "lighthouse, Unknown: en1: 10.0.0.5"}));
    interfacesBecome({{"en0", "192.168.1.77"}});
    controller->setupService();
    EXPECT_EQ(names(), QStringList({"lighthouse, Unknown: en1: 10.0.0.5", "lighthouse, Unknown: en0: 192.168.1.77"}));
    EXPECT_EQ(announcements(), 3); // and the second was not announced once more
}

TEST_F(Presence, AFoundMediaRemoteIsNotedAndLogged)
{
    running(one, {});
    ASSERT_EQ(browsing.watches.size(), 1);
    EXPECT_EQ(browsing.watches[0]->type, "_mediaremotetv._tcp.");
    EXPECT_EQ(browsing.watches[0]->domain, "");
    EXPECT_FALSE(stored("AppleTVNetwork").isValid());
    found(QStringLiteral("Living Room"));
    EXPECT_EQ(stored("AppleTVNetwork"), true);
    EXPECT_EQ(log.lines(), QStringList{"Found: Living Room"});
}

TEST_F(Presence, QuittingForgetsTheMediaRemote)
{
    running(one, {});
    found(QStringLiteral("Living Room"));
    controller->applicationWillTerminate();
    EXPECT_FALSE(stored("AppleTVNetwork").isValid());
}

TEST_F(Presence, TheSearchForMediaRemotesLastsAsLongAsTheController)
{
    running(one, {});
    dispatch.advance(24h);
    EXPECT_TRUE(controller->appletvbrowser());
    EXPECT_FALSE(controller->airplayBrowser());
    EXPECT_EQ(browsing.watches.size(), 1);
    controller.reset();
    EXPECT_TRUE(browsing.watches.isEmpty());
}

TEST_F(Presence, WithoutTheListNothingIsAnnounced)
{
    earlierRun();
    set("showCurrentUser", QStringLiteral("TRUE"));
    startWith(two);
    dispatch.advance(10min);
    EXPECT_EQ(announcements(), 0);
    EXPECT_EQ(accountReads, 1); // for another purpose
}

TEST_F(Presence, AListThatIsNoneCountsAsAbsent)
{
    running(one, {});
    set("nics", QStringLiteral("en0: 192.168.1.20"));
    controller->setupService();
    EXPECT_EQ(announcements(), 0);
}

TEST_F(Presence, ARemovedListLeavesWhatIsAnnounced)
{
    running(one, {"en0: 192.168.1.20"});
    controller->setupService();
    settings.remove(QStringLiteral("nics"));
    controller->setupService();
    EXPECT_EQ(names(), QStringList{"lighthouse, Unknown: en0: 192.168.1.20"});
    EXPECT_EQ(announcements(), 1);
}

TEST_F(Presence, OneInterfaceIsAnnouncedAsItIsNowWhateverTheListHolds)
{
    running(one, {"en7: 10.9.9.9", "en8: 10.8.8.8"});
    controller->setupService();
    EXPECT_EQ(names(), QStringList{"lighthouse, Unknown: en0: 192.168.1.20"});
}

TEST_F(Presence, TwoInterfacesAreAnnouncedAsTheListHasThem)
{
    running(two, {"en7: 10.9.9.9", "en8: 10.8.8.8", "en9: 10.7.7.7"});
    controller->setupService();
    EXPECT_EQ(names(), QStringList({"lighthouse, Unknown: en7: 10.9.9.9", "lighthouse, Unknown: en8: 10.8.8.8"}));
}

TEST_F(Presence, AMissingSecondTextAnnouncesTheFirstAlone)
{
    running(two, {"en0: 192.168.1.20", "en1: 10.0.0.5"});
    controller->setupService();
    presenceOf({"en0: 192.168.1.20"});
    controller->setupService();
    EXPECT_EQ(names(), QStringList{"lighthouse, Unknown: en0: 192.168.1.20"});
    presenceOf({});
    controller->setupService();
    EXPECT_EQ(names(), QStringList());
}

TEST_F(Presence, WithoutAnInterfaceNothingIsAnnounced)
{
    running(one, {"en0: 192.168.1.20"});
    controller->setupService();
    interfacesBecome({});
    controller->setupService();
    EXPECT_EQ(names(), QStringList());
}

/// Says at each announcing how many services of the controller are there already.
class CountingPublishing : public FakeServicePublishing
{
public:
    [[nodiscard]] std::unique_ptr<PublishedService> publish(const ServiceRegistration &service) override
    {
        before.append(services.size());
        return FakeServicePublishing::publish(service);
    }
    QList<qsizetype> before;
};

TEST_F(Presence, WhatWasAnnouncedIsWithdrawnBeforeItIsAnnouncedAnew)
{
    CountingPublishing counting;
    const Ports plain = ports();
    Ports counted{plain.dispatch, plain.settings, plain.notifications, plain.log, plain.kernel, plain.events, plain.statusItem, plain.alerts,
        plain.pasteboard, plain.workspace, counting, plain.discovery, plain.macAddressesByNetworkSegmentDict, plain.hostName, plain.fullUserName,
        plain.download, {}};
    earlierRun();
    presenceOf({"en0: 192.168.1.20", "en1: 10.0.0.5"});
    controller = std::make_unique<NewMenuItem>(counted, features());
    controller->awakeFromNib();
    interfacesBecome(two);
    controller->setupService();
    controller->setupService();
    EXPECT_EQ(counting.before, QList<qsizetype>({0, 1, 0, 1}));
    controller.reset();
    EXPECT_TRUE(counting.services.isEmpty());
}

TEST_F(Presence, AChangedUserNameReachesTheNetworkWithinOnePeriod)
{
    earlierRun();
    presenceOf({"en0: 192.168.1.20"}, true);
    startWith(one);
    dispatch.advance(30s);
    EXPECT_EQ(names(), QStringList{"lighthouse, Ada Keeper: en0: 192.168.1.20"});
    userName = QStringLiteral("Grace Keeper");
    dispatch.advance(30s);
    EXPECT_EQ(names(), QStringList{"lighthouse, Grace Keeper: en0: 192.168.1.20"});
    set("showCurrentUser", false);
    dispatch.advance(30s);
    EXPECT_EQ(names(), QStringList{"lighthouse, Unknown: en0: 192.168.1.20"});
}

TEST_F(Presence, AnAccountThatTakesItsTimeIsAskedOnceAndOnceMoreForThoseWhoCameMeanwhile)
{
    running(one, {"en0: 192.168.1.20"}, true);
    accountTime = 20s;
    const int before = accountReads;
    for (int run = 0; run < 5; ++run)
        controller->setupService();
    dispatch.advance(19s);
    EXPECT_EQ(accountReads, before + 1);
    EXPECT_EQ(announcements(), 0);
    dispatch.advance(2s);
    EXPECT_EQ(announcements(), 1);
    EXPECT_EQ(accountReads, before + 2);
    controller->setupService();
    controller->setupService();
    dispatch.advance(18s);
    EXPECT_EQ(accountReads, before + 2);
    dispatch.advance(2s);
    EXPECT_EQ(accountReads, before + 3);
    EXPECT_EQ(announcements(), 2);
}

TEST_F(Presence, AUserWhoIsHiddenMeanwhileStaysHidden)
{
    running(one, {"en0: 192.168.1.20"}, true);
    accountTime = 5s;
    controller->setupService();
    dispatch.runReady();
    set("showCurrentUser", false);
    dispatch.advance(6s);
    EXPECT_EQ(names(), QStringList{"lighthouse, Unknown: en0: 192.168.1.20"});
}

TEST_F(Presence, AnAnswerAfterTheControllerIsGoneAnnouncesNothing)
{
    running(one, {"en0: 192.168.1.20"}, true);
    accountTime = 5s;
    controller->setupService();
    dispatch.runReady();
    controller.reset();
    dispatch.advance(1min);
    EXPECT_EQ(announcements(), 0);
}

TEST_F(Presence, ANameOverSixtyThreeBytesIsLoggedOnceAndNotAnnounced)
{
    const QString longText = QStringLiteral("en0: 192.168.1.20, upstairs, behind the shelf");
    const QString longName = QStringLiteral("lighthouse, Unknown: ") + longText;
    ASSERT_EQ(longName.toUtf8().size(), 66);
    running(two, {longText, "en1: 10.0.0.5"});
    const QString line = QStringLiteral("setupService: not announced, the name is longer than 63 bytes: ") + longName;
    for (int minute = 0; minute < 3; ++minute)
        controller->setupService();
    EXPECT_EQ(names(), QStringList{"lighthouse, Unknown: en1: 10.0.0.5"});
    EXPECT_EQ(log.count(line), 1);
    presenceOf({"en0: 192.168.1.20"});
    controller->setupService();
    presenceOf({longText});
    controller->setupService();
    EXPECT_EQ(log.count(line), 2); // it had been announced in between
}

TEST_F(Presence, EveryRunOfTheTimerReplacesTheServices)
{
    earlierRun();
    presenceOf({"en0: 192.168.1.20"});
    startWith(one);
    dispatch.advance(5min);
    EXPECT_EQ(announcements(), 10);
    EXPECT_EQ(publishing.services.size(), 1);
    controller->refreshRendezvous();
    EXPECT_EQ(announcements(), 11);
    EXPECT_EQ(publishing.services.size(), 1);
}

TEST_F(Presence, ListeningForConnectionsDoesNothing)
{
    running(one, {"en0: 192.168.1.20"});
    controller->listenForIncomingConnections();
    EXPECT_EQ(announcements(), 0);
    EXPECT_EQ(log.lines(), QStringList());
}

TEST(PresenceName, SixtyThreeBytesFit)
{
    EXPECT_TRUE(fitsServiceName(QString(63, u'a')));
    EXPECT_FALSE(fitsServiceName(QString(64, u'a')));
    EXPECT_TRUE(fitsServiceName(QString(31, u'é') + u'a'));
    EXPECT_FALSE(fitsServiceName(QString(32, u'é')));
    EXPECT_FALSE(fitsServiceName({}));
}

TEST(ExecuteCommand, TheWholeOutputComesBack)
{
    EXPECT_EQ(NewMenuItem::executeCommand("echo one; echo two; printf three"), "one\ntwo\nthree");
    EXPECT_EQ(NewMenuItem::executeCommand("true"), "");
    EXPECT_EQ(NewMenuItem::executeCommand("exit 3"), "");
}

TEST(ExecuteCommand, ALineMayBeLongerThanTheBuffer)
{
    EXPECT_EQ(NewMenuItem::executeCommand("printf '%5000d|%d' 7 8"), QString(4999, u' ') + "7|8");
}

TEST(ExecuteCommand, ACommandWithOtherThanASCIICharactersIsNotRun)
{
    EXPECT_EQ(NewMenuItem::executeCommand(QStringLiteral("echo Käse")), "");
}

TEST(ExecuteCommand, OutputIsReadAsUTF8)
{
    EXPECT_EQ(NewMenuItem::executeCommand("printf 'K\\303\\244se'"), QStringLiteral("Käse"));
    EXPECT_EQ(NewMenuItem::executeCommand("printf '%1022d\\303\\244' 7"), QString(1021, u' ') + QStringLiteral("7ä")); // across two pieces
    EXPECT_EQ(NewMenuItem::executeCommand("printf 'a\\377b'"), QStringLiteral("a\uFFFDb"));
}

TEST(ExecuteCommand, OfALineWithAZeroByteTheBeginningCounts)
{
    EXPECT_EQ(NewMenuItem::executeCommand("printf 'one\\000lost\\ntwo\\n'"), "onetwo\n");
}

} // namespace
