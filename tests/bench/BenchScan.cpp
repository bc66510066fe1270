#include "scan/DeviceList.h"
#include "scan/NetworkSnapshot.h"

#include <QDateTime>

#include <benchmark/benchmark.h>

using namespace lanterna;

namespace
{

/// What a scan of that many hosts finds out: half of them have names, every fourth announces services.
ScanFindings findings(int count)
{
    ScanFindings made;
    made.pingable.emplace();
    for (int number = 0; number < count; ++number) {
        const QString address = QStringLiteral("10.%1.%2.%3").arg(number / 62500).arg(number / 250 % 250).arg(number % 250 + 1);
        made.arpTable.insert(
            address, QStringLiteral("02:00:00:%1:%2:01").arg(number / 256, 2, 16, QLatin1Char('0')).arg(number % 256, 2, 16, QLatin1Char('0')));
        if (number % 2 == 0)
            made.dnsNames.insert(address, QStringLiteral("host-%1.example.lan").arg(number));
        if (number % 3 == 0)
            made.pingable->insert(address);
        if (number % 4 == 0) {
            made.services.insert(address, {QStringLiteral("_http._tcp."), QStringLiteral("_ipp._tcp.")});
            made.localNames.insert(address, QStringLiteral("host-%1.local.").arg(number));
        }
    }
    return made;
}

/// From the findings to the signed snapshot: sorting, filtering, classifying, formatting, signing.
void snapshotOfDevices(benchmark::State &state)
{
    const ScanFindings found = findings(int(state.range(0)));
    const QDateTime now = QDateTime::currentDateTimeUtc();
    for (auto _ : state) {
        const QList<RGFCoreScanDevice> devices = devicesOf(found);
        benchmark::DoNotOptimize(networkSnapshot(devices, QStringLiteral("Lighthouse"), QStringLiteral("10.0.0"), now));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(snapshotOfDevices)->Arg(1000)->Arg(10000)->Arg(65536)->Unit(benchmark::kMillisecond)->Complexity();

/// Splitting a device list into devices, and no more.
void splittingADeviceList(benchmark::State &state)
{
    const QString list = deviceListText(devicesOf(findings(10000)), QStringLiteral("03-01-2026, 12:00"));
    for (auto _ : state) {
        qsizetype devices = 0;
        for (const QStringView piece : QStringView(list).split(deviceSeparator))
            devices += piece.isEmpty() ? 0 : 1;
        benchmark::DoNotOptimize(devices);
    }
    state.SetBytesProcessed(state.iterations() * list.toUtf8().size()); // as a file would hold it
}
BENCHMARK(splittingADeviceList)->Unit(benchmark::kMillisecond);

/// The customisations of a whole device list.
void readingADeviceList(benchmark::State &state)
{
    const QVariantMap status{
        {QStringLiteral("devices"), deviceListText(devicesOf(findings(int(state.range(0)))), QStringLiteral("03-01-2026, 12:00"))}};
    for (auto _ : state) {
        Customizations customizations;
        addCustomizations(customizations, status);
        benchmark::DoNotOptimize(customizations);
    }
}
BENCHMARK(readingADeviceList)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace
