#include "platform/SettingsFiles.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

const QString draftSuffix = QStringLiteral(".new");

constexpr auto lockPatience = std::chrono::seconds(1);
constexpr auto lockPause = std::chrono::microseconds(50); // a write holds the lock for two or three times as long

std::error_code lastError()
{
    return {errno, std::generic_category()};
}

/// Closes its descriptor.
class Descriptor
{
public:
    explicit Descriptor(int number) : m_number(number) { }
    ~Descriptor()
    {
        if (m_number >= 0)
            ::close(m_number);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    [[nodiscard]] int number() const { return m_number; }
    [[nodiscard]] bool isOpen() const { return m_number >= 0; }
    int release() { return std::exchange(m_number, -1); }

private:
    int m_number;
};

std::error_code writeAll(int descriptor, const QByteArray &bytes)
{
    for (qsizetype at = 0; at < bytes.size();) {
        const ssize_t written = ::write(descriptor, bytes.constData() + at, size_t(bytes.size() - at));
        if (written < 0 && errno != EINTR)
            return lastError();
        at += qMax<ssize_t>(written, 0);
    }
    return {};
}

std::error_code makeFolders(const QString &folder)
{
    if (::mkdir(QFile::encodeName(folder).constData(), 0700) == 0 || errno == EEXIST)
        return {};
    const QString above = QFileInfo(folder).path();
    if (errno != ENOENT || above == folder)
        return lastError();
    if (const std::error_code error = makeFolders(above))
        return error;
    return ::mkdir(QFile::encodeName(folder).constData(), 0700) == 0 || errno == EEXIST ? std::error_code() : lastError();
}

} // namespace

SettingsFiles::Lock::~Lock()
{
    ::close(m_descriptor); // which lets the lock go
}

std::error_code SettingsFiles::makeFolder() const
{
    return makeFolders(QDir::cleanPath(QDir(m_folder).absolutePath()));
}

std::unique_ptr<SettingsFiles::Lock> SettingsFiles::lock(std::error_code &error) const
{
    // The lock has a file of its own: the files with content are renamed away, and a lock goes with the file, not with its name.
    Descriptor descriptor(::open(path(m_lockName).constData(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    if (!descriptor.isOpen()) {
        error = lastError();
        return nullptr;
    }
    // Asked for again and again rather than waited for: a writer that was stopped half-way must not stop this program as well.
    const auto deadline = std::chrono::steady_clock::now() + lockPatience;
    while (::flock(descriptor.number(), LOCK_EX | LOCK_NB) != 0) {
        const bool busy = errno == EWOULDBLOCK || errno == EINTR;
        if (!busy || std::chrono::steady_clock::now() >= deadline) {
            error = busy ? std::make_error_code(std::errc::device_or_resource_busy) : lastError();
            return nullptr;
        }
        std::this_thread::sleep_for(lockPause);
    }
    error.clear();
    return std::make_unique<Lock>(descriptor.release());
}

SettingsFiles::Content SettingsFiles::read(const QString &name) const
{
    // Without O_NONBLOCK a pipe in the file's place would hold the program up.
    const Descriptor descriptor(::open(path(name).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor.isOpen()) {
        const std::error_code error = lastError();
        const bool absent = error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
        // A socket in the file's place cannot be opened at all.
        const bool otherKind = error == std::errc::no_such_device_or_address;
        return {absent ? Status::absent : otherKind ? Status::damaged : Status::unreadable, {}, error};
    }
    struct stat information = {};
    if (::fstat(descriptor.number(), &information) != 0)
        return {Status::unreadable, {}, lastError()};
    if (!S_ISREG(information.st_mode) || information.st_size > largestFile)
        return {Status::damaged, {}, {}};

    QByteArray bytes(qsizetype(information.st_size), Qt::Uninitialized);
    qsizetype size = 0;
    while (size < bytes.size()) {
        const ssize_t count = ::read(descriptor.number(), bytes.data() + size, size_t(bytes.size() - size));
        if (count < 0 && errno != EINTR)
            return {Status::unreadable, {}, lastError()};
        if (count == 0)
            break;
        size += qMax<ssize_t>(count, 0);
    }
    bytes.truncate(size);
    return {Status::read, bytes, {}};
}

std::error_code SettingsFiles::create(const QString &name, const QByteArray &bytes) const
{
    return writeNewFile(path(name), bytes);
}

std::error_code SettingsFiles::replace(const QString &name, const QByteArray &bytes) const
{
    // Always the same draft, so that programs killed half-way leave one and not one each. It is made anew: the old one may belong to somebody else.
    const QByteArray draft = path(name + draftSuffix);
    ::unlink(draft.constData());
    if (const std::error_code error = writeNewFile(draft, bytes))
        return error;
    if (::rename(draft.constData(), path(name).constData()) == 0)
        return {};
    const std::error_code error = lastError();
    ::unlink(draft.constData());
    return error;
}

QString SettingsFiles::setAside(const QString &name) const
{
    for (int number = 1;; ++number) {
        const QString other = QStringLiteral("%1.damaged-%2").arg(name).arg(number);
        if (::access(path(other).constData(), F_OK) == 0)
            continue;
        return ::rename(path(name).constData(), path(other).constData()) == 0 ? other : QString();
    }
}

QStringList SettingsFiles::list() const
{
    return QDir(m_folder).entryList(QDir::Files | QDir::Hidden);
}

void SettingsFiles::remove(const QString &name) const
{
    ::unlink(path(name).constData());
}

std::error_code SettingsFiles::flush(const QStringList &names) const
{
    QList<QByteArray> paths = {QFile::encodeName(m_folder)};
    for (const QString &name : names)
        paths.prepend(path(name)); // what the folder names is on the disk before the names
    for (const QByteArray &each : std::as_const(paths)) {
        const Descriptor descriptor(::open(each.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        if (!descriptor.isOpen() && errno == ENOENT)
            continue;
        if (!descriptor.isOpen() || ::fsync(descriptor.number()) != 0)
            return lastError();
    }
    return {};
}

QByteArray SettingsFiles::path(const QString &name) const
{
    return QFile::encodeName(m_folder + u'/' + name);
}

std::error_code SettingsFiles::writeNewFile(const QByteArray &path, const QByteArray &bytes) const
{
    Descriptor descriptor(::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!descriptor.isOpen())
        return lastError();
    std::error_code error = writeAll(descriptor.number(), bytes);
    if (!error && ::fchmod(descriptor.number(), 0600) != 0)
        error = lastError();
    // Starts, but does not await, the way to the disk: see SettingsStore.h on what survives a power failure. Some file systems cannot; no matter.
    if (!error)
        ::sync_file_range(descriptor.number(), 0, 0, SYNC_FILE_RANGE_WRITE);
    // Network file systems tell only here that the space has run out.
    if (::close(descriptor.release()) != 0 && !error)
        error = lastError();
    if (error)
        ::unlink(path.constData());
    return error;
}

} // namespace lanterna
