#include "cloud/CloudDocument.h"
#include "platform/Json.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <benchmark/benchmark.h>

using namespace lanterna;

namespace
{

constexpr int networks = 200;
constexpr int devices = 254;

/// The tables of many networks.
QVariantMap tables(int stamp)
{
    QVariantMap all;
    for (int network = 0; network < networks; ++network) {
        QVariantMap table = {{QStringLiteral("lastUpdate"), QStringLiteral("11!15!2026_14*%1 +").arg(stamp)}};
        for (int device = 1; device <= devices; ++device) {
            const QString mac = QStringLiteral("00:11:32:00:%1:%2").arg(network, 2, 16, QLatin1Char('0')).arg(device, 2, 16, QLatin1Char('0'));
            table.insert(QStringLiteral("192.168.%1.%2").arg(network).arg(device), mac.toUpper());
        }
        all.insert(QStringLiteral("Network %1").arg(network), table);
    }
    return all;
}

QVariantMap status()
{
    const QString line =
        QStringLiteral("\"Office Printer\"|*|Printer|*|192.168.1.10|*|3C:D9:2B:00:77:1E|*|UNKNOWN|*|office-printer.local|*|\"UNKNOWN\"\n");
    return {{QStringLiteral("devices"), line.repeated(devices)}, {QStringLiteral("dateEpoch"), 1772368205.25}};
}

/// A stored document: the tables, the status, and beside them the statuses that three other sensors published.
QByteArray storedDocument()
{
    QVariantMap document = {{macTablesMember, tables(1)}, {networkStatusMember, status()}};
    for (const char *other : {"CurrentNetworkStatus_A", "CurrentNetworkStatus_B", "customNames"})
        document.insert(QLatin1String(other), status());
    return compactJson(document);
}

/// What a save does: our two members go into the document, the rest is carried over.
void cloudDocumentMerged(benchmark::State &state)
{
    const QByteArray stored = storedDocument();
    const QVariantMap fresh = tables(2);
    const QVariantMap shown = status();
    for (auto _ : state)
        benchmark::DoNotOptimize(mergedCloudDocument(stored, fresh, shown));
    state.counters["bytes"] = double(stored.size());
}
BENCHMARK(cloudDocumentMerged)->Unit(benchmark::kMillisecond);

/// The part of it that goes by the stored bytes: nothing is replaced.
void cloudDocumentCarriedOver(benchmark::State &state)
{
    const QByteArray stored = storedDocument();
    for (auto _ : state)
        benchmark::DoNotOptimize(mergedCloudDocument(stored, {}, {}));
}
BENCHMARK(cloudDocumentCarriedOver)->Unit(benchmark::kMillisecond);

/// The peer: the document as a tree of values and back, with this program's parser.
void treeOfValuesMerged(benchmark::State &state)
{
    const QByteArray stored = storedDocument();
    const QVariantMap fresh = tables(2);
    const QVariantMap shown = status();
    for (auto _ : state) {
        QVariantMap document = parseJson(stored).value_or(QVariant()).toMap();
        document.insert(macTablesMember, fresh);
        document.insert(networkStatusMember, shown);
        benchmark::DoNotOptimize(compactJson(document));
    }
}
BENCHMARK(treeOfValuesMerged)->Unit(benchmark::kMillisecond);

/// The same with Qt's own parser and tree, which lose integers above 2^53.
void treeOfQtMerged(benchmark::State &state)
{
    const QByteArray stored = storedDocument();
    const QVariantMap fresh = tables(2);
    const QVariantMap shown = status();
    for (auto _ : state) {
        QJsonObject document = QJsonDocument::fromJson(stored).object();
        document.insert(macTablesMember, QJsonObject::fromVariantMap(fresh));
        document.insert(networkStatusMember, QJsonObject::fromVariantMap(shown));
        benchmark::DoNotOptimize(QJsonDocument(document).toJson(QJsonDocument::Compact));
    }
}
BENCHMARK(treeOfQtMerged)->Unit(benchmark::kMillisecond);

/// What an import does, but for the settings.
void cloudDocumentRead(benchmark::State &state)
{
    const QByteArray stored = storedDocument();
    for (auto _ : state)
        benchmark::DoNotOptimize(readCloudDocument(stored));
}
BENCHMARK(cloudDocumentRead)->Unit(benchmark::kMillisecond);

} // namespace
