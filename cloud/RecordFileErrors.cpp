#include "cloud/RecordFileErrors.h"

#include <QFileInfo>

#include <cerrno>
#include <system_error>

#include <sqlite3.h>

namespace lanterna
{

RecordError recordFileError(const QString &path, int systemError)
{
    const QString file = QFileInfo(path).fileName();
    const QString words = QStringLiteral("%1: %2").arg(file, QString::fromStdString(std::generic_category().message(systemError)));
    switch (systemError) {
    case ENOSPC:
    case EDQUOT:
        return {RecordErrorCode::quotaExceeded, QStringLiteral("no room on the disk for %1").arg(file), {}};
    case EACCES:
    case EPERM:
    case EROFS:
        return {RecordErrorCode::permissionFailure, words, {}};
    default:
        return {RecordErrorCode::internalError, words, {}};
    }
}

RecordError noDatabase(const QString &path)
{
    const QString words = QStringLiteral("%1 is no database, and is left alone; without it everything begins anew");
    return {RecordErrorCode::internalError, words.arg(QFileInfo(path).fileName()), {}};
}

RecordError damagedFile(const QString &path)
{
    const QString words = QStringLiteral("%1 is damaged, and is left alone; without it everything begins anew");
    return {RecordErrorCode::internalError, words.arg(QFileInfo(path).fileName()), {}};
}

RecordError failureOf(const SqliteDatabase &database, const QString &path)
{
    const QString file = QFileInfo(path).fileName();
    switch (database.code()) {
    case SQLITE_FULL:
        return recordFileError(path, ENOSPC);
    case SQLITE_BUSY:
    case SQLITE_PROTOCOL:
        return {RecordErrorCode::serviceUnavailable, QStringLiteral("%1 is kept locked by another program").arg(file), {}};
    case SQLITE_NOTADB:
        return noDatabase(path);
    case SQLITE_CORRUPT:
        return damagedFile(path);
    case SQLITE_READONLY:
        return recordFileError(path, EACCES);
    default:
        break;
    }
    if (database.systemError() != 0)
        return recordFileError(path, database.systemError());
    return {RecordErrorCode::internalError, QStringLiteral("%1: %2").arg(file, QString::fromUtf8(sqlite3_errstr(database.code()))), {}};
}

} // namespace lanterna
