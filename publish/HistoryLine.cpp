#include "publish/HistoryLine.h"

#include "platform/Json.h"
#include "publish/HistoryFormat.h"
#include "scan/NetworkSnapshot.h"

#include <algorithm>
#include <cmath>
#include <utility>

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

/// Adds a member whose value is a text; `key` is its name in quotes with all that stands between it and the value before.
void appendMember(QByteArray &json, const char *key, QStringView text)
{
    json += key;
    appendJsonText(json, text);
}

void appendDevice(QByteArray &json, const QList<QStringView> &fields)
{
    appendMember(json, R"({"mac":)", cleaned(fields, macField).toString().toUpper());
    appendMember(json, R"(,"ip":)", cleaned(fields, addressField));
    appendMember(json, R"(,"name":)", cleaned(fields, nameField));
    appendMember(json, R"(,"dns":)", cleaned(fields, dnsField));
    appendMember(json, R"(,"type":)", cleaned(fields, typeField));
    json += saysAnswered(cleaned(fields, pingField)) ? R"(,"ping":1)" : R"(,"ping":0)";
    if (fields.size() > servicesField)
        appendMember(json, R"(,"svc":)", fields[servicesField]);
    json += '}';
}

/// The devices of a device list; lines without an IPv4 address are left out.
void appendDevices(QByteArray &json, const QString &deviceList)
{
    json += '[';
    bool first = true;
    for (const QStringView piece : QStringView(deviceList).split(deviceSeparator)) {
        const QList<QStringView> fields = piece.trimmed().split(deviceFieldSeparator);
        if (cleaned(fields, addressField).isEmpty())
            continue;
        if (!std::exchange(first, false))
            json += ',';
        appendDevice(json, fields);
    }
    json += ']';
}

} // namespace

std::optional<HistoryLine> historyLine(const QVariantMap &snapshot, double secondsNow)
{
    const double seconds = numberOf(snapshot, QStringLiteral("dateEpoch")).value_or(secondsNow);
    if (!std::isfinite(seconds))
        return std::nullopt;
    HistoryLine line = {textOf(snapshot, QStringLiteral("macSig")), seconds, {}};
    const QString devices = textOf(snapshot, QStringLiteral("devices"));
    line.json.reserve(devices.size() + 512); // about as long, so that it rarely grows
    // Written as it goes, for a collection of values would cost three times as much. What is short comes first: readers may stop there.
    line.json += R"({"v":)" + QByteArray::number(historyFormatVersion) + R"(,"ts":)" + compactJson(seconds);
    appendMember(line.json, R"(,"src":)", historySource);
    appendMember(line.json, R"(,"ssid":)", textOf(snapshot, QStringLiteral("ssid")));
    appendMember(line.json, R"(,"subnet":)", textOf(snapshot, QStringLiteral("subnet")));
    appendMember(line.json, R"(,"macSig":)", line.signature);
    line.json += R"(,"devices":)";
    appendDevices(line.json, devices);
    line.json += '}';
    return line;
}

} // namespace lanterna
