#include "platform/linux/FolderWatch.h"

#include <QFile>

#include <array>
#include <cerrno>

#include <sys/inotify.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

constexpr quint32 changes = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;
constexpr quint32 folderGone = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED;

/// What a batch of notices comes to.
struct Notices {
    bool changed = false;
    bool gone = false;
};

void take(const inotify_event &event, const QByteArray &fileName, Notices &notices)
{
    notices.gone = notices.gone || (event.mask & folderGone) != 0;
    const bool lostSome = (event.mask & IN_Q_OVERFLOW) != 0;
    const bool named = (event.mask & changes) != 0 && (fileName.isEmpty() || (event.len > 0 && fileName == event.name));
    notices.changed = notices.changed || notices.gone || lostSome || named;
}

} // namespace

FolderWatch::FolderWatch(const QString &folder, const QString &fileName, std::function<void()> changed, std::chrono::milliseconds slowBeat)
    : m_folder(folder), m_fileName(QFile::encodeName(fileName)), m_changed(std::move(changed))
{
    m_retry.setInterval(slowBeat);
    QObject::connect(&m_retry, &QTimer::timeout, &m_retry, [this] { lookAgain(); });
    start();
}

FolderWatch::~FolderWatch()
{
    stop();
}

void FolderWatch::start()
{
    m_descriptor = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    const QByteArray path = QFile::encodeName(m_folder);
    if (m_descriptor < 0 || ::inotify_add_watch(m_descriptor, path.constData(), changes | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR) < 0) {
        stop();
        m_retry.start();
        return;
    }
    m_retry.stop();
    m_notifier = std::make_unique<QSocketNotifier>(m_descriptor, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { readNotices(); });
}

void FolderWatch::stop()
{
    if (m_notifier) {
        // Not deleted at once: this may run inside its own signal.
        m_notifier->setEnabled(false);
        m_notifier.release()->deleteLater();
    }
    if (m_descriptor >= 0)
        ::close(m_descriptor);
    m_descriptor = -1;
}

void FolderWatch::readNotices()
{
    Notices notices;
    alignas(inotify_event) std::array<char, 8192> buffer;
    for (;;) {
        const ssize_t size = ::read(m_descriptor, buffer.data(), buffer.size());
        if (size < 0 && errno == EINTR)
            continue;
        if (size <= 0)
            break;
        for (ssize_t at = 0; at < size;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer.data() + at);
            take(*event, m_fileName, notices);
            at += ssize_t(sizeof(inotify_event)) + ssize_t(event->len);
        }
    }
    if (notices.gone) {
        stop();
        start();
    }
    const std::function<void()> changed = m_changed; // which may drop this watch
    if (notices.changed && changed)
        changed();
}

void FolderWatch::lookAgain()
{
    start();
    const std::function<void()> changed = m_changed;
    if (changed)
        changed();
}

} // namespace lanterna
