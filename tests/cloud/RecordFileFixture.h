#pragma once

#include "cloud/RecordFile.h"
#include "tests/support/MemoryFolder.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include <sqlite3.h>

namespace lanterna
{

/// What another program does to the file, through a connection of its own that is open as long as this lives.
class ForeignConnection
{
public:
    explicit ForeignConnection(const QString &path)
    {
        EXPECT_EQ(sqlite3_open(QFile::encodeName(path).constData(), &m_handle), SQLITE_OK);
        sqlite3_busy_timeout(m_handle, 10'000);
    }
    ~ForeignConnection() { sqlite3_close(m_handle); }
    ForeignConnection(const ForeignConnection &) = delete;
    ForeignConnection &operator=(const ForeignConnection &) = delete;

    void run(const char *sql)
    {
        EXPECT_EQ(sqlite3_exec(m_handle, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sql << ": " << sqlite3_errmsg(m_handle);
    }
    /// The first column of the first row.
    [[nodiscard]] std::string ask(const char *sql)
    {
        std::string answer;
        sqlite3_stmt *statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(m_handle, sql, -1, &statement, nullptr), SQLITE_OK) << sql << ": " << sqlite3_errmsg(m_handle);
        if (sqlite3_step(statement) == SQLITE_ROW)
            answer.assign(static_cast<const char *>(sqlite3_column_blob(statement, 0)), size_t(sqlite3_column_bytes(statement, 0)));
        sqlite3_finalize(statement);
        return answer;
    }

private:
    sqlite3 *m_handle = nullptr;
};

/// A file of records in a folder of its own.
class RecordFileFixture : public testing::Test
{
protected:
    [[nodiscard]] QString above() const { return m_temporary.path(); }
    [[nodiscard]] QString folder() const { return m_temporary.path() + QStringLiteral("/lanterna"); }
    [[nodiscard]] QString path(const char *suffix = "") const { return folder() + QStringLiteral("/records.sqlite") + QString::fromLatin1(suffix); }

    /// The file as a program has it that waits for others as long as it takes.
    [[nodiscard]] std::unique_ptr<RecordFile> open() const
    {
        return std::make_unique<RecordFile>(path(), [](int times) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return times < 60'000;
        });
    }

    [[nodiscard]] static Record newRecord(const QString &recordName, const QByteArray &content)
    {
        return {
            recordName, QStringLiteral("TestType"), {{QStringLiteral("text"), QStringLiteral("t")}}, {{QStringLiteral("asset"), content}}, {}, {}};
    }
    /// Creates the record, or replaces what is there; the number of the error, or 0.
    static int put(RecordFile &file, const QString &recordName, const QByteArray &content)
    {
        Record record = newRecord(recordName, content);
        const auto found = file.fetch(recordName);
        if (const auto *before = std::get_if<Record>(&found))
            record.changeTag = before->changeTag;
        return errorOf(file.save(record, QDateTime::currentDateTimeUtc()));
    }
    /// The same with a connection that is open for this alone.
    [[nodiscard]] int put(const QString &recordName, const QByteArray &content) const { return put(*open(), recordName, content); }
    /// The asset of a record; or "error N: words".
    [[nodiscard]] static QByteArray contentOf(RecordFile &file, const QString &recordName)
    {
        const auto found = file.fetch(recordName);
        if (const auto *error = std::get_if<RecordError>(&found))
            return "error " + QByteArray::number(int(error->code)) + ": " + error->description.toUtf8();
        return std::get<Record>(found).assets.value(QStringLiteral("asset"));
    }
    [[nodiscard]] QByteArray contentOf(const QString &recordName) const { return contentOf(*open(), recordName); }
    template <typename Value> static int errorOf(const RecordResult<Value> &result)
    {
        const auto *error = std::get_if<RecordError>(&result);
        return error ? int(error->code) : 0;
    }
    template <typename Value> static std::string wordsOf(const RecordResult<Value> &result)
    {
        const auto *error = std::get_if<RecordError>(&result);
        return error ? error->description.toStdString() : std::string();
    }

    [[nodiscard]] static QByteArray bytesOf(const QString &file)
    {
        QFile opened(file);
        return opened.open(QIODevice::ReadOnly) ? opened.readAll() : QByteArray();
    }
    static void writeFile(const QString &file, const QByteArray &bytes)
    {
        QDir().mkpath(QFileInfo(file).path());
        QFile opened(file);
        ASSERT_TRUE(opened.open(QIODevice::WriteOnly | QIODevice::Truncate));
        ASSERT_EQ(opened.write(bytes), bytes.size());
    }

private:
    MemoryFolder m_temporary;
};

} // namespace lanterna
