#include "cloud/MACTable.h"

#include <gtest/gtest.h>

#include <ctime>

using namespace lanterna;

namespace
{

const QString stamp = "11!15!2026_14*05 +";
const QDateTime moment(QDate(2026, 11, 15), QTime(14, 5, 59));

QVariantMap table(const QString &mac)
{
    return {{"10.0.0.1", mac}, {"lastUpdate", stamp}};
}

// The table of one network

TEST(MACTableOfAnARPTable, HoldsEveryAddressAndTheTimeWhichDoesNotCount)
{
    const MACTable made = macTable({{"10.0.0.1", "02:00:00:00:00:01"}, {"10.0.0.2", "02:00:00:00:00:02"}}, stamp);
    EXPECT_EQ(made.entries, QVariantMap({{"10.0.0.1", "02:00:00:00:00:01"}, {"10.0.0.2", "02:00:00:00:00:02"}, {"lastUpdate", stamp}}));
    EXPECT_EQ(made.count, 2);
}

TEST(MACTableOfAnARPTable, LeavesOutExactlyTheBroadcastAddressInLowerCase)
{
    const MACTable made =
        macTable({{"10.0.0.254", "FF:FF:FF:FF:FF:FF"}, {"10.0.0.255", "ff:ff:ff:ff:ff:ff"}, {"10.0.0.3", "ff:ff:ff:ff:ff:f"}}, stamp);
    EXPECT_EQ(made.entries.keys(), QStringList({"10.0.0.254", "10.0.0.3", "lastUpdate"}));
    EXPECT_EQ(made.count, 2);
}

TEST(MACTableOfAnARPTable, OfNothingButBroadcastsCountsNone)
{
    EXPECT_EQ(macTable({{"10.0.0.255", "ff:ff:ff:ff:ff:ff"}}, stamp).count, 0);
    EXPECT_EQ(macTable({}, stamp).count, 0);
}

// Time

TEST(LastUpdateText, IsWrittenInTheAmericanOrderForAmericans)
{
    EXPECT_EQ(lastUpdateText(moment, "en_US"), "11!15!2026_14*05 +");
    EXPECT_EQ(lastUpdateText(moment, "en_US_POSIX"), "11!15!2026_14*05 +");
}

TEST(LastUpdateText, IsWrittenDayFirstForAllOthers)
{
    for (const char *other : {"de_DE", "en_GB", "en", "en_US_POSIX2", "nonsense"})
        EXPECT_EQ(lastUpdateText(moment, other), "15-11-2026,_14*05 +") << other;
}

TEST(LastUpdateText, KeepsTheDigitsOfTheLocale)
{
    EXPECT_EQ(lastUpdateText(moment, "ar_EG"), QString::fromUtf8("١٥-١١-٢٠٢٦,_١٤*٠٥ +"));
}

TEST(LastUpdateText, IsInLocalTimeAndPadded)
{
    const QByteArray before = qgetenv("TZ");
    qputenv("TZ", "Asia/Kolkata"); // half an hour off every whole one
    tzset();
    EXPECT_EQ(lastUpdateText(QDateTime(QDate(2027, 1, 1), QTime(21, 34), Qt::UTC), "en_US"), "01!02!2027_03*04 +");
    before.isNull() ? qunsetenv("TZ") : qputenv("TZ", before);
    tzset();
}

TEST(DecodedLastUpdateText, OfTheAmericanFormIsTextAndMoment)
{
    const DecodedLastUpdate decoded = decodeLastUpdate("11!15!2026_14*05 +");
    EXPECT_EQ(decoded.text, "11/15/2026 14:05");
    EXPECT_EQ(decoded.date, QDateTime(QDate(2026, 11, 15), QTime(14, 5)));
}

TEST(DecodedLastUpdateText, OfTheOtherFormIsNoMoment)
{
    const DecodedLastUpdate decoded = decodeLastUpdate("15-11-2026,_14*05 +");
    EXPECT_EQ(decoded.text, "15-11-2026, 14:05");
    EXPECT_FALSE(decoded.date.isValid());
}

TEST(DecodedLastUpdateText, EndsAtTheFirstMark)
{
    EXPECT_EQ(decodeLastUpdate("11!15!2026_14*05 +0100 + x").text, "11/15/2026 14:05");
    EXPECT_EQ(decodeLastUpdate("11!15!2026_14*05").text, "11/15/2026 14:05") << "no mark at all";
    EXPECT_EQ(decodeLastUpdate(" +11!15!2026").text, "");
    EXPECT_EQ(decodeLastUpdate("11!15!2026_14*05_+").text, "11/15/2026 14:05 +") << "cut before the characters are put back";
}

TEST(DecodedLastUpdateText, ThatIsNoTimeIsNoMoment)
{
    for (const char *text : {"", " +", "11!15!2026", "13!32!2026_14*05 +", "11!15!2026_24*60 +", "1!5!26_4*5 +", "soon +"})
        EXPECT_FALSE(decodeLastUpdate(text).date.isValid()) << text;
}

TEST(DecodedLastUpdateText, ReadsBackWhatIsWrittenForAmericans)
{
    const QDateTime minute(QDate(2026, 2, 28), QTime(23, 59));
    EXPECT_EQ(decodeLastUpdate(lastUpdateText(minute, "en_US")).date, minute);
}

TEST(LastUpdateOfANetwork, IsThatOfTheTableUnderItsNameElseOfTheFastBand)
{
    const QVariantMap home = {{"lastUpdate", "01!01!2026_01*01 +"}};
    const QVariantMap fast = {{"lastUpdate", stamp}};
    EXPECT_EQ(lastUpdateOfNetwork({{"Home", home}, {"Home 5GHz", fast}}, "Home")->text, "01/01/2026 01:01");
    EXPECT_EQ(lastUpdateOfNetwork({{"Home 5GHz", fast}}, "Home")->text, "11/15/2026 14:05");
    EXPECT_EQ(lastUpdateOfNetwork({{"Home", 5}, {"Home 5GHz", fast}}, "Home")->text, "11/15/2026 14:05") << "a number is no table";
}

TEST(LastUpdateOfANetwork, IsNothingWithoutNameTableOrTime)
{
    const QVariantMap tables = {{"Home", table("02:00:00:00:00:01")}, {"Bare", QVariantMap()}, {"Odd", QVariantMap{{"lastUpdate", 12}}}};
    EXPECT_FALSE(lastUpdateOfNetwork(tables, {}));
    EXPECT_FALSE(lastUpdateOfNetwork(tables, "Harbour"));
    EXPECT_FALSE(lastUpdateOfNetwork(tables, "Bare"));
    EXPECT_FALSE(lastUpdateOfNetwork(tables, "Odd"));
}

// The tables of all networks

TEST(NetworkKey, IsTheAssociatedNetworkUnlessThatFollowsTheCurrentOne)
{
    EXPECT_EQ(networkKey("Harbour", "Home"), "Harbour");
    EXPECT_EQ(networkKey("current", "Home"), "Home");
    EXPECT_EQ(networkKey({}, "Home"), "Home");
    EXPECT_EQ(networkKey("Current", "Home"), "Current");
}

TEST(NetworkKey, IsEmptyWhenNothingIsKnownAndThenNotNull)
{
    for (const QString &key : {networkKey({}, {}), networkKey("current", {}), networkKey("", "Home")}) {
        EXPECT_TRUE(key.isEmpty());
        EXPECT_FALSE(key.isNull());
    }
}

TEST(EmptyNetworks, AreThoseThatHoldNothingButATimeOrAreNoTable)
{
    QVariantMap tables = {
        {"Home", table("02:00:00:00:00:01")},
        {"Bare", QVariantMap()},
        {"Stamped", QVariantMap{{"lastUpdate", stamp}}},
        {"Text", "text"},
        {"List", QVariantList{1}},
        {"Null", QVariant()},
        {"Untimed", QVariantMap{{"10.0.0.1", "02:00:00:00:00:01"}}},
    };
    EXPECT_EQ(removeEmptyNetworkEntries(tables), QStringList({"Bare", "List", "Null", "Stamped", "Text"}));
    EXPECT_EQ(tables.keys(), QStringList({"Home", "Untimed"}));
    EXPECT_TRUE(removeEmptyNetworkEntries(tables).isEmpty());
}

class MACTablesUpdating : public testing::Test
{
protected:
    MACTablesUpdate update(const QVariantMap &tables, const QString &key, const ARPTable &arp, bool appleTV = false)
    {
        return updatedMACTables(tables, {}, key, macTable(arp, stamp), appleTV);
    }
    const ARPTable oneDevice = {{"10.0.0.1", "02:00:00:00:00:01"}};
    const ARPTable broadcastOnly = {{"10.0.0.255", "ff:ff:ff:ff:ff:ff"}};
};

TEST_F(MACTablesUpdating, ReplacesTheTableOfTheNetworkWholeAndLeavesOthers)
{
    const QVariantMap before = {{"Home", QVariantMap{{"10.0.0.9", "02:00:00:00:00:09"}}}, {"Harbour", table("02:00:00:00:00:02")}};
    const MACTablesUpdate after = update(before, "Home", oneDevice);
    EXPECT_EQ(after.tables, QVariantMap({{"Home", table("02:00:00:00:00:01")}, {"Harbour", table("02:00:00:00:00:02")}}));
    EXPECT_TRUE(after.lines.isEmpty());
}

TEST_F(MACTablesUpdating, GoesByTheStoredTablesWhereThereAreAny)
{
    const QVariantMap inMemory = {{"Old", table("02:00:00:00:00:02")}};
    const QVariantMap stored = {{"New", table("02:00:00:00:00:03")}};
    const MACTable made = macTable(oneDevice, stamp);
    EXPECT_EQ(updatedMACTables(inMemory, stored, "Home", made, false).tables.keys(), QStringList({"Home", "New"}));
    EXPECT_EQ(updatedMACTables(inMemory, {}, "Home", made, false).tables.keys(), QStringList({"Home", "Old"}));
    EXPECT_EQ(updatedMACTables(inMemory, "no dictionary", "Home", made, false).tables.keys(), QStringList({"Home", "Old"}));
    EXPECT_EQ(updatedMACTables(inMemory, QVariantMap(), "Home", made, false).tables.keys(), QStringList({"Home"})) << "an empty one is one";
}

TEST_F(MACTablesUpdating, RemovesTheNamelessNetworkOnceThereIsAName)
{
    EXPECT_EQ(update({{"", table("02:00:00:00:00:02")}}, "Home", oneDevice).tables.keys(), QStringList({"Home"}));
}

TEST_F(MACTablesUpdating, OfNothingButBroadcastsFilesNothingAndLeavesTheNamelessNetwork)
{
    const QVariantMap before = {{"", table("02:00:00:00:00:02")}, {"Home", table("02:00:00:00:00:01")}};
    const MACTablesUpdate after = update(before, "Home", broadcastOnly, true);
    EXPECT_EQ(after.tables, before);
    EXPECT_EQ(after.lines, QStringList({"CKMacSync: no devices discovered for 'Home' — skipping iCloud entry"}));
}

TEST_F(MACTablesUpdating, WithoutAKeyFilesNothing)
{
    const QVariantMap before = {{"", table("02:00:00:00:00:02")}};
    const MACTablesUpdate after = update(before, "", oneDevice);
    EXPECT_EQ(after.tables, before);
    EXPECT_EQ(after.lines, QStringList({"CKMacSync: no networkKey — skipping MACAddressesByNetworkSegment update"}));
    EXPECT_EQ(update({}, "", broadcastOnly).lines, after.lines);
}

TEST_F(MACTablesUpdating, FilesTheTableForMediaRemotesAlsoWithoutAKey)
{
    EXPECT_EQ(update({}, "Home", oneDevice, true).tables,
        QVariantMap({{"AppleTVNetwork", table("02:00:00:00:00:01")}, {"Home", table("02:00:00:00:00:01")}}));
    EXPECT_EQ(update({}, "", oneDevice, true).tables.keys(), QStringList({"AppleTVNetwork"}));
}

TEST_F(MACTablesUpdating, RemovesANetworkThatHoldsOnlyATimeWithOneLine)
{
    const MACTablesUpdate after = update({{"Stamped", QVariantMap{{"lastUpdate", stamp}}}}, "Home", oneDevice);
    EXPECT_EQ(after.tables.keys(), QStringList({"Home"}));
    EXPECT_EQ(after.lines, QStringList({"cleanup: removing empty network entry 'Stamped'"}));
}

TEST_F(MACTablesUpdating, TellsWhatWasNotFiledBeforeWhatWasRemoved)
{
    const MACTablesUpdate after = update({{"%@", QVariantMap()}, {"Zoo", 1}}, "Ho%@me", broadcastOnly);
    EXPECT_EQ(after.lines,
        QStringList({"CKMacSync: no devices discovered for 'Ho%@me' — skipping iCloud entry", "cleanup: removing empty network entry '%@'",
            "cleanup: removing empty network entry 'Zoo'"}));
}

} // namespace
