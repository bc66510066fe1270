#include "cli/HistoryReport.h"
#include "cli/TextWidth.h"
#include "platform/Json.h"
#include "tests/cli/HistoryFixture.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

class HistoryReport : public testing::Test
{
protected:
    LocalZone m_zone{"Europe/Stockholm"}; // one hour east of UTC in November
    HistorySummary m_summary = smallSummary();
};

TEST_F(HistoryReport, TheTableTellsEachDeviceAndThenJoinsAndLeaves)
{
    EXPECT_EQ(historyText(m_summary, 0).toStdString(),
        "Harbour (192.168.1.x): 2 devices, observed 12 h of 1 d\n"
        "NAME          ADDRESS       CHANGES  MAC                PRESENT  FIRST SEEN    LAST SEEN\n"
        "Anna's Phone  192.168.1.21        1  AA:00:00:00:00:01     50 %  15 Nov 02:00  15 Nov 12:00\n"
        "-             192.168.1.90        0  -                     <1 %  15 Nov 01:00  15 Nov 01:30\n"
        "\n"
        "2 joins and leaves:\n"
        "15 Nov 02:00  joined  Anna's Phone (192.168.1.21)\n"
        "15 Nov 02:00  left    192.168.1.90\n");
}

TEST_F(HistoryReport, FitsTerminalsOfAnyWidth)
{
    m_summary.devices[0].name = "A name that is much longer than any terminal is wide, with 漢字 in it, and goes on";
    m_summary.networks[0].network.ssid = m_summary.devices[0].name;
    m_summary.brokenLines = m_summary.otherVersions = m_summary.futureLines = 12;
    for (int columns = 1; columns < 160; ++columns) {
        for (const QString &line : historyText(m_summary, columns).split(u'\n'))
            ASSERT_LE(columnsOf(line), columns) << line.toStdString();
    }
}

TEST_F(HistoryReport, OnEightyColumnsOnlyTheMacIsMissing)
{
    const QString text = historyText(m_summary, 80);
    EXPECT_EQ(text.section(u'\n', 1, 1).toStdString(), "NAME          ADDRESS       CHANGES  PRESENT  FIRST SEEN    LAST SEEN");
    EXPECT_TRUE(text.contains("Anna's Phone  192.168.1.21        1     50 %  15 Nov 02:00  15 Nov 12:00\n"));
}

TEST_F(HistoryReport, ATerminalGetsTheLatestEventsAndAFileAll)
{
    m_summary.events.assign(100, {m_summary.from, 0, true});
    m_summary.events.back().joined = false;
    m_summary.eventsLeftOut = 5;
    const QString shown = historyText(m_summary, 80);
    EXPECT_TRUE(shown.contains("105 joins and leaves; the latest 40:\n"));
    EXPECT_EQ(shown.count("joined"), 39);
    EXPECT_EQ(shown.count(" left "), 1);
    EXPECT_EQ(historyText(m_summary, 0).count("joined"), 99);
    EXPECT_TRUE(historyText(m_summary, 0).contains("105 joins and leaves; the latest 100:\n"));
}

TEST_F(HistoryReport, NamesCannotCommandATerminal)
{
    m_summary.devices[0].name = "\x1b[2J\nx\xe2\x80\xae";
    m_summary.devices[1].ip = "\x07";
    m_summary.networks[0].network = {"\x1b]0;x\x07", "\n"};
    const QString text = historyText(m_summary, 0);
    EXPECT_TRUE(text.contains(QStringLiteral("\\x1b[2J\\nx\\u202e")));
    for (const QChar character : text)
        EXPECT_TRUE(character == u'\n' || (character >= u' ' && character.unicode() < 0x7f)) << int{character.unicode()};
}

TEST_F(HistoryReport, EventsNameTheirNetworkWhereThereAreSeveral)
{
    m_summary.networks.push_back({{"Subnet 10.0.0.x", "10.0.0"}, 0, 0, 0, {}});
    const QString text = historyText(m_summary, 0);
    EXPECT_TRUE(text.contains("joined  Anna's Phone (192.168.1.21), Harbour (192.168.1.x)\n"));
    EXPECT_TRUE(text.contains("\nSubnet 10.0.0.x: 0 devices, observed 0 min of 1 d\n\n"));
}

TEST_F(HistoryReport, WordsForNetworksSharesAndDurations)
{
    EXPECT_EQ(networkTitle({"", ""}).toStdString(), "Unnamed network");
    EXPECT_EQ(networkTitle({"", "10.0.0"}).toStdString(), "10.0.0.x");
    EXPECT_EQ(networkTitle({"Harbour", ""}).toStdString(), "Harbour");
    EXPECT_EQ(shareText(std::nullopt).toStdString(), "-");
    EXPECT_EQ(shareText(0).toStdString(), "0 %");
    EXPECT_EQ(shareText(0.001).toStdString(), "<1 %");
    EXPECT_EQ(shareText(0.5).toStdString(), "50 %");
    EXPECT_EQ(shareText(0.9999).toStdString(), "99 %") << "not all of the time";
    EXPECT_EQ(shareText(1).toStdString(), "100 %");
    EXPECT_EQ(durationText(0).toStdString(), "0 min");
    EXPECT_EQ(durationText(3 * testHour + 20 * testMinute).toStdString(), "3 h 20 min");
    EXPECT_EQ(durationText(48 * testHour).toStdString(), "2 d");
    EXPECT_EQ(durationText(49 * testHour + testMinute).toStdString(), "2 d 1 h");
}

