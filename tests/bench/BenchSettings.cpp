#include "platform/SettingsStore.h"
#include "platform/SystemLog.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace lanterna;

namespace
{

const QString table = QStringLiteral("MACAddressesByNetworkSegment");

class QuietLog : public SystemLog
{
public:
    void writeLine(const QString &) override { }
};

/// The tables of so many networks with 100 devices each.
QVariantMap networks(int count, int stamp)
{
    QVariantMap all;
    for (int network = 0; network < count; ++network) {
        QVariantMap devices = {{QStringLiteral("lastUpdate"), QStringLiteral("01!03!2026_12*%1 +").arg(stamp)}};
        for (int device = 1; device <= 100; ++device)
            devices.insert(QStringLiteral("192.168.%1.%2").arg(network).arg(device), QStringLiteral("00:11:32:00:%1:%2").arg(network).arg(device));
        all.insert(QStringLiteral("Network %1").arg(network), devices);
    }
    return all;
}

/// A store with the usual forty small settings, beside so many networks.
struct FilledStore {
    explicit FilledStore(int count) : store(folder.path(), log)
    {
        for (int setting = 0; setting < 40; ++setting)
            store.setValue(QStringLiteral("setting%1").arg(setting), QStringLiteral("value of some length %1").arg(setting));
        if (count > 0)
            store.setValue(table, networks(count, 0));
    }

    QTemporaryDir folder;
    QuietLog log;
    SettingsStore store;
};

void smallWrite(benchmark::State &state)
{
    FilledStore filled(int(state.range(0)));
    int number = 0;
    for ([[maybe_unused]] auto round : state)
        benchmark::DoNotOptimize(filled.store.setValue(QStringLiteral("whichIP"), ++number));
}
BENCHMARK(smallWrite)->Arg(0)->Arg(200)->Unit(benchmark::kMicrosecond);

void smallWriteAwaitingTheDisk(benchmark::State &state)
{
    FilledStore filled(int(state.range(0)));
    int number = 0;
    for ([[maybe_unused]] auto round : state) {
        filled.store.setValue(QStringLiteral("whichIP"), ++number);
        benchmark::DoNotOptimize(filled.store.synchronize());
    }
}
BENCHMARK(smallWriteAwaitingTheDisk)->Arg(200)->Unit(benchmark::kMicrosecond);

void equalWrite(benchmark::State &state)
{
    FilledStore filled(int(state.range(0)));
    filled.store.setValue(QStringLiteral("whichIP"), 4);
    for ([[maybe_unused]] auto round : state)
        benchmark::DoNotOptimize(filled.store.setValue(QStringLiteral("whichIP"), 4));
}
BENCHMARK(equalWrite)->Arg(200)->Unit(benchmark::kMicrosecond);

void tableWrite(benchmark::State &state)
{
    FilledStore filled(0);
    const QVariantMap even = networks(int(state.range(0)), 0);
    const QVariantMap odd = networks(int(state.range(0)), 1);
    int number = 0;
    for ([[maybe_unused]] auto round : state)
        benchmark::DoNotOptimize(filled.store.setValue(table, ++number % 2 == 0 ? even : odd));
}
BENCHMARK(tableWrite)->Arg(1)->Arg(200)->Unit(benchmark::kMicrosecond);

void noticeNothing(benchmark::State &state)
{
    FilledStore filled(int(state.range(0)));
    for ([[maybe_unused]] auto round : state)
        filled.store.noticeChanges();
}
BENCHMARK(noticeNothing)->Arg(200)->Unit(benchmark::kMicrosecond);

void smallRead(benchmark::State &state)
{
    FilledStore filled(int(state.range(0)));
    for ([[maybe_unused]] auto round : state)
        benchmark::DoNotOptimize(filled.store.text(QStringLiteral("setting7")));
}
BENCHMARK(smallRead)->Arg(200);

void openStore(benchmark::State &state)
{
    FilledStore filled(int(state.range(0)));
    for ([[maybe_unused]] auto round : state) {
        const SettingsStore store(filled.folder.path(), filled.log);
        benchmark::DoNotOptimize(store.contains(table));
    }
}
BENCHMARK(openStore)->Arg(0)->Arg(200)->Unit(benchmark::kMicrosecond);

} // namespace
