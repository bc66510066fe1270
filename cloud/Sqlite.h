#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <list>

struct sqlite3;
struct sqlite3_stmt;

namespace lanterna
{

/// One open SQLite database. One thread at a time.
///
/// The first failure stays: after it nothing is done any more but `rollBack` and `close`, so that a row of steps needs one look at its end.
class SqliteDatabase
{
public:
    SqliteDatabase() = default;
    ~SqliteDatabase() { close(); }
    SqliteDatabase(const SqliteDatabase &) = delete;
    SqliteDatabase &operator=(const SqliteDatabase &) = delete;

    /// Opens a file that exists, for reading and writing; follows no link. `waitForOthers` is asked each time that another program's lock is in the way:
    /// whether to try again, after a while that it spends itself.
    void open(const QByteArray &path, std::function<bool()> waitForOthers);
    [[nodiscard]] bool isOpen() const { return m_handle != nullptr; }
    /// Ends everything that has begun. What was committed moves into the main file when nobody else has the database open. Forgets a failure.
    void close();

    /// Runs a statement that takes and gives nothing.
    void run(const char *sql);
    void rollBack();

    [[nodiscard]] bool failed() const { return m_code != 0; }
    /// The primary result code of the first failure (SQLITE_FULL); 0 without one.
    [[nodiscard]] int code() const { return m_code & 0xFF; }
    /// What the system had said at the first failure (ENOSPC); 0 when it was not asked.
    [[nodiscard]] int systemError() const { return m_systemError; }

private:
    friend class SqliteStatement;

    /// Keeps a result if it is the first failure.
    void note(int code);

    sqlite3 *m_handle = nullptr;
    std::function<bool()> m_waitForOthers;
    int m_code = 0;
    int m_systemError = 0;
};

/// One prepared statement. Parameters are bound in their order, then `next` goes from row to row. Ends before its database is closed.
class SqliteStatement
{
public:
    SqliteStatement(SqliteDatabase &database, const char *sql);
    ~SqliteStatement();
    SqliteStatement(const SqliteStatement &) = delete;
    SqliteStatement &operator=(const SqliteStatement &) = delete;

    SqliteStatement &bind(const QString &text);
    SqliteStatement &bind(const QByteArray &bytes);
    SqliteStatement &bind(qint64 number);

    /// Goes to the next row; false after the last one, or on a failure. A statement without rows is done after one call.
    bool next();
    /// Runs a statement that gives no rows.
    void run() { (void)next(); }
    /// Lets go of the row and of what was bound; nothing follows.
    void finish();

    /// A column of the row, from 0.
    [[nodiscard]] QString text(int column) const;
    [[nodiscard]] QByteArray bytes(int column) const;
    [[nodiscard]] qint64 number(int column) const;
    [[nodiscard]] bool isNull(int column) const;

private:
    SqliteDatabase &m_database;
    sqlite3_stmt *m_handle = nullptr;
    int m_bound = 0;
    std::list<QByteArray> m_values; // SQLite reads them where they are
};

} // namespace lanterna
