#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace lanterna
{

/// A snapshot as the history keeps it.
struct HistoryLine {
    QString signature; ///< "macSig" of the snapshot; empty when it has none
    double seconds = 0; ///< "ts": when the snapshot was made, in seconds since 1970
    QByteArray json; ///< one compact JSON object, without a line end; docs/formats/history.md describes it
};

/// The line of a snapshot (docs/formats/snapshot.md). Members that are missing or of another type count as empty, a missing moment as `secondsNow`.
/// Nothing when the moment is no finite number, for which JSON has no form. Pure; any thread.
std::optional<HistoryLine> historyLine(const QVariantMap &snapshot, double secondsNow);

} // namespace lanterna
