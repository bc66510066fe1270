#include "cloud/RecordFile.h"

#include "cloud/RecordFilePlace.h"

#include <QFileInfo>
#include <QUuid>

#include <sqlite3.h>

namespace lanterna
{

namespace
{

/// "LNrc", which tells the file from other programs' databases.
constexpr qint64 applicationId = 0x4C4E7263;
constexpr qint64 formatVersion = 1;
/// Bytes; what the port allows.
constexpr qint64 largestAsset = 50 * 1000 * 1000;

// Every connection. A log that one large save has blown up is cut back when the next one begins it anew.
constexpr const char *manners = "PRAGMA synchronous=FULL; PRAGMA trusted_schema=OFF; PRAGMA cell_size_check=ON; PRAGMA journal_size_limit=4194304";
constexpr const char *format =
    "SELECT application_id, user_version, (SELECT count(*) FROM sqlite_schema) FROM pragma_application_id, pragma_user_version";
// The numbers are those above.
constexpr const char *schema = R"(
    CREATE TABLE records (
        name TEXT NOT NULL PRIMARY KEY,
        type TEXT NOT NULL,
        change_tag TEXT NOT NULL CHECK (change_tag <> ''),
        modified INTEGER NOT NULL
    ) STRICT, WITHOUT ROWID;
    CREATE TABLE texts (
        record TEXT NOT NULL REFERENCES records (name) ON DELETE CASCADE,
        field TEXT NOT NULL,
        value TEXT NOT NULL,
        PRIMARY KEY (record, field)
    ) STRICT, WITHOUT ROWID;
    CREATE TABLE assets (
        record TEXT NOT NULL REFERENCES records (name) ON DELETE CASCADE,
        field TEXT NOT NULL,
        bytes BLOB NOT NULL,
        PRIMARY KEY (record, field)
    ) STRICT;
    PRAGMA application_id=1280209507;
    PRAGMA user_version=1;
)";

RecordError invalid(const QString &words)
{
    return {RecordErrorCode::invalidArguments, words, {}};
}

RecordError unknown(const QString &recordName)
{
    return {RecordErrorCode::unknownItem, QStringLiteral("there is no record %1").arg(recordName), {}};
}

RecordError changed(const QString &recordName)
{
    return {RecordErrorCode::serverRecordChanged, QStringLiteral("the record %1 was changed meanwhile").arg(recordName), {}};
}

/// What is wrong with a record that is to be saved.
std::optional<RecordError> faultOf(const Record &record)
{
    if (!isRecordIdentifier(record.recordName))
        return invalid(QStringLiteral("no name of a record"));
    if (!isRecordIdentifier(record.recordType))
        return invalid(QStringLiteral("no type of a record"));
    for (const QByteArray &bytes : record.assets) {
        if (bytes.size() > largestAsset)
            return invalid(QStringLiteral("a file of more than 50 MB"));
    }
    return std::nullopt;
}

struct Format {
    qint64 application = 0;
    qint64 version = 0;
    qint64 tables = 0;

    [[nodiscard]] bool isNew() const { return application == 0 && version == 0 && tables == 0; }
};

Format formatOf(SqliteDatabase &database)
{
    SqliteStatement look(database, format);
    return look.next() ? Format{look.number(0), look.number(1), look.number(2)} : Format{};
}

} // namespace

template <typename Value, typename Steps> RecordResult<Value> RecordFile::attempt(bool make, const RecordResult<Value> &absent, const Steps &steps)
{
    m_waits = 0;
    for (;;) {
        if (!m_database.isOpen() && !make && isAbsent(m_path))
            return absent;
        Failure wrong = m_database.isOpen() ? std::nullopt : open(make);
        RecordResult<Value> result = wrong || m_database.failed() ? absent : steps();
        if (!wrong && !m_database.failed())
            return result;
        // Some locks are refused at once, without a question: then everything begins anew.
        const bool again = !wrong && m_database.code() == SQLITE_BUSY && waitForOthers();
        if (!wrong)
            wrong = failure();
        m_database.rollBack();
        m_database.close();
        if (!again)
            return *wrong;
    }
}

