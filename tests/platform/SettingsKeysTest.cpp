#include "platform/SettingsKeys.h"

#include "platform/SettingsValue.h"

#include <QDateTime>
#include <QStringList>

#include <gtest/gtest.h>

#include <limits>

using namespace lanterna;

namespace
{

QVariant parsed(SettingType type, const char *text)
{
    const ParsedSetting result = parseSetting(type, QString::fromUtf8(text));
    EXPECT_TRUE(result.error.isEmpty()) << result.error.toStdString();
    return result.value;
}

void expectError(SettingType type, const QString &text)
{
    const ParsedSetting result = parseSetting(type, text);
    EXPECT_FALSE(result.value.isValid()) << text.toStdString();
    EXPECT_FALSE(result.error.isEmpty()) << text.toStdString();
    EXPECT_FALSE(result.error.contains(u'\n')) << text.toStdString();
    EXPECT_LT(result.error.size(), 150);
}

TEST(SettingsKeysTest, ThePreferencesEditSevenKeys)
{
    QStringList edited;
    for (const SettingKey &key : settingKeys()) {
        if (key.edited)
            edited.append(QString::fromLatin1(key.name));
    }
    EXPECT_EQ(edited.join(u' '),
        QStringLiteral("associatedWiFiNetwork showCurrentUser showInterfaceName showMACAddresses updateFrequencyLAN updateFrequencyWAN whichIP"));
}

TEST(SettingsKeysTest, DeclaredTypesAreFoundByName)
{
    ASSERT_NE(settingKey(QStringLiteral("whichIP")), nullptr);
    EXPECT_EQ(settingKey(QStringLiteral("whichIP"))->type, SettingType::integer);
    EXPECT_EQ(settingKey(QStringLiteral("updateFrequencyLAN"))->type, SettingType::text); // decimal text, as the pop-ups write it
    EXPECT_EQ(settingKey(QStringLiteral("hiddenInterfaces"))->type, SettingType::list);
    EXPECT_EQ(settingKey(QStringLiteral("whichip")), nullptr);
    EXPECT_EQ(settingKey(QString()), nullptr);
}

TEST(SettingsKeysTest, EveryKeyHasAOneLineMeaning)
{
    for (const SettingKey &key : settingKeys()) {
        const QString meaning = QString::fromLatin1(key.meaning);
        EXPECT_TRUE(meaning.size() > 10 && meaning.size() < 100 && !meaning.contains(u'\n')) << key.name;
        EXPECT_FALSE(settingTypeName(key.type).isEmpty());
    }
}

TEST(SettingsKeysTest, TextIsTakenAsItIs)
{
    EXPECT_TRUE(sameValue(parsed(SettingType::text, " 60 "), QStringLiteral(" 60 ")));
    EXPECT_TRUE(sameValue(parsed(SettingType::text, ""), QStringLiteral("")));
}

TEST(SettingsKeysTest, IntegersHave64Bits)
{
    EXPECT_TRUE(sameValue(parsed(SettingType::integer, " -9223372036854775808"), std::numeric_limits<qlonglong>::min()));
    for (const char *text : {"", "four", "4.0", "0x4", "4 4", "9223372036854775808"})
        expectError(SettingType::integer, QString::fromLatin1(text));
}

TEST(SettingsKeysTest, BooleansAreSixWords)
{
    for (const char *text : {"yes", "TRUE", " 1 "})
        EXPECT_TRUE(sameValue(parsed(SettingType::boolean, text), true));
    for (const char *text : {"No", "false", "0"})
        EXPECT_TRUE(sameValue(parsed(SettingType::boolean, text), false));
    for (const char *text : {"", "on", "2", "y", "yes please"})
        expectError(SettingType::boolean, QString::fromLatin1(text));
}

TEST(SettingsKeysTest, DatesAreIso8601AndUtcByDefault)
{
    const auto seconds = [](const char *text) { return parsed(SettingType::date, text).toDateTime().toSecsSinceEpoch(); };
    EXPECT_EQ(seconds("2026-03-01T12:30:00Z"), 1772368200);
    EXPECT_EQ(seconds("2026-03-01T12:30:00"), 1772368200);
    EXPECT_EQ(seconds("2026-03-01T13:30:00+01:00"), 1772368200);
    EXPECT_EQ(seconds("2026-03-01"), 1772323200);
    for (const char *text : {"", "today", "1772368200", "2026-13-01", "01.03.2026"})
        expectError(SettingType::date, QString::fromLatin1(text));
}

TEST(SettingsKeysTest, ListsAndDictionariesAreJson)
{
    EXPECT_EQ(parsed(SettingType::list, "[\"eth*\", 1]"), QVariant(QVariantList{QStringLiteral("eth*"), 1LL}));
    EXPECT_EQ(parsed(SettingType::dictionary, "{\"a\": 1}"), QVariant(QVariantMap{{QStringLiteral("a"), 1LL}}));
    for (const char *text : {"", "eth*", "{}", "[1", "[]]"})
        expectError(SettingType::list, QString::fromLatin1(text));
    for (const char *text : {"", "[]", "{a:1}", "{\"$date\": 5}"})
        expectError(SettingType::dictionary, QString::fromLatin1(text));
}

TEST(SettingsKeysTest, ErrorsStayOneShortLine)
{
    expectError(SettingType::integer, QString(5000, u'x'));
    expectError(SettingType::list, QStringLiteral("a\nb\r\n\u0000c"));
}

TEST(SettingsKeysTest, WhatIsPrintedReadsBack)
{
    const QDateTime date = QDateTime::fromMSecsSinceEpoch(1'772'368'200'250, Qt::UTC);
    const std::vector<std::pair<SettingType, QVariant>> values = {{SettingType::text, QStringLiteral("a b")}, {SettingType::integer, -5LL},
        {SettingType::boolean, true}, {SettingType::boolean, false}, {SettingType::date, date}, {SettingType::list, QVariantList{1LL, 1.0, date}},
        {SettingType::dictionary, QVariantMap{{QStringLiteral("$date"), 5LL}}}};
    for (const auto &[type, value] : values)
        EXPECT_TRUE(sameValue(parseSetting(type, renderSetting(value)).value, value)) << renderSetting(value).toStdString();
    EXPECT_EQ(renderSetting(date), QStringLiteral("2026-03-01T12:30:00.250Z"));
    EXPECT_EQ(renderSetting(1.5), QStringLiteral("1.5"));
    EXPECT_TRUE(renderSetting({}).isEmpty());
}

} // namespace
