#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantMap>

namespace lanterna
{

struct WrittenJson {
    QByteArray json; ///< compact, keys sorted; empty when there is an obstacle
    QString obstacle; ///< what cannot be written and where, such as "a date at MACAddressesByNetworkSegment/Home/since"; empty when all can
};

/// Writes a dictionary as JSON, or says why that cannot be: dates, numbers that are not finite, bytes and other values that JSON does not know, and
/// collections below the level that settings hold. Narrower numbers and lists of texts are widened as the settings do it. `name` is what the
/// dictionary is called in the obstacle. Pure; any thread.
WrittenJson writeJson(const QVariantMap &dictionary, const QString &name);

} // namespace lanterna
