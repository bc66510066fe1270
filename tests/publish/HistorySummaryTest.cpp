#include "publish/HistorySummary.h"
#include "publish/HistoryReader.h"
#include "tests/publish/HistoryTexts.h"

#include <QBuffer>

#include <gtest/gtest.h>

#include <numeric>

using namespace lanterna;

namespace
{

constexpr qint64 minute = 60'000;

const QByteArray phone = deviceText("AA:00:00:00:00:01", "192.168.1.20", "Phone");
const QByteArray printer = deviceText("AA:00:00:00:00:02", "192.168.1.30", "Printer");

/// A summary until 12:00 of the test day, of whatever lines.
class HistorySummaryTest : public testing::Test
{
protected:
    HistoryQuery m_query{at(0, 0), at(12, 0), {}, 0, at(0, 0)};

    HistorySummary summary(const QList<QByteArray> &lines) { return summaryOfDays({lines.join()}); }

    /// The first day is the test day, the others follow.
    HistorySummary summaryOfDays(const QList<QByteArray> &texts)
    {
        HistorySummarizer summarizer(m_query);
        for (qsizetype number = 0; number < texts.size(); ++number) {
            QBuffer buffer;
            buffer.setData(texts.at(number));
            buffer.open(QIODevice::ReadOnly);
            summarizer.add(readHistoryDay(testDay.addDays(number), buffer));
        }
        return summarizer.finish();
    }

