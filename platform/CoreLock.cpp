#include "platform/CoreLock.h"

#include "platform/SettingsFiles.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <charconv>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

QString lockPath(const QString &folder)
{
    return folder + QStringLiteral("/core.lock");
}

CoreLock::Result failure(int error)
{
    return {CoreLock::Result::Status::failed, 0, QString::fromStdString(std::generic_category().message(error))};
}

/// The process that wrote itself into the file; 0 for none.
qint64 writtenPid(int descriptor)
{
    std::array<char, 24> digits = {};
    const ssize_t size = ::pread(descriptor, digits.data(), digits.size(), 0);
    qint64 pid = 0;
    if (size > 0)
        std::from_chars(digits.data(), digits.data() + size, pid);
    return qMax<qint64>(pid, 0);
}

void writePid(int descriptor)
{
    const QByteArray text = QByteArray::number(qint64{::getpid()}) + '\n';
    // The number only serves messages; the lock holds without it.
    if (::ftruncate(descriptor, 0) == 0)
        (void)!::pwrite(descriptor, text.constData(), size_t(text.size()), 0);
}

} // namespace

CoreLock::Result CoreLock::tryLock()
{
    if (m_descriptor >= 0)
        return {Result::Status::held, ::getpid(), {}};
    if (const std::error_code error = SettingsFiles(m_folder).makeFolder())
        return failure(error.value());
    const QByteArray path = QFile::encodeName(lockPath(m_folder));
    const int descriptor = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    if (descriptor < 0)
        return failure(errno);
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        const qint64 pid = writtenPid(descriptor);
        ::close(descriptor);
        return error == EWOULDBLOCK ? Result{Result::Status::heldElsewhere, pid, {}} : failure(error);
    }
    writePid(descriptor);
    m_descriptor = descriptor;
    return {Result::Status::held, ::getpid(), {}};
}

qint64 CoreLock::holder(const QString &folder)
{
    const int descriptor = ::open(QFile::encodeName(lockPath(folder)).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (descriptor < 0)
        return 0;
    const bool heldElsewhere = ::flock(descriptor, LOCK_SH | LOCK_NB) != 0;
    const qint64 pid = heldElsewhere ? writtenPid(descriptor) : 0;
    ::close(descriptor);
    return pid;
}

void CoreLock::release()
{
    if (m_descriptor < 0)
        return;
    // Emptied first, so that nobody is told of a process that has gone.
    (void)!::ftruncate(m_descriptor, 0);
    ::close(m_descriptor);
    m_descriptor = -1;
}

} // namespace lanterna
