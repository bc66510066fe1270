#include "publish/SnapshotHistoryWriter.h"

#include "platform/LineFiles.h"
#include "publish/HistoryFormat.h"
#include "publish/HistoryLine.h"

#include <optional>

namespace lanterna
{

namespace
{

/// For so long an unchanged network needs no new line.
constexpr std::chrono::milliseconds unchangedFor = std::chrono::minutes(15);

} // namespace

/// What has been written, and how. On the queue only.
class SnapshotHistoryWriter::Record
{
public:
    Record(const Dispatch &dispatch, const QString &folder) : m_dispatch(dispatch), m_files(folder), m_hasFolder(!folder.isEmpty()) { }

    void write(const HistoryLine &line)
    {
        const bool unchanged = m_lastWrittenSig == line.signature;
        // The wall clock, as the lines have it: after it was set back, an unchanged network waits until it has caught up.
        if (unchanged && m_lastWriteDate && m_lastWriteDate->msecsTo(m_dispatch.now()) < unchangedFor.count())
            return;
        const std::optional<QDate> day = historyDay(line.seconds);
        if (!day || !m_hasFolder)
            return;
        if (m_lastPruneDay != day) {
            prune(*day);
            m_lastPruneDay = day;
        }
        if (m_files.append(historyFileName(*day), line.json))
            return;
        m_lastWrittenSig = line.signature;
        m_lastWriteDate = m_dispatch.now();
    }

private:
    /// Removes the files of days that are too long before this one; all else in the folder stays.
    void prune(QDate day) const
    {
        const QDate cutoff = day.addDays(-historyKeptDays);
        const QStringList names = m_files.list();
        for (const QString &name : names) {
            if (const std::optional<QDate> old = dayOfHistoryFile(name); old && *old < cutoff)
                m_files.remove(name);
        }
    }

    const Dispatch &m_dispatch;
    LineFiles m_files;
    bool m_hasFolder;
    std::optional<QString> m_lastWrittenSig; // none before the first line: it is always written
    std::optional<QDateTime> m_lastWriteDate;
    std::optional<QDate> m_lastPruneDay;
};

SnapshotHistoryWriter::SnapshotHistoryWriter(Dispatch &dispatch, const QString &folder)
    : m_dispatch(dispatch), m_queue(dispatch.makeSerialQueue()), m_record(std::make_shared<Record>(dispatch, folder))
{
}

void SnapshotHistoryWriter::recordSnapshot(const QVariantMap &snapshot)
{
    const double secondsNow = double(m_dispatch.now().toMSecsSinceEpoch()) / 1000.0;
    std::optional<HistoryLine> line = historyLine(snapshot, secondsNow);
    if (!line)
        return;
    m_queue->async(m_outstanding.tracked([record = std::weak_ptr(m_record), line = std::move(*line)] {
        if (const auto alive = record.lock())
            alive->write(line);
    }));
}

} // namespace lanterna
