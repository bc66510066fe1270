#include "cli/Reports.h"
#include "tests/fakes/FakeMachine.h"
#include "tests/fakes/FakeSystemLog.h"

#include <QJsonDocument>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

class Reports : public testing::Test
{
protected:
    Reports() { machine.add(QStringLiteral("eth0"), QStringLiteral("192.168.1.20")); }
    StatusReport report(qint64 pid = 0) { return statusReport(machine.addresses, settings, pid); }
    static QByteArray compact(const QJsonObject &object) { return QJsonDocument(object).toJson(QJsonDocument::Compact); }

    QTemporaryDir folder;
    FakeSystemLog log;
    SettingsStore settings{folder.path(), log};
    FakeKernelTables machine;
};

TEST_F(Reports, AddressesAreOneLineEach)
{
    machine.add(QStringLiteral("eth1"), QStringLiteral("10.0.0.5"));
    EXPECT_EQ(addressesText(machine.addresses), "eth0: 192.168.1.20\neth1: 10.0.0.5\n");
    EXPECT_EQ(addressesText({}), "");
}

TEST_F(Reports, AddressesAsJsonHaveNullForWhatIsNotThere)
{
    EXPECT_EQ(QJsonDocument(addressesJson(machine.addresses)).toJson(QJsonDocument::Compact),
        R"([{"address":"192.168.1.20","broadcast":null,"interface":"eth0","prefixLength":24}])");
}

TEST_F(Reports, TheStatusFollowsTheStoredMode)
{
    settings.setValue(QStringLiteral("whichIP"), 2);
    settings.setValue(QStringLiteral("WANIP"), QStringLiteral("203.0.113.7"));
    EXPECT_EQ(report().title, "203.0.113.7");
    settings.setValue(QStringLiteral("whichIP"), 1);
    EXPECT_EQ(report().title, "192.168.1.20");
    settings.setValue(QStringLiteral("whichIP"), 4);
    EXPECT_EQ(report().title, "");
}

TEST_F(Reports, WithoutAModeTheStatusFollowsTheLegacyChoice)
{
    settings.setValue(QStringLiteral("whichIP"), 0);
    settings.setValue(QStringLiteral("lan_or_wan"), QStringLiteral("WAN"));
    settings.setValue(QStringLiteral("WANIP"), QStringLiteral("203.0.113.7"));
    EXPECT_EQ(report().title, "203.0.113.7");
}

TEST_F(Reports, AStoredWANAddressIsNotShownWhileLookupsAreOff)
{
    settings.setValue(QStringLiteral("WANIP"), QStringLiteral("203.0.113.7"));
    settings.setValue(QStringLiteral("WANLookupEnabled"), false);
    EXPECT_EQ(report().wan, "offline");
}

TEST_F(Reports, TheStatusForPeopleNamesEverythingKnown)
{
    settings.setValue(QStringLiteral("currentWiFiName"), QStringLiteral("Harbour"));
    EXPECT_EQ(statusText(report(42)),
        "Title:    192.168.1.20\nNetwork:  Harbour\nAddress:  eth0: 192.168.1.20\nWAN:      gathering...\nRunning:  yes, process 42\n");
}

TEST_F(Reports, TheStatusAsJsonHasNullForWhatIsNotKnown)
{
    EXPECT_EQ(compact(statusJson(report())),
        R"({"addresses":["eth0: 192.168.1.20"],"mode":1,"network":null,"pid":null,"running":false,"title":"192.168.1.20","wan":"gathering..."})");
}

TEST_F(Reports, WaybarGetsEscapedTextAndAClass)
{
    settings.setValue(QStringLiteral("whichIP"), 2);
    settings.setValue(QStringLiteral("WANIP"), QStringLiteral("<b>.&"));
    EXPECT_EQ(compact(waybarJson(report())),
        R"({"alt":"wan","class":"online","text":"&lt;b&gt;.&amp;","tooltip":"eth0: 192.168.1.20\nwan: &lt;b&gt;.&amp;"})");
}

TEST_F(Reports, WithoutAnInterfaceWaybarShowsOffline)
{
    machine.addresses.clear();
    const QJsonObject object = waybarJson(report());
    EXPECT_EQ(object.value(QStringLiteral("class")).toString(), "offline");
    EXPECT_EQ(object.value(QStringLiteral("text")).toString(), "offline");
}

} // namespace
