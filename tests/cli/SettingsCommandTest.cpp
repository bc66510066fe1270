#include "cli/SettingsCommand.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/support/NeverLogged.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

class SettingsCommand : public testing::Test
{
protected:
    CommandResult run(const QStringList &arguments)
    {
        return settingsCommand(arguments, settings, [this](const QString &) {
            ++questions;
            return answer;
        });
    }
    QTemporaryDir folder;
    FakeSystemLog log;
    SettingsStore settings{folder.path(), log};
    bool answer = false;
    int questions = 0;
};

TEST_F(SettingsCommand, SetUsesTheDeclaredKind)
{
    EXPECT_EQ(run({"set", "whichIP", "2"}).exitCode, 0);
    EXPECT_EQ(run({"set", "updateFrequencyLAN", "120"}).exitCode, 0);
    EXPECT_EQ(run({"set", "showInterfaceName", "yes"}).exitCode, 0);
    EXPECT_EQ(settings.value(QStringLiteral("whichIP")), QVariant(2));
    EXPECT_EQ(settings.value(QStringLiteral("updateFrequencyLAN")), QVariant("120"));
    EXPECT_EQ(settings.value(QStringLiteral("showInterfaceName")), QVariant(true));
}

TEST_F(SettingsCommand, SetTakesTheInterfaceListAsJson)
{
    EXPECT_EQ(run({"set", "nics", R"(["eth0: 192.168.1.20"])"}).exitCode, 0);
    EXPECT_EQ(settings.list(QStringLiteral("nics")), QVariantList({"eth0: 192.168.1.20"}));
}

TEST_F(SettingsCommand, AValueOfTheWrongKindIsRefusedAndNothingLost)
{
    run({"set", "whichIP", "2"});
    const CommandResult result = run({"set", "whichIP", "two"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(result.error.startsWith(QStringLiteral("whichIP: "))) << qPrintable(result.error);
    EXPECT_EQ(settings.value(QStringLiteral("whichIP")), QVariant(2));
}

TEST_F(SettingsCommand, AValueThatTheKeyCannotHaveIsRefusedInOneLineThatDoesNotRepeatIt)
{
    run({"set", "cloudWebDAVURL", "https://cloud.example/dav/"});
    const CommandResult result = run({"set", "cloudWebDAVURL", "https://anna:" SECRET_MARK "@cloud.example/dav/"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.error, "cloudWebDAVURL: an address must hold no user and no password");
    EXPECT_EQ(settings.value(QStringLiteral("cloudWebDAVURL")), QVariant("https://cloud.example/dav/"));
    EXPECT_EQ(run({"set", "cloudBackend", "ftp"}).error, "cloudBackend: expected embedded, cloudkit or webdav");
    EXPECT_EQ(run({"set", "cloudBackend", "webdav"}).exitCode, 0);
}

TEST_F(SettingsCommand, AnUndeclaredKeyIsRefused)
{
    EXPECT_EQ(run({"set", "whichip", "2"}).error, "there is no setting 'whichip'");
    EXPECT_EQ(run({"set", "whichip", "2"}).exitCode, 2);
}

TEST_F(SettingsCommand, GetPrintsAValueAndFailsWithoutOne)
{
    run({"set", "updateFrequencyWAN", "30"});
    EXPECT_EQ(run({"get", "updateFrequencyWAN"}).output, "30\n");
    EXPECT_EQ(run({"get", "LANIP"}).exitCode, 1);
    EXPECT_EQ(run({"get", "LANIP"}).error, "LANIP is not set");
}

TEST_F(SettingsCommand, ListPrintsEveryStoredKeySorted)
{
    run({"set", "whichIP", "1"});
    run({"set", "showInterfaceName", "true"});
    EXPECT_EQ(run({"list"}).output, "showInterfaceName = true\nwhichIP = 1\n");
}

TEST_F(SettingsCommand, UnsetRemovesAKey)
{
    run({"set", "whichIP", "1"});
    EXPECT_EQ(run({"unset", "whichIP"}).exitCode, 0);
    EXPECT_FALSE(settings.contains(QStringLiteral("whichIP")));
}

TEST_F(SettingsCommand, UnsetRemovesASnapshotWithAMomentThatNoServerCanAnnounce)
{
    EXPECT_EQ(run({"set", "latestLocalSnapshot", R"({"dateEpoch": 1e300})"}).exitCode, 0);
    ASSERT_EQ(settings.dictionary(QStringLiteral("latestLocalSnapshot")).value(QStringLiteral("dateEpoch")), 1e300);
    EXPECT_EQ(run({"unset", "latestLocalSnapshot"}).exitCode, 0);
    EXPECT_FALSE(settings.contains(QStringLiteral("latestLocalSnapshot")));
}

TEST_F(SettingsCommand, ResetAsksAndKeepsEverythingWithoutAYes)
{
    run({"set", "whichIP", "1"});
    EXPECT_EQ(run({"reset"}).exitCode, 1);
    EXPECT_EQ(questions, 1);
    EXPECT_TRUE(settings.contains(QStringLiteral("whichIP")));
    answer = true;
    EXPECT_EQ(run({"reset"}).exitCode, 0);
    EXPECT_TRUE(settings.keys().isEmpty());
}

TEST_F(SettingsCommand, ResetWithYesDoesNotAsk)
{
    run({"set", "whichIP", "1"});
    EXPECT_EQ(run({"reset", "--yes"}).exitCode, 0);
    EXPECT_EQ(questions, 0);
    EXPECT_TRUE(settings.keys().isEmpty());
}

TEST_F(SettingsCommand, AnythingElseIsAUsageError)
{
    for (const QStringList &arguments : {QStringList{}, {"frobnicate"}, {"get"}, {"set", "whichIP"}, {"list", "x"}, {"reset", "--no"}})
        EXPECT_EQ(run(arguments).exitCode, 2) << qPrintable(arguments.join(u' '));
}

} // namespace
