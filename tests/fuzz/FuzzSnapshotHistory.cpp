#include "platform/Json.h"
#include "publish/HistoryFormat.h"
#include "publish/HistoryLine.h"

#include <cmath>
#include <cstdint>
#include <cstring>

using namespace lanterna;

namespace
{

void require(bool holds)
{
    if (!holds)
        __builtin_trap();
}

void check(const HistoryLine &line)
{
    require(!line.json.contains(historyLineEnd));
    const std::optional<QVariant> json = parseJson(line.json);
    require(json.has_value());
    const QVariantMap members = json->toMap();
    require(members.size() == 7 && members.value(QStringLiteral("ts")).toDouble() == line.seconds);
    const QVariantList devices = members.value(QStringLiteral("devices")).toList();
    for (const QVariant &device : devices) {
        const QVariantMap fields = device.toMap();
        require(fields.size() == (fields.contains(QStringLiteral("svc")) ? 7 : 6) && !fields.value(QStringLiteral("ip")).toString().isEmpty());
    }
}

} // namespace

/// Snapshots with any moment and any device list, and with any members: a line is one line of JSON with all its members, its day has a name that tells
/// the day, and never a crash.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    double moment = 0;
    if (size < sizeof(moment))
        return 0;
    std::memcpy(&moment, data, sizeof(moment));
    const QByteArray bytes(reinterpret_cast<const char *>(data) + sizeof(moment), qsizetype(size - sizeof(moment)));
    const QVariantMap snapshot = {{QStringLiteral("dateEpoch"), moment}, {QStringLiteral("devices"), QString::fromUtf8(bytes)},
        {QStringLiteral("ssid"), QString::fromUtf16(reinterpret_cast<const char16_t *>(bytes.constData()), bytes.size() / 2)}};
    const std::optional<HistoryLine> line = historyLine(snapshot, 0);
    require(line.has_value() == std::isfinite(moment));
    if (line)
        check(*line);
    if (const std::optional<QDate> day = historyDay(moment))
        require(dayOfHistoryFile(historyFileName(*day)) == day);
    dayOfHistoryFile(QString::fromUtf8(bytes));
    if (const std::optional<QVariant> any = parseJson(bytes)) {
        if (const std::optional<HistoryLine> ofAny = historyLine(any->toMap(), 0))
            check(*ofAny);
    }
    return 0;
}
