#pragma once

#include <QSocketNotifier>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>

namespace lanterna
{

/// Tells when a file of a folder has been written, replaced or removed.
///
/// Main thread only, with a Qt event loop. The kernel's file notices (inotify) are read all at once, so that a burst of changes is one call. Where
/// the kernel gives none (its limit of watches is reached), or while the folder does not exist, the callback comes at a slow beat instead, for
/// whoever has to look anyway; the watch goes back to notices as soon as it can.
class FolderWatch
{
public:
    /// Without notices: soon enough for a person, rare enough not to be felt.
    static constexpr std::chrono::milliseconds usualSlowBeat{5000};

    /// Watches until it is dropped. `fileName` limits the calls to one file; empty means any. The callback is never called from inside this call, and
    /// may drop the watch.
    FolderWatch(const QString &folder, const QString &fileName, std::function<void()> changed, std::chrono::milliseconds slowBeat = usualSlowBeat);
    ~FolderWatch();
    FolderWatch(const FolderWatch &) = delete;
    FolderWatch &operator=(const FolderWatch &) = delete;

    /// Whether notices come from the kernel at present.
    [[nodiscard]] bool isWatching() const { return m_notifier != nullptr; }

private:
    void start();
    void stop();
    void readNotices();
    void lookAgain();

    QString m_folder;
    QByteArray m_fileName;
    std::function<void()> m_changed;
    int m_descriptor = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer m_retry;
};

} // namespace lanterna
