#include "cli/HistoryPlot.h"

#include "cli/HistoryReport.h"
#include "cli/TextWidth.h"
#include "cli/TimeTicks.h"

#include <QDateTime>
#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <functional>

namespace lanterna
{

namespace
{

// In pixels. A column of the summary is one wide.
constexpr int margin = 12;
constexpr int chartLeft = 196;
constexpr int shareWidth = 52;
constexpr int rowHeight = 14;
constexpr int headerHeight = 78; // title, range, legend
constexpr int networkHeight = 48; // a network's title and the labels of its axis
constexpr int labelDistance = 66;
/// Charts higher than this have the labels of the axis below as well: from their last rows the first line is out of sight.
constexpr int secondAxis = 500;
/// As many as fit beside the chart in the font's mean width.
constexpr int nameColumns = 28;

/// Light by itself, dark where the viewer asks for it. Strength of colour and form tell the states apart, so that no state hangs on a hue.
constexpr const char *style = R"(
text { font: 10.5px "DejaVu Sans", "Noto Sans", sans-serif; fill: #1f2328; white-space: pre; }
.title { font-size: 16px; font-weight: bold; }
.network { font-size: 12px; font-weight: bold; }
.quiet { fill: #57606a; }
.share { text-anchor: end; }
.tick { text-anchor: middle; fill: #57606a; }
.ground { fill: #ffffff; }
.present { stroke: #0a58b5; stroke-width: 9; fill: none; }
.brief { stroke: #0a58b5; stroke-width: 3; fill: none; }
.away { stroke: #98a1ab; stroke-width: 1; fill: none; }
.grid { stroke: #dfe3e8; stroke-width: 1; fill: none; }
.fine { stroke: #f0f2f5; stroke-width: 1; fill: none; }
.hatch { stroke: #c3c9d0; stroke-width: 1; fill: none; }
.unobserved { fill: url(#hatching); }
path { shape-rendering: crispEdges; }
.hatch { shape-rendering: auto; }
@media (prefers-color-scheme: dark) {
text { fill: #e6edf3; }
.quiet, .tick { fill: #9aa5b1; }
.ground { fill: #12161b; }
.present, .brief { stroke: #6cb2ff; }
.away { stroke: #6b7682; }
.grid { stroke: #2b323a; }
.fine { stroke: #1c2229; }
.hatch { stroke: #444d57; }
}
)";

/// Text of the network as it may stand in XML: `toHtmlEscaped` leaves the two characters that XML has not.
QString escaped(const QString &text)
{
    QString result = text.toHtmlEscaped();
    for (QChar &character : result) {
        if (character.unicode() >= 0xfffe || (character.unicode() < 0x20 && character != u'\t'))
            character = QChar::ReplacementCharacter;
    }
    return result;
}

QString textElement(int x, int y, const QString &kind, const QString &text)
{
    return QStringLiteral("<text x=\"%1\" y=\"%2\" class=\"%3\">%4</text>\n").arg(QString::number(x), QString::number(y), kind, escaped(text));
}

/// The columns of which something is true, as runs [first, behind).
std::vector<std::pair<int, int>> runs(int columns, const std::function<bool(std::size_t)> &isTrue)
{
    std::vector<std::pair<int, int>> found;
    for (int column = 0; column < columns; ++column) {
        if (!isTrue(static_cast<std::size_t>(column)))
            continue;
        if (!found.empty() && found.back().second == column)
            ++found.back().second;
        else
            found.emplace_back(column, column + 1);
    }
    return found;
}

/// Runs as one line with gaps; nothing for none.
QString pathElement(const std::vector<std::pair<int, int>> &runs, int y, const char *kind)
{
    if (runs.empty())
        return {};
    QString path = QStringLiteral("<path class=\"%1\" d=\"M%2 %3.5").arg(QLatin1String(kind)).arg(chartLeft + runs.front().first).arg(y);
    int pen = runs.front().first;
    for (const auto &[first, behind] : runs) {
        if (first != pen)
            path += QStringLiteral("m%1 0").arg(first - pen);
        path += QStringLiteral("h%1").arg(behind - first);
        pen = behind;
    }
    return path + QStringLiteral("\"/>\n");
}

/// Draws one chart, from the top down.
class Plot
{
public:
    explicit Plot(const HistorySummary &summary) : m_summary(summary)
    {
        if (summary.columnsFrom < summary.to) {
            for (const TimeTick &tick : timeTicks(summary.columnsFrom, summary.to, summary.columns / labelDistance))
                m_ticks.append({chartLeft + columnOf(tick.time), tick.label});
        }
        chooseRows();
    }

    QByteArray draw()
    {
        m_y = headerHeight;
        for (quint32 network = 0; network < m_summary.networks.size(); ++network)
            drawNetwork(network);
        const int width = chartLeft + m_summary.columns + shareWidth + margin;
        const int height = m_y + margin;
        const QString head =
            QStringLiteral("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%1\" height=\"%2\" viewBox=\"0 0 %1 %2\" role=\"img\">\n"
                           "<title>Presence on the local network</title>\n<style>%3</style>\n"
                           "<defs>\n<pattern id=\"hatching\" width=\"6\" height=\"6\" patternUnits=\"userSpaceOnUse\">"
                           "<path class=\"hatch\" d=\"M-1 7L7 -1M-1 1L1 -1M5 7L7 5\"/></pattern>\n"
                           "<clipPath id=\"names\"><rect x=\"0\" y=\"0\" width=\"%4\" height=\"%2\"/></clipPath>\n</defs>\n"
                           "<rect class=\"ground\" width=\"%1\" height=\"%2\"/>\n")
                .arg(QString::number(width), QString::number(height), QString::fromLatin1(style), QString::number(chartLeft - 6));
        return (head + header() + m_body + QStringLiteral("</svg>\n")).toUtf8();
    }

private:
    /// The column that begins with a moment, or holds it; the first for moments before it.
    [[nodiscard]] qint64 columnOf(qint64 time) const
    {
        const qint64 range = std::max<qint64>(1, m_summary.to - m_summary.columnsFrom); // a line of this very moment leaves none
        return std::max<qint64>(0, (time - m_summary.columnsFrom) * m_summary.columns / range);
    }

    /// Of too many devices, those that were there longest.
    void chooseRows()
    {
        for (quint32 index = 0; index < m_summary.devices.size(); ++index)
            m_rows.push_back(index);
        if (m_rows.size() <= mostPlotRows)
            return;
        const auto last = m_rows.begin() + static_cast<std::ptrdiff_t>(mostPlotRows);
        std::nth_element(m_rows.begin(), last, m_rows.end(),
            [&](quint32 one, quint32 other) { return m_summary.devices[one].present > m_summary.devices[other].present; });
        m_rows.erase(last, m_rows.end());
        std::sort(m_rows.begin(), m_rows.end());
    }

    [[nodiscard]] QString header() const
    {
        const auto moment = [](qint64 time) {
            return QLocale::c().toString(QDateTime::fromMSecsSinceEpoch(time), QStringLiteral("d MMM yyyy HH:mm"));
        };
        QString range =
            QStringLiteral("%1 to %2, local time (%3)")
                .arg(moment(m_summary.columnsFrom), moment(m_summary.to), QDateTime::fromMSecsSinceEpoch(m_summary.to).timeZoneAbbreviation());
        if (m_rows.size() < m_summary.devices.size())
            range += QStringLiteral("; the %1 of %2 devices that were present longest").arg(m_rows.size()).arg(m_summary.devices.size());
        return textElement(margin, 26, QStringLiteral("title"), QStringLiteral("Presence on the local network"))
            + textElement(margin, 44, QStringLiteral("quiet"), range) + legend(62);
    }

    [[nodiscard]] static QString legend(int y)
    {
        constexpr int sample = 30; // pixels wide
        QString text;
        int x = margin;
        for (const auto &[kind, words] :
            {std::pair{"present", "present"}, {"brief", "present less than half of the time"}, {"away", "away"}, {"unobserved", "nobody observed"}}) {
            if (qstrcmp(kind, "unobserved") == 0)
                text += QStringLiteral("<rect class=\"unobserved\" x=\"%1\" y=\"%2\" width=\"%3\" height=\"11\"/>\n").arg(x).arg(y - 9).arg(sample);
            else
                text += QStringLiteral("<path class=\"%1\" d=\"M%2 %3.5h%4\"/>\n").arg(QLatin1String(kind)).arg(x).arg(y - 4).arg(sample);
            text += textElement(x + sample + 6, y, QStringLiteral("quiet"), QString::fromLatin1(words));
            x += sample + 30 + static_cast<int>(qstrlen(words)) * 6;
        }
        return text;
    }

    void drawNetwork(quint32 index)
    {
        const HistoryNetworkSummary &network = m_summary.networks[index];
        const auto isHere = [&](quint32 row) { return m_summary.devices[row].network == index; };
        const auto first = std::find_if(m_rows.begin(), m_rows.end(), isHere);
        const auto end = std::find_if_not(first, m_rows.end(), isHere);
        const int top = m_y + networkHeight;
        const int bottom = top + static_cast<int>(end - first) * rowHeight;
        const QString title = elided(networkTitle(network.network), 100) + QStringLiteral(", observed ") + durationText(network.observed);
        m_body += textElement(margin, m_y + 20, QStringLiteral("network"), title);
        m_body += textElement(chartLeft + m_summary.columns + shareWidth, top - 6, QStringLiteral("share quiet"), QStringLiteral("present"));
        drawAxis(top, bottom);
        for (const auto &[from, behind] : runs(m_summary.columns, [&](std::size_t column) { return network.columns[column] == 0; })) {
            m_body += QStringLiteral("<rect class=\"unobserved\" x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\"/>\n")
                          .arg(chartLeft + from)
                          .arg(top)
                          .arg(behind - from)
                          .arg(bottom - top);
        }
        m_y = top;
        for (auto row = first; row != end; ++row)
            drawDevice(m_summary.devices[*row], network);
        m_y = bottom + margin;
        if (bottom - top > secondAxis) {
            for (const auto &[x, label] : m_ticks)
                m_body += label.isEmpty() ? QString() : textElement(static_cast<int>(x), bottom + 12, QStringLiteral("tick"), label);
            m_y += margin;
        }
    }

    void drawAxis(int top, int bottom)
    {
        QString lines[2]; // with a label, and without
        for (const auto &[x, label] : m_ticks) {
            lines[label.isEmpty() ? 1 : 0] += QStringLiteral("M%1.5 %2V%3").arg(x).arg(label.isEmpty() ? top : top - 3).arg(bottom);
            if (!label.isEmpty())
                m_body += textElement(static_cast<int>(x), top - 6, QStringLiteral("tick"), label);
        }
        m_body += QStringLiteral("<path class=\"fine\" d=\"%1\"/>\n<path class=\"grid\" d=\"%2M%3 %4.5h%5\"/>\n")
                      .arg(lines[1], lines[0])
                      .arg(chartLeft)
                      .arg(top)
                      .arg(m_summary.columns);
    }

    void drawDevice(const HistoryDevice &device, const HistoryNetworkSummary &network)
    {
        const int middle = m_y + rowHeight / 2;
        const auto firstColumn = static_cast<std::size_t>(columnOf(device.firstSeen));
        const auto isMostly = [&](std::size_t column) {
            return device.columns[column] > 0 && device.columns[column] * 2ULL >= network.columns[column];
        };
        const QString share = shareText(presentShare(device, m_summary));
        m_body += QStringLiteral("<g><title>%1</title>\n").arg(escaped(tooltip(device, share)));
        m_body += QStringLiteral("<text x=\"%1\" y=\"%2\" clip-path=\"url(#names)\">%3</text>\n")
                      .arg(QString::number(margin), QString::number(middle + 4), escaped(elided(deviceTitle(device), nameColumns)));
        // What was before a device was first seen is left blank: it was not away.
        m_body +=
            pathElement(runs(m_summary.columns,
                            [&](std::size_t column) { return column >= firstColumn && network.columns[column] > 0 && device.columns[column] == 0; }),
                middle, "away");
        m_body += pathElement(runs(m_summary.columns, isMostly), middle, "present");
        m_body += pathElement(
            runs(m_summary.columns, [&](std::size_t column) { return device.columns[column] > 0 && !isMostly(column); }), middle, "brief");
        m_body += textElement(chartLeft + m_summary.columns + shareWidth, middle + 4, QStringLiteral("share"), share) + QStringLiteral("</g>\n");
        m_y += rowHeight;
    }

    static QString tooltip(const HistoryDevice &device, const QString &share)
    {
        QStringList parts = {deviceTitle(device)};
        for (const std::string *text : {&device.ip, &device.mac}) {
            if (!text->empty())
                parts.append(harmless(QString::fromStdString(*text)));
        }
        return parts.join(QStringLiteral(", ")) + QStringLiteral(": present ") + share;
    }

    const HistorySummary &m_summary;
    QList<std::pair<qint64, QString>> m_ticks; // by their places
    std::vector<quint32> m_rows; // devices that are drawn
    QString m_body;
    int m_y = 0; // where the drawing goes on
};

} // namespace

QByteArray historyPlot(const HistorySummary &summary)
{
    return Plot(summary).draw();
}

} // namespace lanterna