RecordFile::Failure RecordFile::open(bool make)
{
    if (m_path.isEmpty())
        return RecordError{RecordErrorCode::permissionFailure, QStringLiteral("there is no home folder to keep records in"), {}};
    QString path = m_path;
    if (auto wrong = prepareRecordFile(path, make))
        return wrong;
    m_database.open(QFile::encodeName(path), [this] { return waitForOthers(); });
    m_database.run(manners);
    return takeSchema();
}

RecordFile::Failure RecordFile::takeSchema()
{
    Format found = formatOf(m_database);
    if (!m_database.failed() && found.isNew()) {
        m_database.run("PRAGMA journal_mode=WAL");
        m_database.run("BEGIN IMMEDIATE");
        found = formatOf(m_database); // another program may have been first
        if (!m_database.failed() && found.isNew()) {
            m_database.run(schema);
            found = formatOf(m_database);
        }
        m_database.run("COMMIT");
    }
    if (m_database.failed())
        return std::nullopt; // which the caller sees
    const QString file = QFileInfo(m_path).fileName();
    if (found.application != applicationId || found.version < 1)
        return RecordError{RecordErrorCode::internalError, QStringLiteral("%1 is a database of something else, and is left alone").arg(file), {}};
    if (found.version > formatVersion) {
        const QString words = QStringLiteral("%1 was made by a newer version of this program (format %2), and is left alone");
        return RecordError{RecordErrorCode::internalError, words.arg(file).arg(found.version), {}};
    }
    m_database.run("PRAGMA journal_mode=WAL"); // nothing to do, unless somebody has changed it
    return std::nullopt;
}

RecordError RecordFile::failure() const
{
    const QString file = QFileInfo(m_path).fileName();
    switch (m_database.code()) {
    case SQLITE_FULL:
        return recordFileError(m_path, ENOSPC);
    case SQLITE_BUSY:
    case SQLITE_PROTOCOL:
        return {RecordErrorCode::serviceUnavailable, QStringLiteral("%1 is kept locked by another program").arg(file), {}};
    case SQLITE_NOTADB:
        return {RecordErrorCode::internalError, QStringLiteral("%1 is no database, and is left alone").arg(file), {}};
    case SQLITE_CORRUPT:
        return {RecordErrorCode::internalError, QStringLiteral("%1 is damaged").arg(file), {}};
    case SQLITE_READONLY:
        return recordFileError(m_path, EACCES);
    default:
        break;
    }
    if (m_database.systemError() != 0)
        return recordFileError(m_path, m_database.systemError());
    return {RecordErrorCode::internalError, QStringLiteral("%1: %2").arg(file, QString::fromUtf8(sqlite3_errstr(m_database.code()))), {}};
}

RecordResult<Record> RecordFile::fetch(const QString &recordName)
{
    if (!isRecordIdentifier(recordName))
        return invalid(QStringLiteral("no name of a record"));
    return attempt<Record>(false, unknown(recordName), [&] { return fetchNow(recordName); });
}

RecordResult<Record> RecordFile::save(const Record &record, const QDateTime &now)
{
    if (const auto fault = faultOf(record))
        return *fault;
    const bool isCreate = record.changeTag.isEmpty();
    return attempt<Record>(isCreate, unknown(record.recordName), [&] { return saveNow(record, now); });
}

RecordResult<QList<Record>> RecordFile::query(const QString &recordType)
{
    if (!isRecordIdentifier(recordType))
        return invalid(QStringLiteral("no type of a record"));
    return attempt<QList<Record>>(false, QList<Record>(), [&] { return queryNow(recordType); });
}

