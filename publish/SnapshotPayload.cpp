#include "publish/SnapshotPayload.h"

#include "platform/Json.h"
#include "platform/SettingsValue.h"

#include <QDateTime>

#include <algorithm>

namespace lanterna
{

namespace
{

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool: // a number of its own kind, as everywhere where values come from JSON by way of a property list
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
        return true;
    default:
        return false;
    }
}

QString wholeSeconds(double seconds)
{
    // Both bounds are powers of two, and so exact. NaN fulfils no comparison.
    if (!(seconds >= -0x1p63 && seconds < 0x1p63))
        qFatal("MacSnapshotBonjourPublisher: \"dateEpoch\" of the stored snapshot is %g, which is no 64-bit number of seconds", seconds);
    return QString::number(qint64(seconds));
}

/// Whether a canonical value has a date somewhere in it.
bool holdsDate(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QDateTime:
        return true;
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        return std::any_of(list.begin(), list.end(), holdsDate);
    }
    case QMetaType::QVariantMap: {
        const QVariantMap dictionary = value.toMap();
        return std::any_of(dictionary.begin(), dictionary.end(), holdsDate);
    }
    default:
        return false;
    }
}

} // namespace

QString revisionString(const QVariantMap &snapshot)
{
    if (const QVariant seconds = snapshot.value(QStringLiteral("dateEpoch")); isNumber(seconds))
        return wholeSeconds(seconds.toDouble());
    const QVariant signature = snapshot.value(QStringLiteral("macSig"));
    const QString text = signature.typeId() == QMetaType::QString ? signature.toString() : QString();
    return text.isEmpty() ? QStringLiteral("0") : text;
}

QString subnetOf(const QVariantMap &snapshot)
{
    const QVariant subnet = snapshot.value(QStringLiteral("subnet"));
    return subnet.typeId() == QMetaType::QString ? subnet.toString() : QStringLiteral("");
}

QByteArray snapshotPayload(QVariantMap snapshot)
{
    const QString source = QStringLiteral("source");
    if (!snapshot.contains(source))
        snapshot.insert(source, QStringLiteral("Lanterna"));
    const std::optional<QVariant> value = canonicalValue(snapshot);
    return value && !holdsDate(*value) ? compactJson(*value) : QByteArrayLiteral("{}");
}

} // namespace lanterna
