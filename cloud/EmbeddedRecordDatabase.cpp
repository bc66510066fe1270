#include "cloud/EmbeddedRecordDatabase.h"

#include "cloud/RecordFile.h"

#include <atomic>

namespace lanterna
{

namespace
{

constexpr std::chrono::seconds patience(5);
constexpr std::chrono::milliseconds pause(2); // another program keeps the lock for some milliseconds, most of them for the disk

} // namespace

/// The file, and how long to wait for it. On the queue only, but for the two atomic members.
class EmbeddedRecordDatabase::Worker
{
public:
    Worker(Dispatch &dispatch, const QString &path) : file(path, [this](int times) { return wait(times); }), m_dispatch(dispatch) { }

    RecordFile file;
    std::atomic<int> tasks = 0; ///< handed over and not done
    std::atomic<bool> dropped = false; ///< nobody waits for answers any more

private:
    bool wait(int times)
    {
        if (times == 0)
            m_giveUpAt = m_dispatch.steadyNow() + patience;
        return !dropped && m_dispatch.steadyNow() < m_giveUpAt && m_dispatch.sleepFor(pause);
    }

    Dispatch &m_dispatch;
    std::chrono::nanoseconds m_giveUpAt{0};
};

EmbeddedRecordDatabase::EmbeddedRecordDatabase(Dispatch &dispatch, const QString &path)
    : m_dispatch(dispatch), m_queue(dispatch.makeSerialQueue()), m_worker(std::make_shared<Worker>(dispatch, path))
{
}

EmbeddedRecordDatabase::~EmbeddedRecordDatabase()
{
    m_worker->dropped = true;
}

template <typename Value, typename Work> void EmbeddedRecordDatabase::add(Work work, std::function<void(const RecordResult<Value> &)> completion)
{
    // The completion, and what it holds, never leaves the main thread.
    using Completion = std::function<void(const RecordResult<Value> &)>;
    const auto kept = std::make_shared<Completion>(std::move(completion));
    m_completions.push_back(kept);
    ++m_worker->tasks;
    m_queue->async([this, &dispatch = m_dispatch, worker = m_worker, work = std::move(work), waiting = std::weak_ptr(kept)] {
        if (!worker->dropped) {
            dispatch.mainAsync([this, waiting, result = work(worker->file)] {
                const auto answer = waiting.lock();
                if (!answer)
                    return; // and the database is gone
                m_completions.pop_front();
                (*answer)(result);
            });
        }
        if (--worker->tasks == 0)
            worker->file.close();
    });
}

void EmbeddedRecordDatabase::fetchRecord(const QString &recordName, RecordCompletion completion)
{
    add<Record>([recordName](RecordFile &file) { return file.fetch(recordName); }, std::move(completion));
}

void EmbeddedRecordDatabase::saveRecord(const Record &record, RecordCompletion completion)
{
    add<Record>([record, &dispatch = m_dispatch](RecordFile &file) { return file.save(record, dispatch.now()); }, std::move(completion));
}

void EmbeddedRecordDatabase::queryRecords(const QString &recordType, QueryCompletion completion)
{
    add<QList<Record>>([recordType](RecordFile &file) { return file.query(recordType); }, std::move(completion));
}

} // namespace lanterna
