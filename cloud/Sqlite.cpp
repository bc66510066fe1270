#include "cloud/Sqlite.h"

#include <sqlite3.h>

namespace lanterna
{

void SqliteDatabase::open(const QByteArray &path, std::function<bool()> waitForOthers)
{
    close();
    m_waitForOthers = std::move(waitForOthers);
    constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW;
    note(sqlite3_open_v2(path.constData(), &m_handle, flags, nullptr)); // which makes a handle also when it fails
    sqlite3_extended_result_codes(m_handle, 1);
    const auto busy = [](void *self, int) -> int { return static_cast<SqliteDatabase *>(self)->m_waitForOthers() ? 1 : 0; };
    sqlite3_busy_handler(m_handle, busy, this);
}

void SqliteDatabase::close()
{
    sqlite3_close(m_handle); // does nothing without one
    m_handle = nullptr;
    m_code = SQLITE_OK;
    m_systemError = 0;
}

void SqliteDatabase::run(const char *sql)
{
    if (!failed())
        note(sqlite3_exec(m_handle, sql, nullptr, nullptr, nullptr));
}

void SqliteDatabase::rollBack()
{
    if (m_handle && sqlite3_get_autocommit(m_handle) == 0)
        sqlite3_exec(m_handle, "ROLLBACK", nullptr, nullptr, nullptr);
}

void SqliteDatabase::note(int code)
{
    if (failed() || code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE)
        return;
    m_code = code;
    const bool askedSystem = (code & 0xFF) == SQLITE_CANTOPEN || (code & 0xFF) == SQLITE_IOERR;
    m_systemError = askedSystem ? sqlite3_system_errno(m_handle) : 0; // which else is of an earlier failure
}

SqliteStatement::SqliteStatement(SqliteDatabase &database, const char *sql) : m_database(database)
{
    if (!m_database.failed())
        m_database.note(sqlite3_prepare_v2(m_database.m_handle, sql, -1, &m_handle, nullptr));
}

SqliteStatement::~SqliteStatement()
{
    finish();
}

void SqliteStatement::finish()
{
    sqlite3_finalize(m_handle); // does nothing without one
    m_handle = nullptr;
}

SqliteStatement &SqliteStatement::bind(const QString &text)
{
    const QByteArray &value = m_values.emplace_back(text.toUtf8());
    if (!m_database.failed())
        m_database.note(sqlite3_bind_text64(m_handle, ++m_bound, value.constData(), sqlite3_uint64(value.size()), SQLITE_STATIC, SQLITE_UTF8));
    return *this;
}

SqliteStatement &SqliteStatement::bind(const QByteArray &bytes)
{
    const QByteArray &value = m_values.emplace_back(bytes);
    const char *start = value.isEmpty() ? "" : value.constData(); // a null pointer would be taken for NULL
    if (!m_database.failed())
        m_database.note(sqlite3_bind_blob64(m_handle, ++m_bound, start, sqlite3_uint64(value.size()), SQLITE_STATIC));
    return *this;
}

SqliteStatement &SqliteStatement::bind(qint64 number)
{
    if (!m_database.failed())
        m_database.note(sqlite3_bind_int64(m_handle, ++m_bound, number));
    return *this;
}

bool SqliteStatement::next()
{
    if (m_database.failed())
        return false;
    const int code = sqlite3_step(m_handle);
    m_database.note(code);
    return code == SQLITE_ROW;
}

QString SqliteStatement::text(int column) const
{
    return QString::fromUtf8(bytes(column));
}

QByteArray SqliteStatement::bytes(int column) const
{
    const auto *start = static_cast<const char *>(sqlite3_column_blob(m_handle, column)); // before the size is asked for
    const int size = sqlite3_column_bytes(m_handle, column);
    if (!start && size == 0 && sqlite3_errcode(m_database.m_handle) == SQLITE_NOMEM)
        m_database.note(SQLITE_NOMEM);
    return {start, size};
}

qint64 SqliteStatement::number(int column) const
{
    return sqlite3_column_int64(m_handle, column);
}

bool SqliteStatement::isNull(int column) const
{
    return sqlite3_column_type(m_handle, column) == SQLITE_NULL;
}

} // namespace lanterna
