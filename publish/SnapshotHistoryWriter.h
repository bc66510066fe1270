#pragma once

#include "platform/Dispatch.h"
#include "platform/OutstandingTasks.h"

#include <QString>
#include <QVariantMap>

#include <memory>

namespace lanterna
{

/// Keeps the history of snapshots on disk: one line of JSON for each, in a file for each UTC day (docs/formats/history.md).
///
/// A line is written when the signature of the devices' addresses is another than that of the line before, or when that one is 15 minutes old. Before
/// the first line of a day, files from more than 90 days before that day are removed. What fails is neither logged nor reported: the next snapshot
/// tries again.
///
/// One for a program, on any thread. Files are touched by a serial queue of its own only; what waits there when the writer is dropped is not written.
class SnapshotHistoryWriter
{
public:
    /// `folder` is that of `historyFolder`; nothing is written when it is empty. It is made with the first line. `dispatch` outlives the writer.
    SnapshotHistoryWriter(Dispatch &dispatch, const QString &folder);

    /// Takes a snapshot (docs/formats/snapshot.md) and returns at once: the line is made here and written on the queue. Any thread.
    void recordSnapshot(const QVariantMap &snapshot);

    /// Waits until all snapshots that were handed over have been dealt with, at most `patience`; false when it was too short. At once when there is
    /// none, as almost always. For the end of a program, which does not wait for its threads. Any thread.
    [[nodiscard]] bool finish(std::chrono::milliseconds patience) { return m_outstanding.wait(patience); }

private:
    class Record;

    Dispatch &m_dispatch;
    std::shared_ptr<SerialQueue> m_queue;
    std::shared_ptr<Record> m_record; // held weakly by the queue's tasks
    OutstandingTasks m_outstanding;
};

} // namespace lanterna