TEST_F(HistoryReport, ANetworkIsCalledByKeySubnetOrTitle)
{
    const HistoryNetwork harbour = {"Harbour", "192.168.1"};
    for (const char *name : {"Harbour", "192.168.1", "192.168.1.x", "Harbour (192.168.1.x)"})
        EXPECT_TRUE(isCalled(harbour, name)) << name;
    for (const char *name : {"harbour", "192.168", "192.168.1.", "Harbour (192.168.1)", "Harbour (10.0.0.x)", "Harbour ", "(192.168.1.x)"})
        EXPECT_FALSE(isCalled(harbour, name)) << name;
    EXPECT_TRUE(isCalled({"Caf\u00e9", ""}, QString::fromUtf8("Caf\u00e9")));
    EXPECT_TRUE(isCalled({"", ""}, "Unnamed network"));
    EXPECT_FALSE(isCalled({"Harbour", ""}, ".x"));
    // A name that could command a terminal is printed otherwise than it is.
    EXPECT_TRUE(isCalled({"a\x1b", "10.0.0"}, "a\\x1b (10.0.0.x)"));
    EXPECT_TRUE(isCalled({"\u200b", "10.0.0"}, "10.0.0.x"));
    EXPECT_EQ(networkTitle({"\u200b", "10.0.0"}), "10.0.0.x") << "a key that shows nothing";
}

TEST_F(HistoryReport, FaultsAreOneLine)
{
    EXPECT_EQ(historyFaults(m_summary), QString());
    m_summary.brokenLines = 1;
    m_summary.futureLines = 1;
    EXPECT_EQ(historyFaults(m_summary).toStdString(), "1 line could not be read, 1 line lies in the future");
    m_summary.brokenLines = 2;
    m_summary.otherVersions = 3;
    m_summary.futureLines = 4;
    m_summary.devicesLeftOut = 1;
    EXPECT_EQ(historyFaults(m_summary).toStdString(),
        "2 lines could not be read, 3 lines of another version, 4 lines lie in the future, devices beyond the first 8000 were left out");
    EXPECT_TRUE(historyText(m_summary, 0).endsWith("\n\n" + historyFaults(m_summary) + "\n"));
}

TEST_F(HistoryReport, JsonTellsAllInSecondsSince1970)
{
    m_summary.brokenLines = 2;
    const QString text = historyJson(m_summary);
    EXPECT_TRUE(text.endsWith("}\n"));
    const QVariantMap json = parseJson(text.toUtf8()).value().toMap();
    EXPECT_EQ(json.value("from").toDouble(), 1794700800.0);
    EXPECT_EQ(json.value("to").toDouble(), 1794787200.0);
    EXPECT_EQ(json.value("lines").toInt(), 48);
    EXPECT_EQ(json.value("brokenLines").toInt(), 2);
    const QVariantMap network = json.value("networks").toList().at(0).toMap();
    EXPECT_EQ(network.value("ssid").toString(), "Harbour");
    EXPECT_EQ(network.value("observedSeconds").toDouble(), 43200);
    const QVariantMap phone = network.value("devices").toList().at(0).toMap();
    EXPECT_EQ(phone.keys(),
        (QStringList{
            "addressChanges", "addresses", "firstSeen", "ip", "lastSeen", "mac", "name", "present", "presentSeconds", "presentShare", "type"}));
    EXPECT_EQ(phone.value("presentShare").toDouble(), 0.5);
    EXPECT_EQ(phone.value("addresses").toList().at(1).toMap(), (QVariantMap{{"ip", "192.168.1.21"}, {"since", 1794708000.0}}));
    const QVariantMap event = json.value("events").toList().at(0).toMap();
    EXPECT_EQ(event,
        (QVariantMap{{"time", 1794704400.0}, {"event", "join"}, {"network", qlonglong{0}}, {"mac", "AA:00:00:00:00:01"}, {"ip", "192.168.1.21"},
            {"name", "Anna's Phone"}}));
    EXPECT_EQ(json.value("events").toList().at(1).toMap().value("event").toString(), "leave");
}

TEST_F(HistoryReport, AShareOfNoTimeIsNull)
{
    m_summary.networks[0].observed = 0;
    const QVariantMap json = parseJson(historyJson(m_summary).toUtf8()).value().toMap();
    EXPECT_FALSE(json.value("networks").toList().at(0).toMap().value("devices").toList().at(0).toMap().value("presentShare").isValid());
}

TEST_F(HistoryReport, CsvQuotesAndDefusesCells)
{
    m_summary.devices[0].name = "=cmd(), \"x\"";
    EXPECT_EQ(historyCsv(m_summary).toStdString(),
        "network,subnet,name,mac,address,type,first seen,last seen,present share,present seconds,observed seconds,address changes,addresses\n"
        "Harbour,192.168.1,\"'=cmd(), \"\"x\"\"\",AA:00:00:00:00:01,192.168.1.21,iPhone,2026-11-15T02:00:00+01:00,2026-11-15T12:00:00+01:00,0.5000,"
        "21600,43200,1,192.168.1.20 192.168.1.21\n"
        "Harbour,192.168.1,,,192.168.1.90,,2026-11-15T01:00:00+01:00,2026-11-15T01:30:00+01:00,0.0014,60,43200,0,192.168.1.90\n");
}

} // namespace
