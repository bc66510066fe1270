#include "cloud/TemporaryAssets.h"

#include <QFile>
#include <QUuid>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

constexpr qint64 keptSeconds = qint64(3) * 24 * 60 * 60;
/// A run of `dropOld` takes some tens of milliseconds with so many.
constexpr int mostEntries = 100'000;
/// Before the name of a file that is being written.
constexpr char draftMark = '.';

struct CloseFolder {
    void operator()(DIR *folder) const { ::closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

QString textOf(int error)
{
    return QString::fromStdString(std::generic_category().message(error));
}

/// The open folder, closed to others; null with `error` when it cannot be used.
Folder openFolder(const QString &path, QString &error)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) {
        error = errno == ELOOP || errno == ENOTDIR ? QStringLiteral("%1 is no folder").arg(path) : textOf(errno);
        return nullptr;
    }
    struct stat information = {};
    if (::fstat(descriptor, &information) != 0)
        error = textOf(errno);
    else if (information.st_uid != ::geteuid())
        error = QStringLiteral("%1 belongs to another user").arg(path);
    else if ((information.st_mode & 07777) != S_IRWXU && ::fchmod(descriptor, S_IRWXU) != 0)
        error = textOf(errno);
    Folder folder(error.isEmpty() ? ::fdopendir(descriptor) : nullptr);
    if (folder)
        return folder;
    if (error.isEmpty())
        error = textOf(errno);
    ::close(descriptor);
    return nullptr;
}

/// 0, or what the system says.
int writeAll(int descriptor, const QByteArray &bytes)
{
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t written = ::write(descriptor, bytes.constData() + done, size_t(bytes.size() - done));
        if (written < 0 && errno != EINTR)
            return errno;
        done += std::max<ssize_t>(written, 0);
    }
    return 0;
}

/// Writes a draft and gives it its name. 0, or what the system says.
int writeFile(int folder, const QByteArray &name, const QByteArray &bytes)
{
    const QByteArray draft = draftMark + name;
    const int descriptor = ::openat(folder, draft.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0)
        return errno;
    int error = writeAll(descriptor, bytes);
    if (::close(descriptor) != 0 && error == 0) // where network file systems tell that the space has run out
        error = errno;
    if (error == 0 && ::renameat(folder, draft.constData(), folder, name.constData()) != 0)
        error = errno;
    if (error != 0)
        ::unlinkat(folder, draft.constData(), 0);
    return error;
}

bool isOurName(QByteArray name)
{
    if (name.startsWith(draftMark))
        name.remove(0, 1);
    return QUuid::fromString(QLatin1String(name)).toByteArray(QUuid::WithoutBraces) == name;
}

} // namespace

QString temporaryAssetFolder()
{
    const QString given = qEnvironmentVariable("TMPDIR");
    return QStringLiteral("%1/lanterna-%2").arg(given.startsWith(u'/') ? given : QStringLiteral("/tmp")).arg(::geteuid());
}

TemporaryAssets::Written TemporaryAssets::write(const QByteArray &bytes) const
{
    if (::mkdir(QFile::encodeName(m_folder).constData(), S_IRWXU) != 0 && errno != EEXIST)
        return {{}, textOf(errno)};
    QString error;
    const Folder folder = openFolder(m_folder, error);
    if (!folder)
        return {{}, error};
    const QByteArray name = QUuid::createUuid().toByteArray(QUuid::WithoutBraces);
    if (const int code = writeFile(::dirfd(folder.get()), name, bytes))
        return {{}, textOf(code)};
    return {m_folder + u'/' + QString::fromLatin1(name), {}};
}

int TemporaryAssets::dropOld(const QDateTime &now) const
{
    QString error;
    const Folder folder = openFolder(m_folder, error);
    const qint64 cutoff = now.toSecsSinceEpoch() - keptSeconds;
    int removed = 0;
    for (int looked = 0; folder && looked < mostEntries; ++looked) {
        const dirent *entry = ::readdir(folder.get());
        if (!entry)
            break;
        struct stat information = {};
        if (!isOurName(entry->d_name) || ::fstatat(::dirfd(folder.get()), entry->d_name, &information, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        const bool isOld = S_ISREG(information.st_mode) && information.st_uid == ::geteuid() && information.st_mtime < cutoff;
        if (isOld && ::unlinkat(::dirfd(folder.get()), entry->d_name, 0) == 0)
            ++removed;
    }
    return removed;
}

} // namespace lanterna
