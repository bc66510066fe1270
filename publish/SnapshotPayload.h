#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace lanterna
{

// What the snapshot publisher tells of a snapshot (see scan/NetworkSnapshot.h). Pure functions, for any thread.

/// The revision under which a snapshot is advertised: the whole seconds of "dateEpoch" where that is a number (booleans are 1 and 0), else "macSig"
/// where that is text, else "0"; "0" also for no snapshot. Ends the program, with a line that says why, where the seconds do not fit into 64 bits.
QString revisionString(const QVariantMap &snapshot);

/// The /24 prefix in which the snapshot was taken ("192.168.1"); empty when it does not say.
QString subnetOf(const QVariantMap &snapshot);

/// The JSON that clients get: the snapshot, which names "Lanterna" as its "source" where it names none. "{}" for a snapshot that JSON cannot hold:
/// with a date or a number that is not finite somewhere in it.
QByteArray snapshotPayload(QVariantMap snapshot);

} // namespace lanterna
