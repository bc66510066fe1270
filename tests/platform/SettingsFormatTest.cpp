#include "platform/SettingsFormat.h"

#include <QSet>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

const QString sideName = QStringLiteral("settings.table.0123456789abcdef.json");

TEST(SettingsFormatTest, OneLinePerKeySorted)
{
    const SettingsEntries entries = {{QStringLiteral("whichIP"), {4LL, {}}}, {QStringLiteral("first_run"), {QStringLiteral("TRUE"), {}}},
        {QStringLiteral("table"), {QVariantMap(), sideName}}};
    EXPECT_EQ(formatSettings(entries),
        "{\n  \"first_run\": \"TRUE\",\n  \"table\": {\"$file\":\"settings.table.0123456789abcdef.json\"},\n  \"whichIP\": 4\n}\n");
    EXPECT_EQ(formatSettings({}), "{\n}\n");
}

TEST(SettingsFormatTest, WhatIsWrittenIsReadBack)
{
    const SettingsEntries entries = {{QString(), {1.0, {}}}, {QStringLiteral("$date"), {5LL, {}}}, {QStringLiteral("a\"\n"), {true, {}}}};
    const SettingsEntries read = parseSettings(formatSettings(entries)).value();
    ASSERT_EQ(read.keys(), entries.keys());
    for (const QString &key : entries.keys())
        EXPECT_TRUE(read[key].sameAs(entries[key])) << key.toStdString();
}

TEST(SettingsFormatTest, NullIsAbsent)
{
    EXPECT_EQ(parseSettings("{\"a\": null, \"b\": 1}").value().keys(), QStringList{QStringLiteral("b")});
}

TEST(SettingsFormatTest, OnlyADictionaryIsASettingsFile)
{
    for (const char *text : {"[]", "1", "\"a\"", "null", "", "{\"a\":1}{}"})
        EXPECT_FALSE(parseSettings(text).has_value()) << text;
}

TEST(SettingsFormatTest, ReferencesLeadOnlyToOwnFiles)
{
    EXPECT_EQ(parseSettings("{\"a\":{\"$file\":\"settings.table.0123456789abcdef.json\"}}").value()[QStringLiteral("a")].sideFile, sideName);
    for (const char *name : {"../secret", "/etc/passwd", "settings.json", "settings.a/b.0123456789abcdef.json", "settings.a.0123456789ABCDEF.json"}) {
        const QByteArray text = QByteArray("{\"a\":{\"$file\":\"") + name + "\"}}";
        EXPECT_TRUE(parseSettings(text).value()[QStringLiteral("a")].sideFile.isEmpty()) << name;
    }
}

TEST(SettingsFormatTest, AnyKeyGivesASafeFileName)
{
    const QStringList keys = {QString(), QStringLiteral(".."), QStringLiteral("../../x"), QString(5000, u'k'),
        QStringLiteral("a/b\n\u00e9\U0001F600"), QString(QChar(0)), QString(QChar(0xd800)), QStringLiteral("MACAddressesByNetworkSegment")};
    for (const QString &key : keys) {
        const QString name = sideFileName(key, 0xfedc);
        EXPECT_TRUE(isSideFileName(name)) << name.toStdString();
        EXPECT_LT(name.size(), 120);
    }
    EXPECT_EQ(sideFileName(QStringLiteral("a.b-c"), 1), QStringLiteral("settings.a_b-c.0000000000000001.json"));
}

TEST(SettingsFormatTest, SideFilesHoldOneDictionary)
{
    const QVariantMap date = {{QStringLiteral("$date"), 5LL}};
    EXPECT_EQ(parseSideFile(formatSideFile(date)).value(), QVariant(date));
    for (const char *text : {"[]", "{\"$date\":5}", "", "{\"a\":"})
        EXPECT_FALSE(parseSideFile(text).has_value()) << text;
}

} // namespace
