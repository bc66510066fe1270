#include "publish/HistoryReader.h"
#include "publish/HistorySummary.h"

#include <QBuffer>

#include <cstdint>

using namespace lanterna;

namespace
{

void require(bool holds)
{
    if (!holds)
        __builtin_trap();
}

HistoryDay read(QDate day, const QByteArray &bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    return readHistoryDay(day, buffer);
}

void checkDay(const HistoryDay &day)
{
    qint64 before = INT64_MIN;
    for (const HistoryObservation &observation : day.observations) {
        require(observation.time >= before && observation.network < day.networks.size() && observation.table < day.tables.size());
        before = observation.time;
    }
    for (const std::vector<quint32> &table : day.tables) {
        for (const quint32 sighting : table)
            require(sighting < day.sightings.size());
    }
    for (const HistorySighting &sighting : day.sightings)
        require(sighting.name.size() <= longestHistoryText && !(sighting.mac.empty() && sighting.ip.empty()));
}

void checkSummary(const HistorySummary &summary)
{
    for (const HistoryNetworkSummary &network : summary.networks)
        require(
            network.firstLine >= summary.from && network.firstLine <= network.lastLine && network.lastLine <= summary.to && network.observed >= 0);
    for (const HistoryDevice &device : summary.devices) {
        const qint64 observed = summary.networks.at(device.network).observed;
        require(device.present >= 0 && device.present <= observed && device.firstSeen <= device.lastSeen);
        qint64 drawn = 0;
        for (const quint32 column : device.columns)
            drawn += column;
        require(drawn == device.present);
    }
    qint64 before = summary.from;
    for (const HistoryEvent &event : summary.events) {
        require(event.device < summary.devices.size() && event.time >= before);
        before = event.time;
    }
}

} // namespace

/// A file of the history from any bytes: what is read is in order and refers to what is there, a broken line leaves the next alone, no device is
/// present for longer than its network was observed, and the columns of a chart add up to the same time.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QDate date(2026, 11, 15);
    const qint64 midnight = date.startOfDay(Qt::UTC).toMSecsSinceEpoch();
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const HistoryDay day = read(date, bytes);
    checkDay(day);
    const QByteArray good = R"({"devices":[{"mac":"AA","ip":"1.2.3.4"}],"ts":)" + QByteArray::number(midnight / 1000) + ",\"v\":1}\n";
    require(read(date, bytes + '\n' + good).observations.size() == day.observations.size() + (day.networks.size() < mostHistoryNetworks ? 1 : 0));

    const qint64 from = midnight + 600'000; // so that lines of the first minutes hold into the range
    HistorySummarizer summarizer({from, midnight + 20LL * 3600 * 1000, {}, 100, from});
    summarizer.add(day);
    checkSummary(summarizer.finish());
    return 0;
}
