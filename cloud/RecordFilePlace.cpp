#include "cloud/RecordFilePlace.h"

#include "cloud/RecordFileErrors.h"
#include "platform/SettingsFiles.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

constexpr mode_t othersRights = S_IRWXG | S_IRWXO;

RecordError notAFile(const QString &path)
{
    const QString words = QStringLiteral("%1 is a link or no regular file, and is left alone").arg(QFileInfo(path).fileName());
    return {RecordErrorCode::permissionFailure, words, {}};
}

/// Looks at one of the files, which need not be there.
std::optional<RecordError> closeToOthers(const QString &path)
{
    const QByteArray native = QFile::encodeName(path);
    struct stat information = {};
    if (::lstat(native.constData(), &information) != 0)
        return errno == ENOENT ? std::nullopt : std::optional(recordFileError(path, errno));
    if (!S_ISREG(information.st_mode))
        return notAFile(path);
    if ((information.st_mode & othersRights) != 0 && information.st_uid == ::geteuid())
        (void)!::chmod(native.constData(), information.st_mode & S_IRWXU); // somebody else's stays as its owner wants it
    return std::nullopt;
}

} // namespace

bool isAbsent(const QString &path)
{
    struct stat information = {};
    return ::lstat(QFile::encodeName(path).constData(), &information) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

std::optional<RecordError> prepareRecordFile(QString &path, bool make)
{
    const QFileInfo given(path);
    const QString folder = given.absolutePath();
    if (const std::error_code error = make ? SettingsFiles(folder).makeFolder() : std::error_code())
        return recordFileError(path, error.value());
    errno = 0;
    const QString canonical = QFileInfo(folder).canonicalFilePath(); // links above the file are the owner's own arrangement
    if (canonical.isEmpty())
        return recordFileError(path, errno == 0 ? ENOENT : errno);
    path = canonical + u'/' + given.fileName();
    // Makes the file with its final rights, follows no link and gives no descriptor that would have to be closed.
    if (make && ::mknod(QFile::encodeName(path).constData(), S_IFREG | S_IRUSR | S_IWUSR, 0) != 0 && errno != EEXIST)
        return recordFileError(path, errno);
    for (const char *suffix : {"", "-wal", "-shm", "-journal"}) {
        if (auto wrong = closeToOthers(path + QLatin1String(suffix)))
            return wrong;
    }
    // Reading needs as much as writing, for readers write into the side files. Found out here since SQLite tells another trouble for each of these.
    for (const QString &each : {canonical, path}) {
        if (::access(QFile::encodeName(each).constData(), R_OK | W_OK) != 0)
            return recordFileError(path, errno);
    }
    if (QFileInfo(path).size() == 1)
        return noDatabase(path); // SQLite would take it for an empty file
    return std::nullopt;
}

} // namespace lanterna