RecordResult<Record> RecordFile::fetchNow(const QString &recordName)
{
    m_database.run("BEGIN"); // so that all is of one version
    RecordResult<Record> result = unknown(recordName);
    SqliteStatement find(m_database, "SELECT type, change_tag, modified FROM records WHERE name = ?");
    if (find.bind(recordName).next()) {
        Record record{recordName, find.text(0), {}, {}, find.text(1), QDateTime::fromMSecsSinceEpoch(find.number(2), Qt::UTC)};
        readTexts(record);
        if (readAssets(record))
            result = std::move(record);
        else
            result = RecordError{RecordErrorCode::networkFailure, QStringLiteral("a file of the record %1 has more than 50 MB").arg(recordName), {}};
    }
    find.finish();
    m_database.run("COMMIT");
    return result;
}

RecordResult<QList<Record>> RecordFile::queryNow(const QString &recordType)
{
    m_database.run("BEGIN");
    QList<Record> records;
    SqliteStatement find(m_database, "SELECT name, change_tag, modified FROM records WHERE type = ? ORDER BY name");
    find.bind(recordType);
    while (find.next()) {
        Record record{find.text(0), recordType, {}, {}, find.text(1), QDateTime::fromMSecsSinceEpoch(find.number(2), Qt::UTC)};
        readTexts(record);
        (void)readAssets(record);
        records.append(record);
    }
    find.finish();
    m_database.run("COMMIT");
    return records;
}

RecordResult<Record> RecordFile::saveNow(const Record &record, const QDateTime &now)
{
    m_database.run("BEGIN IMMEDIATE"); // nobody else writes from here to the end
    SqliteStatement find(m_database, "SELECT change_tag FROM records WHERE name = ?");
    const bool isThere = find.bind(record.recordName).next();
    const QString tag = isThere ? find.text(0) : QString();
    find.finish();
    if (m_database.failed() || tag != record.changeTag) {
        m_database.rollBack();
        return isThere ? changed(record.recordName) : unknown(record.recordName);
    }
    Record saved = record;
    saved.changeTag = QUuid::createUuid().toString(QUuid::Id128); // never the same again, also when the file is replaced by an old copy
    saved.modificationDate = QDateTime::fromMSecsSinceEpoch(now.toMSecsSinceEpoch(), Qt::UTC);
    writeFields(saved);
    m_database.run("COMMIT");
    return saved;
}

void RecordFile::readTexts(Record &record)
{
    SqliteStatement read(m_database, "SELECT field, value FROM texts WHERE record = ?");
    read.bind(record.recordName);
    while (read.next())
        record.texts.insert(read.text(0), read.text(1));
}

bool RecordFile::readAssets(Record &record)
{
    SqliteStatement read(m_database, "SELECT field, CASE WHEN length(bytes) <= ? THEN bytes END FROM assets WHERE record = ?");
    read.bind(largestAsset).bind(record.recordName);
    bool whole = true;
    while (read.next()) {
        whole = whole && !read.isNull(1);
        record.assets.insert(read.text(0), read.bytes(1));
    }
    return whole;
}

void RecordFile::writeFields(const Record &record)
{
    SqliteStatement(m_database, "INSERT OR REPLACE INTO records (name, type, change_tag, modified) VALUES (?, ?, ?, ?)")
        .bind(record.recordName)
        .bind(record.recordType)
        .bind(record.changeTag)
        .bind(record.modificationDate.toMSecsSinceEpoch())
        .run();
    SqliteStatement(m_database, "DELETE FROM texts WHERE record = ?").bind(record.recordName).run();
    SqliteStatement(m_database, "DELETE FROM assets WHERE record = ?").bind(record.recordName).run();
    for (auto field = record.texts.begin(); field != record.texts.end(); ++field) {
        SqliteStatement insert(m_database, "INSERT INTO texts (record, field, value) VALUES (?, ?, ?)");
        insert.bind(record.recordName).bind(field.key()).bind(field.value()).run();
    }
    for (auto field = record.assets.begin(); field != record.assets.end(); ++field) {
        SqliteStatement insert(m_database, "INSERT INTO assets (record, field, bytes) VALUES (?, ?, ?)");
        insert.bind(record.recordName).bind(field.key()).bind(field.value()).run();
    }
}

} // namespace lanterna
