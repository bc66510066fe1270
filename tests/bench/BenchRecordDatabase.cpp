#include "cloud/EmbeddedRecordDatabase.h"
#include "cloud/RecordFile.h"
#include "platform/linux/QtDispatch.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QStorageInfo>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <optional>
#include <thread>

using namespace lanterna;

namespace
{

/// A record with a document that no compression makes small.
Record largeRecord(qsizetype size)
{
    Record record;
    record.recordName = QStringLiteral("userCustomizationsDict");
    record.recordType = QStringLiteral("UserDictionary");
    record.texts.insert(QStringLiteral("dictName"), QStringLiteral("currentCustomizationsDict"));
    QByteArray &bytes = record.assets[QStringLiteral("dictAsset")];
    for (quint32 number = 1; bytes.size() < size; number = number * 1664525 + 1013904223)
        bytes.append(reinterpret_cast<const char *>(&number), sizeof(number));
    return record;
}

/// A folder on the disk that the benchmark is started from, or in memory, and what it lies on.
class Folder
{
public:
    Folder(benchmark::State &state, bool inMemory) : m_folder(inMemory ? QStringLiteral("/dev/shm/lanterna-XXXXXX") : QStringLiteral("bench-XXXXXX"))
    {
        const QStorageInfo storage(m_folder.path());
        state.SetLabel(storage.fileSystemType().toStdString() + " on " + storage.device().toStdString());
        if (!m_folder.isValid())
            state.SkipWithError("no folder");
    }
    [[nodiscard]] QString path() const { return m_folder.filePath(QStringLiteral("records.sqlite")); }

private:
    QTemporaryDir m_folder;
};

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// What a save takes until it is on the disk, the file being closed before, as it is when minutes are between saves. Beside it what closing takes, for
/// which nobody waits.
void recordSaved(benchmark::State &state)
{
    const Folder folder(state, state.range(1) != 0);
    RecordFile file(folder.path(), [](int) { return false; });
    Record record = largeRecord(state.range(0));
    double closing = 0;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        const auto result = file.save(record, QDateTime::currentDateTimeUtc());
        state.SetIterationTime(secondsSince(start));
        if (const auto *saved = std::get_if<Record>(&result))
            record = *saved;
        else
            state.SkipWithError("not saved");
        start = std::chrono::steady_clock::now();
        file.close();
        closing += secondsSince(start);
    }
    state.counters["closing ms"] = benchmark::Counter(closing * 1000, benchmark::Counter::kAvgIterations);
}
BENCHMARK(recordSaved)->ArgNames({"bytes", "memory"})->ArgsProduct({{1000, 1'000'000}, {0, 1}})->Unit(benchmark::kMillisecond)->UseManualTime();

/// The same from the call to its answer through the queues of a program, and how long the call holds the main thread.
void recordSavedThroughQueues(benchmark::State &state)
{
    int count = 0;
    const QCoreApplication application(count, nullptr);
    QtDispatch dispatch;
    const Folder folder(state, false);
    std::optional<EmbeddedRecordDatabase> database(std::in_place, dispatch, folder.path());
    Record record = largeRecord(state.range(0));
    double longestCall = 0;
    for (auto _ : state) {
        bool answered = false;
        const auto start = std::chrono::steady_clock::now();
        database->saveRecord(record, [&](const RecordResult<Record> &result) {
            answered = true;
            record = std::get<Record>(result);
        });
        longestCall = std::max(longestCall, secondsSince(start) * 1000);
        while (!answered)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        state.SetIterationTime(secondsSince(start));
        while (QFile::exists(folder.path() + QStringLiteral("-wal"))) // until it is closed
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    state.counters["longest call ms"] = longestCall;
    database.reset();
    if (!dispatch.shutDown(std::chrono::seconds(10)))
        std::abort();
}
BENCHMARK(recordSavedThroughQueues)->ArgNames({"bytes"})->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseManualTime();

/// What the next save begins with.
void recordFetched(benchmark::State &state)
{
    const Folder folder(state, false);
    RecordFile file(folder.path(), [](int) { return false; });
    const Record record = largeRecord(state.range(0));
    (void)file.save(record, QDateTime::currentDateTimeUtc());
    for (auto _ : state) {
        file.close();
        benchmark::DoNotOptimize(file.fetch(record.recordName));
    }
}
BENCHMARK(recordFetched)->ArgNames({"bytes"})->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