    static QStringList events(const HistorySummary &summary)
    {
        QStringList texts;
        for (const HistoryEvent &event : summary.events) {
            texts.append(QString::fromStdString(summary.devices[event.device].name)
                + QDateTime::fromMSecsSinceEpoch(event.time, Qt::UTC).toString(event.joined ? " + hh:mm" : " - hh:mm"));
        }
        return texts;
    }
};

TEST_F(HistorySummaryTest, ALineHoldsUntilTheNextTwentyMinutesAtMost)
{
    const HistorySummary result = summary({lineText(at(8, 0), {phone}), lineText(at(8, 5), {phone}), lineText(at(9, 0), {phone})});
    EXPECT_EQ(result.networks.at(0).observed, (5 + 20 + 20) * minute);
    EXPECT_EQ(result.devices.at(0).present, 45 * minute);
    EXPECT_EQ(presentShare(result.devices.at(0), result), 1);
    EXPECT_EQ(result.lines, 3U);
}

TEST_F(HistorySummaryTest, TheLastLineHoldsNoLongerThanTheRange)
{
    EXPECT_EQ(summary({lineText(at(11, 53), {phone})}).networks.at(0).observed, 7 * minute);
    const HistorySummary atTheEnd = summary({lineText(at(12, 0), {phone})});
    EXPECT_EQ(atTheEnd.networks.at(0).observed, 0);
    EXPECT_EQ(presentShare(atTheEnd.devices.at(0), atTheEnd), std::nullopt);
}

TEST_F(HistorySummaryTest, TheShareIsOfTheObservedTimeAlone)
{
    const HistorySummary result = summary({lineText(at(1, 0), {phone, printer}), lineText(at(1, 10), {printer}),
        lineText(at(1, 20), {phone, printer}), lineText(at(6, 0), {printer}), lineText(at(6, 10), {printer})});
    // 10 + 10 + 20 + 10 + 20 minutes were observed, the phone was there for the first and the third of them.
    EXPECT_EQ(result.networks.at(0).observed, 70 * minute);
    EXPECT_EQ(result.devices.at(0).present, 30 * minute);
    EXPECT_EQ(result.devices.at(1).present, 70 * minute);
}

TEST_F(HistorySummaryTest, FirstAndLastSeenAreMomentsOfLines)
{
    const HistorySummary result =
        summary({lineText(at(1, 0), {printer}), lineText(at(2, 0), {phone}), lineText(at(2, 5), {phone}), lineText(at(3, 0), {printer})});
    EXPECT_EQ(result.devices.at(0).firstSeen, at(2, 0));
    EXPECT_EQ(result.devices.at(0).lastSeen, at(2, 5));
    EXPECT_FALSE(result.devices.at(0).isPresent);
    EXPECT_EQ(result.devices.at(1).firstSeen, at(1, 0));
    EXPECT_EQ(result.devices.at(1).lastSeen, at(3, 0));
    EXPECT_TRUE(result.devices.at(1).isPresent);
}

TEST_F(HistorySummaryTest, WhoIsThereAtFirstDoesNotJoin)
{
    const HistorySummary result =
        summary({lineText(at(1, 0), {printer}), lineText(at(1, 5), {phone, printer}), lineText(at(1, 10), {printer}), lineText(at(1, 15), {})});
    EXPECT_EQ(events(result), (QStringList{"Phone + 01:05", "Phone - 01:10", "Printer - 01:15"}));
}

TEST_F(HistorySummaryTest, UnobservedTimeMakesNoLeave)
{
    const HistorySummary result =
        summary({lineText(at(1, 0), {phone, printer}), lineText(at(8, 0), {printer}), lineText(at(11, 0), {printer, phone})});
    EXPECT_EQ(events(result), (QStringList{"Phone - 08:00", "Phone + 11:00"})) << "the printer was there whenever somebody looked";
}

TEST_F(HistorySummaryTest, LinesThatAClockPutOutOfOrderCountByTheirMoments)
{
    const HistorySummary result =
        summary({lineText(at(3, 0), {phone}), lineText(at(3, 10), {}), lineText(at(2, 50), {printer}), lineText(at(3, 5), {phone, printer})});
    EXPECT_EQ(events(result), (QStringList{"Phone + 03:00", "Printer - 03:00", "Printer + 03:05", "Phone - 03:10", "Printer - 03:10"}));
    EXPECT_EQ(result.networks.at(0).observed, (10 + 5 + 5 + 20) * minute);
}

TEST_F(HistorySummaryTest, NetworksAreObservedEachForItself)
{
    const QByteArray elsewhere = deviceText("AA:00:00:00:00:01", "10.0.0.7", "Phone");
    const HistorySummary result = summary({lineText(at(1, 0), {phone}), lineText(at(1, 5), {elsewhere}, "Harbour", "10.0.0"),
        lineText(at(1, 10), {printer}), lineText(at(1, 12), {}, "Office", "192.168.1")});
    ASSERT_EQ(result.networks.size(), 3U);
    EXPECT_EQ(result.networks[0].network, (HistoryNetwork{"Office", "192.168.1"})) << "the latest comes first";
    EXPECT_EQ(result.networks[1].observed, (10 + 20) * minute);
    EXPECT_EQ(result.networks[2].observed, 20 * minute);
    EXPECT_EQ(events(result), (QStringList{"Printer + 01:10", "Phone - 01:10"}));
    EXPECT_EQ(result.devices.size(), 3U) << "one device in two networks is told twice";
    EXPECT_EQ(result.devices.at(2).network, 2U);
    EXPECT_EQ(result.devices.at(2).ip, "10.0.0.7");
}

TEST_F(HistorySummaryTest, NetworksThatNobodyAskedForAreNamedTheLatestFirst)
{
    m_query.from = at(1, 0);
    m_query.wants = [](const HistoryNetwork &network) { return network.ssid == "Harbour"; };
    const HistorySummary result =
        summaryOfDays({lineText(at(0, 59), {phone}, "Early") + lineText(at(1, 0), {phone}, "Office") + lineText(at(1, 1), {phone}, "Office", "10.0.0")
                + lineText(at(1, 2), {phone}) + lineText(at(1, 3), {phone}, "Office") + lineText(at(13, 0), {phone}, "Future"),
            lineText(at(25, 0), {phone}, "Future")});
    EXPECT_EQ(result.otherNetworks, (std::vector<HistoryNetwork>{{"Office", "192.168.1"}, {"Office", "10.0.0"}}));
    EXPECT_EQ(result.networks.size(), 1U);
    EXPECT_EQ(result.lines, 1U);
    EXPECT_EQ(result.futureLines, 0U);
    m_query.wants = {};
    EXPECT_TRUE(summary({lineText(at(1, 0), {phone}, "Office")}).otherNetworks.empty());
}

TEST_F(HistorySummaryTest, OnlySoManyNetworksThatNobodyAskedForAreNamed)
{
    m_query.to = at(36, 0);
    m_query.wants = [](const HistoryNetwork &) { return false; };
    QByteArray days[2];
    for (int number = 0; number < 600; ++number)
        days[number / 300] += lineText(at(number < 300 ? 1 : 25, 0, number % 300), {}, "N" + QByteArray::number(number % 400));
    EXPECT_EQ(summaryOfDays({days[0], days[1]}).otherNetworks.size(), mostHistoryNetworks);
}

TEST_F(HistorySummaryTest, ADeviceKeepsItsIdentityByItsMac)
{
    const HistorySummary result = summary({lineText(at(1, 0), {phone}), lineText(at(1, 5), {deviceText("AA:00:00:00:00:01", "192.168.1.21", "")}),
        lineText(at(1, 10), {deviceText("AA:00:00:00:00:01", "192.168.1.21", "New Phone")}), lineText(at(1, 15), {phone})});
    ASSERT_EQ(result.devices.size(), 1U);
    const HistoryDevice &device = result.devices[0];
    EXPECT_EQ(device.addressChanges, 2U);
    ASSERT_EQ(device.addresses.size(), 3U);
    EXPECT_EQ(device.addresses[1].ip, "192.168.1.21");
    EXPECT_EQ(device.addresses[1].since, at(1, 5));
    EXPECT_EQ(device.ip, "192.168.1.20");
    EXPECT_EQ(device.name, "Phone") << "the latest that was not empty";
    EXPECT_TRUE(result.events.empty());
}

TEST_F(HistorySummaryTest, WithoutARealMacADeviceIsItsAddress)
{
    for (const char *mac : {"", "UNKNOWN", "00:00:00:00:00:00", "02:00:00:00:00:00", "FF:FF:FF:FF:FF:FF", "AA:BB:CC:XX:XX:XX"}) {
        const HistorySummary result = summary({lineText(at(1, 0), {deviceText(mac, "192.168.1.5"), deviceText(mac, "192.168.1.6")})});
        EXPECT_EQ(result.devices.size(), 2U) << mac;
        EXPECT_EQ(result.devices.at(0).mac, "");
        EXPECT_EQ(result.devices.at(0).ip, "192.168.1.5");
    }
}

TEST_F(HistorySummaryTest, ADeviceWithSeveralAddressesMovesOnlyWhenItsOwnIsGone)
{
    const auto with = [](const char *ip) { return deviceText("AA:00:00:00:00:01", ip, "Proxy"); };
    const HistorySummary result = summary({lineText(at(1, 0), {with("192.168.1.5"), with("192.168.1.6")}),
        lineText(at(1, 5), {with("192.168.1.4"), with("192.168.1.6"), with("192.168.1.5")}),
        lineText(at(1, 10), {with("192.168.1.4"), with("192.168.1.6")}), lineText(at(1, 15), {with("192.168.1.6"), with("192.168.1.4")})});
    ASSERT_EQ(result.devices.size(), 1U);
    EXPECT_EQ(result.devices[0].addressChanges, 1U);
    EXPECT_EQ(result.devices[0].addresses.back().ip, "192.168.1.4");
    EXPECT_EQ(result.devices[0].addresses.back().since, at(1, 10));
}

TEST_F(HistorySummaryTest, OnlyTheLatestAddressesAreKeptAndAllChangesCounted)
{
    QList<QByteArray> lines;
    for (int number = 0; number < 50; ++number)
        lines.append(lineText(at(1, number), {deviceText("AA:00:00:00:00:01", "192.168.1." + QByteArray::number(number))}));
    const HistoryDevice device = summary(lines).devices.at(0);
    EXPECT_EQ(device.addressChanges, 49U);
    EXPECT_EQ(device.addresses.size(), mostHistoryAddresses);
    EXPECT_EQ(device.addresses.back().ip, "192.168.1.49");
}

TEST_F(HistorySummaryTest, LinesOutsideTheRangeDoNotCount)
{
    m_query.from = at(2, 0);
    const HistorySummary result =
        summary({lineText(at(1, 59), {phone}), lineText(at(2, 0), {printer}), lineText(at(12, 0, 1), {phone}), lineText(at(13, 0), {phone})});
    EXPECT_EQ(result.lines, 1U);
    EXPECT_EQ(result.futureLines, 2U);
    EXPECT_EQ(result.devices.size(), 1U);
    EXPECT_EQ(result.networks.at(0).firstLine, at(2, 0));
}

TEST_F(HistorySummaryTest, TheLatestLineBeforeTheRangeTellsHowItBegins)
{
    m_query.from = at(2, 0);
    m_query.columnsFrom = at(2, 0);
    m_query.columns = 600; // a minute each
    const HistorySummary result =
        summary({lineText(at(1, 45), {phone}), lineText(at(1, 50), {printer}), lineText(at(2, 5), {phone, printer}), lineText(at(2, 6), {})});
    EXPECT_EQ(result.networks.at(0).observed, (5 + 1 + 20) * minute);
    EXPECT_EQ(result.networks.at(0).firstLine, at(2, 0));
    EXPECT_EQ(result.lines, 2U);
    EXPECT_EQ(events(result), (QStringList{"Phone + 02:05", "Phone - 02:06", "Printer - 02:06"})) << "the lines before make none";
    ASSERT_EQ(result.devices.size(), 2U);
    EXPECT_EQ(result.devices[0].firstSeen, at(2, 5));
    EXPECT_EQ(result.devices[0].present, minute);
    EXPECT_EQ(result.devices[1].firstSeen, at(2, 0));
    EXPECT_EQ(result.devices[1].addresses.at(0).since, at(2, 0));
    EXPECT_EQ(result.devices[1].present, 6 * minute);
    EXPECT_EQ(std::accumulate(result.devices[1].columns.begin(), result.devices[1].columns.end(), qint64{0}), 6 * minute);
}

TEST_F(HistorySummaryTest, ALineBeforeTheRangeHoldsForTheRestOfItsTwentyMinutes)
{
    m_query.from = at(2, 0);
    const HistorySummary held = summary({lineText(at(1, 50), {phone})});
    EXPECT_EQ(held.networks.at(0).observed, 10 * minute);
    EXPECT_EQ(held.devices.at(0).present, 10 * minute);
    EXPECT_EQ(held.devices.at(0).lastSeen, at(2, 0));
    EXPECT_EQ(held.lines, 0U);
    EXPECT_TRUE(summary({lineText(at(1, 40), {phone})}).networks.empty());
    const HistorySummary gap = summary({lineText(at(1, 41), {phone}), lineText(at(3, 0), {phone})});
    EXPECT_EQ(gap.networks.at(0).observed, (1 + 20) * minute);
    EXPECT_TRUE(gap.events.empty());
}

TEST_F(HistorySummaryTest, TheLineBeforeTheRangeMayBeInTheFileOfTheDayBefore)
{
    m_query.from = at(24, 5);
    m_query.to = at(36, 0);
    const QByteArray before = lineText(at(23, 50), {phone}) + lineText(at(23, 51), {phone}, "Office", "10.0.0");
    const HistorySummary result = summaryOfDays({before, lineText(at(24, 8), {printer})});
    EXPECT_EQ(events(result), (QStringList{"Printer + 00:08", "Phone - 00:08"}));
    EXPECT_EQ(result.networks.at(0).observed, (3 + 20) * minute);
    EXPECT_EQ(result.networks.at(1).observed, 6 * minute);
    const HistorySummary later = summaryOfDays({before, lineText(at(24, 2), {printer}) + lineText(at(24, 8), {printer})});
    EXPECT_TRUE(later.events.empty()) << "the phone had left before the range";
    EXPECT_EQ(later.devices.size(), 2U) << "the printer, and the phone in the other network";
}

TEST_F(HistorySummaryTest, MidnightInterruptsNothing)
{
    m_query.to = at(36, 0);
    const HistorySummary result = summaryOfDays({lineText(at(23, 50), {phone, printer}),
        lineText(at(24, 5), {deviceText("AA:00:00:00:00:01", "192.168.1.20", "Phone"), printer}) + lineText(at(24, 10), {printer})});
    EXPECT_EQ(result.devices.size(), 2U);
    EXPECT_EQ(events(result), QStringList{"Phone - 00:10"});
    EXPECT_EQ(result.devices.at(0).present, 20 * minute);
    EXPECT_EQ(result.devices.at(0).addressChanges, 0U);
}

TEST_F(HistorySummaryTest, DevicesComeByAddressAsANumber)
{
    const HistorySummary result =
        summary({lineText(at(1, 0),
                     {deviceText("C", "192.168.1.100"), deviceText("B", "192.168.1.20"), deviceText("D", "fe80::1"), deviceText("A", "192.168.1.3")}),
            lineText(at(1, 1), {})});
    std::string order;
    for (const HistoryDevice &device : result.devices)
        order += device.mac;
    EXPECT_EQ(order, "ABCD");
    EXPECT_EQ(result.events.at(0).device, 2U) << "events follow the devices to their new places";
}

TEST_F(HistorySummaryTest, ColumnsTellPresentAndObservedTime)
{
    m_query.columns = 12; // an hour each
    const HistorySummary result = summary({lineText(at(1, 50), {phone}), lineText(at(2, 5), {}), lineText(at(2, 15), {phone, printer})});
    EXPECT_EQ(result.networks.at(0).columns, (HistoryColumns{0, 10 * minute, 35 * minute, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(result.devices.at(0).columns, (HistoryColumns{0, 10 * minute, 25 * minute, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(result.devices.at(1).columns, (HistoryColumns{0, 0, 20 * minute, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(HistorySummaryTest, ColumnsBeginWithTheFirstLineThatCountsUnlessTold)
{
    m_query.columns = 6;
    m_query.columnsFrom.reset();
    m_query.wants = [](const HistoryNetwork &network) { return network.ssid == "Harbour"; };
    const HistorySummary result = summary({lineText(at(8, 0), {phone}, "Office"), lineText(at(9, 0), {phone}), lineText(at(10, 5), {phone}, "Dock")});
    EXPECT_EQ(result.columnsFrom, at(9, 0));
    EXPECT_EQ(result.networks.at(0).columns, (HistoryColumns{20 * minute, 0, 0, 0, 0, 0}));
    m_query.from = at(9, 10);
    EXPECT_EQ(summary({lineText(at(9, 0), {phone})}).columnsFrom, at(9, 10)) << "an earlier line that holds counts from the range's beginning";
    EXPECT_EQ(summary({}).columnsFrom, at(9, 10));
    m_query.columnsFrom = at(11, 0);
    EXPECT_EQ(summary({lineText(at(10, 50), {phone})}).networks.at(0).columns, (HistoryColumns{10 * minute, 0, 0, 0, 0, 0}));
}

TEST_F(HistorySummaryTest, ALineOfTheLastMomentLeavesItsColumnsEmpty)
{
    m_query.columns = 2;
    m_query.columnsFrom.reset();
    const HistorySummary result = summary({lineText(at(12, 0), {phone})});
    EXPECT_EQ(result.columnsFrom, result.to);
    EXPECT_EQ(result.networks.at(0).columns, (HistoryColumns{0, 0}));
    EXPECT_EQ(result.devices.at(0).columns, (HistoryColumns{0, 0}));
}

TEST_F(HistorySummaryTest, AllColumnsTogetherAreAllTime)
{
    m_query.columns = 777; // no whole number of seconds each
    m_query.columnsFrom = at(0, 30);
    QList<QByteArray> lines;
    for (int number = 0; number < 600; ++number)
        lines.append(lineText(at(1, number, number % 7), number % 3 == 0 ? QList<QByteArray>{phone} : QList<QByteArray>{phone, printer}));
    const HistorySummary result = summary(lines);
    for (const HistoryDevice &device : result.devices)
        EXPECT_EQ(std::accumulate(device.columns.begin(), device.columns.end(), qint64{0}), device.present) << device.name;
    const HistoryColumns &observed = result.networks.at(0).columns;
    EXPECT_EQ(std::accumulate(observed.begin(), observed.end(), qint64{0}), result.networks.at(0).observed);
}

TEST_F(HistorySummaryTest, DevicesAndEventsAreBounded)
{
    QList<QByteArray> all;
    for (int number = 0; number < 12'000; ++number)
        all.append(deviceText("M" + QByteArray::number(number), "192.168.1.1"));
    QList<QByteArray> lines;
    for (int number = 0; number < 14; ++number)
        lines.append(lineText(at(1, number), number % 2 == 0 ? all : QList<QByteArray>{}));
    const HistorySummary result = summary(lines);
    EXPECT_EQ(result.devices.size(), mostHistoryDevices);
    EXPECT_EQ(result.devicesLeftOut, 7 * 4'000U);
    EXPECT_EQ(result.events.size(), mostHistoryEvents);
    EXPECT_EQ(result.eventsLeftOut, 13 * 8'000U - mostHistoryEvents);
    EXPECT_EQ(result.events.back().time, at(1, 13));
}

} // namespace
