#include "cli/HistoryPlot.h"
#include "tests/cli/HistoryFixture.h"

#include <QRegularExpression>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

using namespace lanterna;

namespace
{

/// Charts of 24 columns, an hour each.
class HistoryPlotTest : public testing::Test
{
protected:
    LocalZone m_zone{"UTC"};
    HistorySummary m_summary = smallSummary();

    void SetUp() override
    {
        m_summary.columns = 24;
        m_summary.columnsFrom = m_summary.from;
        m_summary.networks[0].columns = HistoryColumns(24, quint32(testHour));
        for (HistoryDevice &device : m_summary.devices)
            device.columns = HistoryColumns(24);
    }

    QString plot() { return QString::fromUtf8(historyPlot(m_summary)); }

    /// What the row of a device holds, from its tooltip to its share.
    QString row(const QString &device) { return plot().section("<title>" + device, 1).section("</g>", 0, 0); }

    static QString problem(const QString &svg)
    {
        QXmlStreamReader reader(svg);
        while (!reader.atEnd())
            reader.readNext();
        return reader.errorString();
    }
};

QString pathOf(const QString &row, const QString &kind)
{
    return QRegularExpression("<path class=\"" + kind + "\" d=\"M\\d+ [\\d.]+([^\"]*)\"").match(row).captured(1);
}

TEST_F(HistoryPlotTest, BarsLowBarsAndLinesTellPresentLittleAndAway)
{
    HistoryDevice &phone = m_summary.devices[0];
    phone.firstSeen = m_summary.from;
    phone.columns[0] = phone.columns[1] = quint32(testHour);
    phone.columns[2] = quint32(testHour / 2);
    phone.columns[3] = quint32(testHour / 3);
    phone.columns[10] = quint32(testHour);
    const QString text = row("Anna");
    EXPECT_EQ(pathOf(text, "present"), "h3m7 0h1");
    EXPECT_EQ(pathOf(text, "brief"), "h1");
    EXPECT_EQ(pathOf(text, "away"), "h6m1 0h13");
    EXPECT_TRUE(text.contains("present 50 %"));
}

TEST_F(HistoryPlotTest, UnobservedTimeIsHatchedAndNobodyIsAwayInIt)
{
    for (std::size_t column = 4; column < 20; ++column)
        m_summary.networks[0].columns[column] = 0;
    m_summary.devices[1].firstSeen = m_summary.from;
    EXPECT_EQ(pathOf(row("192.168.1.90"), "away"), "h4m16 0h4");
    EXPECT_EQ(plot().count(QRegularExpression("<rect class=\"unobserved\" x=\"200\" y=\"\\d+\" width=\"16\" height=\"28\"")), 1);
}

TEST_F(HistoryPlotTest, BeforeItWasFirstSeenADeviceIsNotAway)
{
    m_summary.devices[0].firstSeen = m_summary.from + 5 * testHour;
    EXPECT_EQ(pathOf(row("Anna"), "away"), "h19");
}

TEST_F(HistoryPlotTest, NamesAreEscapedAndTheFileIsWellFormed)
{
    for (const char *name :
        {"<script>alert(1)</script>", "\"/><a href='x'>&amp;]]>", "\x1b[2J\x01\x7f", "\xef\xbf\xbe\xef\xbf\xbf", "\xe2\x80\xae gnol", "--><!--"}) {
        m_summary.devices[0].name = name;
        m_summary.devices[1].ip = name;
        m_summary.networks[0].network = {name, name};
        EXPECT_EQ(problem(plot()), QString()) << name;
        EXPECT_FALSE(plot().contains("<script") || plot().contains("<a ")) << name;
    }
}

TEST_F(HistoryPlotTest, ItFollowsTheViewersScheme)
{
    const QString text = plot();
    EXPECT_EQ(text.count("@media (prefers-color-scheme: dark)"), 1);
    const QString light = text.section("@media", 0, 0);
    const QString dark = text.section("@media", 1).section("</style>", 0, 0);
    // Whatever has a colour has one for either scheme.
    for (const char *kind : {".ground", ".present", ".brief", ".away", ".grid", ".fine", ".hatch", "text", ".quiet", ".tick"}) {
        EXPECT_TRUE(light.contains(kind)) << kind;
        EXPECT_TRUE(dark.contains(kind)) << kind;
    }
}

TEST_F(HistoryPlotTest, TheSizeOfTheFileIsBounded)
{
    // The worst that columns can hold: each device another state in each.
    m_summary.columns = mostHistoryColumns;
    m_summary.networks[0].columns = HistoryColumns(mostHistoryColumns, 100);
    HistoryDevice restless = m_summary.devices[0];
    restless.columns.resize(mostHistoryColumns);
    for (std::size_t column = 0; column < restless.columns.size(); ++column)
        restless.columns[column] = std::array<quint32, 3>{0, 100, 10}[column % 3];
    m_summary.devices.assign(3000, restless);
    for (std::size_t at = 0; at < 1000; ++at)
        m_summary.devices[at * 3].present += testHour;
    const QString text = plot();
    EXPECT_LT(text.size(), 7'000'000);
    EXPECT_EQ(text.count("<g>"), qsizetype(mostPlotRows));
    EXPECT_TRUE(text.contains("the 500 of 3000 devices that were present longest"));
    EXPECT_EQ(text.count("present 58 %"), qsizetype(mostPlotRows));
    EXPECT_EQ(problem(text), QString());
}

TEST_F(HistoryPlotTest, TimeWithoutLengthIsDrawnWithoutMarks)
{
    m_summary.columnsFrom = m_summary.to; // midnight, where an axis has a mark
    m_summary.networks[0].columns = HistoryColumns(24);
    const QString text = plot();
    EXPECT_EQ(problem(text), QString());
    EXPECT_TRUE(text.contains("<title>Anna"));
    EXPECT_FALSE(text.contains("class=\"tick\""));
    EXPECT_LT(text.size(), 10'000);
}

TEST_F(HistoryPlotTest, EachNetworkHasItsOwnRows)
{
    m_summary.networks.push_back({{"Office", "10.0.0"}, m_summary.from, m_summary.from, 0, HistoryColumns(24)});
    m_summary.networks.push_back({{"Empty", "10.0.1"}, m_summary.from, m_summary.from, 0, HistoryColumns(24)});
    m_summary.devices[1].network = 1;
    const QString text = plot();
    EXPECT_LT(text.indexOf(">Harbour (192.168.1.x), observed 12 h<"), text.indexOf("<title>Anna"));
    EXPECT_LT(text.indexOf("<title>Anna"), text.indexOf(">Office (10.0.0.x), observed 0 min<"));
    EXPECT_LT(text.indexOf(">Office (10.0.0.x)"), text.indexOf("<title>192.168.1.90"));
    EXPECT_TRUE(text.contains(">Empty (10.0.1.x)"));
    EXPECT_EQ(problem(text), QString());
}

} // namespace
