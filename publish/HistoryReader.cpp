#include "publish/HistoryReader.h"

#include "platform/RegularFile.h"
#include "publish/HistoryFormat.h"
#include "publish/HistoryLineReader.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>

namespace lanterna
{

namespace
{

/// Bytes asked for at once: they stay in the processor's own memory until they are parsed.
constexpr std::size_t usualBuffer = 256 << 10;

/// Takes a file apart into lines. Kept from file to file for its memory.
class DayReader
{
public:
    HistoryDay read(QDate date, QIODevice &device)
    {
        HistoryDay day;
        day.day = date;
        m_lines.begin(day);
        m_used = 0;
        m_skipping = false;
        for (;;) {
            if (m_used == capacity() && !grow())
                skipOverlong(day);
            const qint64 got = device.read(m_buffer.data() + m_used, static_cast<qint64>(capacity() - m_used));
            if (got < 0)
                day.error = device.errorString();
            if (got <= 0)
                break;
            takeLines(static_cast<std::size_t>(got));
        }
        if (m_used > 0 && !m_skipping)
            m_lines.read(m_buffer.data(), m_used); // being written or torn, unless only its line end is missing
        std::stable_sort(day.observations.begin(), day.observations.end(),
            [](const HistoryObservation &one, const HistoryObservation &other) { return one.time < other.time; }); // a clock may have been set back
        return day;
    }

private:
    [[nodiscard]] std::size_t capacity() const { return m_buffer.size() - HistoryLineReader::padding; }

    bool grow()
    {
        if (m_skipping || capacity() >= static_cast<std::size_t>(longestHistoryLine))
            return false;
        m_buffer.resize(std::min(capacity() * 2, static_cast<std::size_t>(longestHistoryLine)) + HistoryLineReader::padding);
        return true;
    }

    void skipOverlong(HistoryDay &day)
    {
        if (!m_skipping)
            ++day.brokenLines;
        m_skipping = true;
        m_used = 0;
    }

    void takeLines(std::size_t got)
    {
        const char *from = m_buffer.data();
        const char *unread = from + m_used; // what is before holds no line end
        const char *const end = unread + got;
        while (const void *found = std::memchr(unread, historyLineEnd, static_cast<std::size_t>(end - unread))) {
            const char *const lineEnd = static_cast<const char *>(found);
            if (!m_skipping)
                m_lines.read(from, static_cast<std::size_t>(lineEnd - from));
            m_skipping = false;
            from = unread = lineEnd + 1;
        }
        m_used = static_cast<std::size_t>(end - from);
        std::memmove(m_buffer.data(), from, m_used);
    }

    std::vector<char> m_buffer = std::vector<char>(usualBuffer + HistoryLineReader::padding);
    std::size_t m_used = 0; // bytes of a line whose end is still to come
    bool m_skipping = false; // to the end of a line that is too long
    HistoryLineReader m_lines;
};

HistoryDay readFile(DayReader &reader, const HistoryFile &file)
{
    QFile device(file.path);
    HistoryDay day;
    day.day = file.day;
    day.error = openRegularFile(device);
    return day.error.isEmpty() ? reader.read(file.day, device) : day;
}

/// Files handed out to threads, and their days back in order.
class Readers
{
public:
    Readers(const QList<HistoryFile> &files, unsigned threads) : m_files(files), m_ahead(qsizetype{threads} + 1)
    {
        try {
            for (unsigned number = 0; number < threads; ++number)
                m_threads.emplace_back([this] { work(); });
        } catch (const std::system_error &) {
            // The system gives no more threads: those that are there do it, or nobody, see `readHistory`.
        }
    }

    ~Readers()
    {
        {
            const std::lock_guard lock(m_mutex);
            m_next = m_files.size();
        }
        m_changed.notify_all();
        for (std::thread &thread : m_threads)
            thread.join();
    }

    Readers(const Readers &) = delete;
    Readers &operator=(const Readers &) = delete;

    [[nodiscard]] bool hasThreads() const { return !m_threads.empty(); }

    /// Waits for the day of a file. Each in turn, once.
    HistoryDay take(qsizetype file)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_days.count(file) == 1; });
        HistoryDay day = std::move(m_days[file]);
        m_days.erase(file);
        m_taken = file + 1;
        lock.unlock();
        m_changed.notify_all();
        return day;
    }

private:
    void work()
    {
        DayReader reader;
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_changed.wait(lock, [&] { return m_next >= m_files.size() || m_next < m_taken + m_ahead; });
            if (m_next >= m_files.size())
                return;
            const qsizetype file = m_next++;
            lock.unlock();
            HistoryDay day = readFile(reader, m_files.at(file));
            lock.lock();
            m_days.emplace(file, std::move(day));
            m_changed.notify_all();
        }
    }

    const QList<HistoryFile> &m_files;
    const qsizetype m_ahead;
    std::mutex m_mutex; // guards what follows, but for the threads
    std::condition_variable m_changed;
    qsizetype m_next = 0; // file to be read
    qsizetype m_taken = 0; // files whose day was handed over
    std::map<qsizetype, HistoryDay> m_days;
    std::vector<std::thread> m_threads;
};

} // namespace

QList<HistoryFile> historyFiles(const QString &folder, QDate first, QDate last)
{
    QList<HistoryFile> files;
    const QDir directory(folder);
    if (folder.isEmpty())
        return files;
    // With what only stands in a file's place (pipes, sockets, devices, links to nowhere): the reader says so.
    for (const QString &name : directory.entryList(QDir::Files | QDir::System, QDir::Name)) {
        const std::optional<QDate> day = dayOfHistoryFile(name);
        if (day && *day >= first && *day <= last)
            files.append({*day, directory.filePath(name)});
    }
    return files;
}

HistoryDay readHistoryDay(QDate day, QIODevice &device)
{
    return DayReader().read(day, device);
}

void readHistory(const QList<HistoryFile> &files, unsigned threads, const std::function<void(const HistoryDay &)> &take)
{
    Readers readers(files, files.size() < 2 ? 0 : threads);
    DayReader own;
    for (qsizetype file = 0; file < files.size(); ++file)
        take(readers.hasThreads() ? readers.take(file) : readFile(own, files.at(file)));
}

} // namespace lanterna
