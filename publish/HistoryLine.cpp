#include "publish/HistoryLine.h"

#include "platform/Json.h"
#include "publish/HistoryFormat.h"
#include "scan/NetworkSnapshot.h"

#include <algorithm>
#include <cmath>

namespace lanterna
{

namespace
{

/// The fields of a line of the device list that a history line takes.
enum Field : qsizetype { nameField = 0, typeField = 1, addressField = 2, macField = 3, dnsField = 5, pingField = 8, servicesField = 10 };

constexpr QStringView pingMark = u"ping:";

/// The text of a snapshot's member; empty when it is missing or no text.
QString textOf(const QVariantMap &snapshot, const QString &key)
{
    const QVariant value = snapshot.value(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

/// The value of a snapshot's member as a double; nothing when it is missing or no number. A truth value is none.
std::optional<double> numberOf(const QVariantMap &snapshot, const QString &key)
{
    const QVariant value = snapshot.value(key);
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return value.toDouble();
    default:
        return std::nullopt;
    }
}

/// A field without blanks and quotes around it; empty when the line does not have it or when it says that nothing is known.
QStringView cleaned(const QList<QStringView> &fields, qsizetype number)
{
    QStringView text = number < fields.size() ? fields[number].trimmed() : QStringView();
    if (text.size() >= 2 && text.startsWith(u'"') && text.endsWith(u'"'))
        text = text.sliced(1, text.size() - 2).trimmed();
    return text == QLatin1String("UNKNOWN") ? QStringView() : text;
}

/// Whether a text is an integer in decimal digits, of any length, and not 0.
bool isNonZeroInteger(QStringView text)
{
    if (text.startsWith(u'-') || text.startsWith(u'+'))
        text = text.sliced(1);
    const auto isDigit = [](QChar character) { return character >= u'0' && character <= u'9'; };
    return std::all_of(text.begin(), text.end(), isDigit) && std::any_of(text.begin(), text.end(), [](QChar digit) { return digit != u'0'; });
}

bool saysAnswered(QStringView field)
{
    const qsizetype mark = field.indexOf(pingMark);
    return mark >= 0 && isNonZeroInteger(field.sliced(mark + pingMark.size()).trimmed());
}

QVariantMap deviceOf(const QList<QStringView> &fields)
{
    QVariantMap device = {
        {QStringLiteral("mac"), cleaned(fields, macField).toString().toUpper()},
        {QStringLiteral("ip"), cleaned(fields, addressField).toString()},
        {QStringLiteral("name"), cleaned(fields, nameField).toString()},
        {QStringLiteral("dns"), cleaned(fields, dnsField).toString()},
        {QStringLiteral("type"), cleaned(fields, typeField).toString()},
        {QStringLiteral("ping"), qlonglong(saysAnswered(cleaned(fields, pingField)) ? 1 : 0)},
    };
    if (fields.size() > servicesField)
        device.insert(QStringLiteral("svc"), fields[servicesField].toString());
    return device;
}

} // namespace

QVariantList historyDevices(const QString &deviceList)
{
    QVariantList devices;
    for (const QStringView piece : QStringView(deviceList).split(deviceSeparator)) {
        const QList<QStringView> fields = piece.trimmed().split(deviceFieldSeparator);
        if (!cleaned(fields, addressField).isEmpty())
            devices.append(deviceOf(fields));
    }
    return devices;
}

std::optional<HistoryLine> historyLine(const QVariantMap &snapshot, double secondsNow)
{
    const QString signature = textOf(snapshot, QStringLiteral("macSig"));
    const double seconds = numberOf(snapshot, QStringLiteral("dateEpoch")).value_or(secondsNow);
    if (!std::isfinite(seconds))
        return std::nullopt;
    const QVariantMap line = {
        {QStringLiteral("v"), qlonglong{historyFormatVersion}},
        {QStringLiteral("ts"), seconds},
        {QStringLiteral("src"), historySource.toString()},
        {QStringLiteral("ssid"), textOf(snapshot, QStringLiteral("ssid"))},
        {QStringLiteral("subnet"), textOf(snapshot, QStringLiteral("subnet"))},
        {QStringLiteral("macSig"), signature},
        {QStringLiteral("devices"), historyDevices(textOf(snapshot, QStringLiteral("devices")))},
    };
    return HistoryLine{signature, seconds, compactJson(line)};
}

} // namespace lanterna
