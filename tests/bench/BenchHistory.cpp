#include "platform/LineFiles.h"
#include "publish/HistoryLine.h"
#include "scan/NetworkSnapshot.h"

#include <QDateTime>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace lanterna;

namespace
{

/// A network in which most devices have names and some announce services.
QVariantMap snapshot(int count)
{
    QList<RGFCoreScanDevice> devices;
    for (int number = 1; number <= count; ++number) {
        RGFCoreScanDevice device;
        device.isPingable = number % 3 == 0;
        device.ipAddress = QStringLiteral("192.168.%1.%2").arg(number / 255).arg(number % 255);
        device.macAddress = QStringLiteral("3C:D9:2B:00:%1:%2").arg(number / 256, 2, 16, QLatin1Char('0')).arg(number % 256, 2, 16, QLatin1Char('0'));
        device.deviceName = QStringLiteral("host-%1.example.lan").arg(number);
        device.dnsEntry = QStringLiteral("host-%1.local").arg(number);
        device.deviceType = QStringLiteral("Printer");
        if (number % 4 == 0)
            device.services = QStringLiteral("_ipp._tcp.,_printer._tcp.");
        devices.append(device);
    }
    return networkSnapshot(devices, QStringLiteral("Harbour"), QStringLiteral("192.168.1"), QDateTime::currentDateTimeUtc());
}

/// What a scan waits for: the line is made on its thread.
void lineOfSnapshot(benchmark::State &state)
{
    const QVariantMap made = snapshot(int(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(historyLine(made, 0));
    state.counters["bytes"] = double(historyLine(made, 0)->json.size());
}
BENCHMARK(lineOfSnapshot)->Arg(254)->Arg(10'000)->Unit(benchmark::kMicrosecond);

/// All of a snapshot but the way between threads: the line is made and appended, on a disk in memory. A new file for every 96 lines, as many as an
/// unchanged network has in a day.
void snapshotAppended(benchmark::State &state)
{
    const QTemporaryDir folder(QStringLiteral("/dev/shm/lanterna-bench-XXXXXX"));
    if (!folder.isValid()) {
        state.SkipWithError("no disk in memory");
        return;
    }
    const LineFiles files(folder.path());
    const QVariantMap made = snapshot(int(state.range(0)));
    int lines = 0;
    for (auto _ : state) {
        if (lines++ % 96 == 0)
            files.remove(QStringLiteral("day.jsonl"));
        if (files.append(QStringLiteral("day.jsonl"), historyLine(made, 0)->json))
            state.SkipWithError("not appended");
    }
}
BENCHMARK(snapshotAppended)->Arg(254)->Unit(benchmark::kMicrosecond);

/// The file alone: folder, open, lock, look at the end, write, close.
void lineAppended(benchmark::State &state)
{
    const QTemporaryDir folder(QStringLiteral("/dev/shm/lanterna-bench-XXXXXX"));
    const LineFiles files(folder.path());
    const QByteArray line = historyLine(snapshot(int(state.range(0))), 0)->json;
    int lines = 0;
    for (auto _ : state) {
        if (lines++ % 96 == 0)
            files.remove(QStringLiteral("day.jsonl"));
        if (files.append(QStringLiteral("day.jsonl"), line))
            state.SkipWithError("not appended");
    }
}
BENCHMARK(lineAppended)->Arg(254)->Unit(benchmark::kMicrosecond);

} // namespace
