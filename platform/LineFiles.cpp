#include "platform/LineFiles.h"

#include "platform/SettingsFiles.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <chrono>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

constexpr auto lockPatience = std::chrono::seconds(1);
constexpr auto lockPause = std::chrono::microseconds(50); // about as long as an append holds the lock

std::error_code lastError()
{
    return {errno, std::generic_category()};
}

/// Locks the open file against other processes until it is closed.
std::error_code lockFile(int descriptor)
{
    // Asked for again and again rather than waited for: a process that was stopped half-way must not stop this program as well.
    const auto deadline = std::chrono::steady_clock::now() + lockPatience;
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            return lastError();
        if (std::chrono::steady_clock::now() >= deadline)
            return std::make_error_code(std::errc::device_or_resource_busy);
        std::this_thread::sleep_for(lockPause);
    }
    return {};
}

/// The size of the file that is open; an error when it is no regular file, or one that has been removed meanwhile.
std::error_code sizeOf(int descriptor, off_t &size)
{
    struct stat information = {};
    if (::fstat(descriptor, &information) != 0)
        return lastError();
    if (!S_ISREG(information.st_mode))
        return std::make_error_code(std::errc::operation_not_supported);
    if (information.st_nlink == 0)
        return std::make_error_code(std::errc::no_such_file_or_directory);
    size = information.st_size;
    return {};
}

/// Takes back the first part of a line for whose rest there was no room, unless somebody without the lock has added to the file since.
void takeBack(int descriptor, off_t sizeBefore, ssize_t written)
{
    off_t size = 0;
    if (!sizeOf(descriptor, size) && size == sizeBefore + written)
        (void)!::ftruncate(descriptor, sizeBefore);
}

/// Appends to a file that is open for reading and appending. Leaves it locked.
std::error_code appendTo(int descriptor, const QByteArray &line)
{
    off_t size = 0;
    if (const std::error_code error = lockFile(descriptor))
        return error;
    if (const std::error_code error = sizeOf(descriptor, size))
        return error;
    char last = size > 0 ? '\0' : '\n';
    if (size > 0 && ::pread(descriptor, &last, 1, size - 1) < 0)
        return lastError();
    const QByteArray bytes = (last == '\n' ? QByteArray() : QByteArray("\n")) + line + '\n'; // a torn last line is closed off

    // One write, also into a file that has just been made. A draft put in place by a rename would lose a line when two processes make the file at the
    // same time, and gain readers nothing: they skip a last line without its line feed anyhow, and a file without lines is as good as none.
    ssize_t written = -1;
    do
        written = ::write(descriptor, bytes.constData(), size_t(bytes.size()));
    while (written < 0 && errno == EINTR);
    if (written == bytes.size())
        return {};
    const std::error_code error = written < 0 ? lastError() : std::make_error_code(std::errc::no_space_on_device);
    if (written > 0)
        takeBack(descriptor, size, written);
    return error;
}

} // namespace

std::error_code LineFiles::append(const QString &name, const QByteArray &line) const
{
    if (const std::error_code error = SettingsFiles(m_folder).makeFolder())
        return error;
    // A pipe in the file's place would hold the program up without O_NONBLOCK, and a link would lead it elsewhere.
    constexpr int flags = O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const int descriptor = ::open(path(name).constData(), flags, 0600);
    if (descriptor < 0)
        return lastError();
    std::error_code error = appendTo(descriptor, line);
    // Lets the lock go. Network file systems tell only here that the space has run out.
    if (::close(descriptor) != 0 && !error)
        error = lastError();
    return error;
}

QStringList LineFiles::list() const
{
    return QDir(m_folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
}

void LineFiles::remove(const QString &name) const
{
    ::unlink(path(name).constData());
}

QByteArray LineFiles::path(const QString &name) const
{
    return QFile::encodeName(m_folder + u'/' + name);
}

} // namespace lanterna
