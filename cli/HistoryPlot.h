#pragma once

#include "publish/HistorySummary.h"

#include <QByteArray>

namespace lanterna
{

/// A chart of who was there when, as an SVG file (UTF-8): a row for each device, local time along the axis. The summary must have columns, of which
/// the first is where the axis begins; time that is no millisecond long has an axis without marks.
///
/// A device's row shows a bar where it was present for at least half of the observed time, a low bar where it was for less, and a thin line where it
/// was away; hatching runs through all rows where nobody observed. Colours follow the viewer's light or dark scheme. A file of 100 devices has about
/// 100 kB; of more than `mostPlotRows` devices those that were there longest are drawn. Names in it are escaped.
QByteArray historyPlot(const HistorySummary &summary);
inline constexpr std::size_t mostPlotRows = 500;

} // namespace lanterna
