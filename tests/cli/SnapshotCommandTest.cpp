#include "cli/SnapshotCommand.h"
#include "tests/fakes/FakeSystemLog.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

class Snapshot : public testing::Test
{
protected:
    QTemporaryDir folder;
    FakeSystemLog log;
    SettingsStore settings{folder.path(), log};
    const QString key = QStringLiteral("latestLocalSnapshot");
};

TEST_F(Snapshot, TheStoredOneIsOneLineOfJsonWithItsNumbersAsTheyWere)
{
    settings.setValue(key, QVariantMap{{"ssid", "Harbour"}, {"dateEpoch", 1731680000.5}, {"devices", "\"printer\"|*|"}, {"count", 7}});
    const CommandResult result = snapshotCommand(settings);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.error, QString());
    EXPECT_EQ(result.output, "{\"count\":7,\"dateEpoch\":1731680000.5,\"devices\":\"\\\"printer\\\"|*|\",\"ssid\":\"Harbour\"}\n");
}

TEST_F(Snapshot, WithoutOneALineSaysSoAndTheCommandFails)
{
    const CommandResult result = snapshotCommand(settings);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, QString());
    EXPECT_TRUE(result.error.startsWith("no snapshot is stored"));
    EXPECT_FALSE(result.error.contains('\n'));
}

TEST_F(Snapshot, WhatIsNoDictionaryIsNoSnapshot)
{
    settings.setValue(key, QStringLiteral("gone"));
    EXPECT_EQ(snapshotCommand(settings).exitCode, 1);
}

TEST_F(Snapshot, ReadingChangesNothing)
{
    snapshotCommand(settings);
    EXPECT_EQ(settings.keys(), QStringList());
    EXPECT_EQ(log.lines(), QStringList());
}

} // namespace
