#include "cloud/RecordFile.h"

#include "cloud/RecordChecksum.h"
#include "cloud/RecordFileErrors.h"
#include "cloud/RecordFilePlace.h"
#include "cloud/RecordSchema.h"

#include <QFile>
#include <QUuid>

#include <sqlite3.h>

namespace lanterna
{

namespace
{

/// Bytes; what the port allows.
constexpr qint64 largestAsset = 50 * 1000 * 1000;

// Every connection. A log that one large save has blown up is cut back when the next one begins it anew.
constexpr const char *manners = "PRAGMA synchronous=FULL; PRAGMA trusted_schema=OFF; PRAGMA cell_size_check=ON; PRAGMA journal_size_limit=4194304";

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

} // namespace

template <typename Value, typename Steps> RecordResult<Value> RecordFile::attempt(bool make, const RecordResult<Value> &absent, const Steps &steps)
{
    m_waits = 0;
    for (;;) {
        if (!m_database.isOpen() && !make && !m_path.isEmpty() && isAbsent(m_path))
            return absent;
        Failure wrong = m_database.isOpen() ? std::nullopt : open(make);
        RecordResult<Value> result = wrong || m_database.failed() ? absent : steps();
        if (!wrong && !m_database.failed())
            return result;
        // Some locks are refused at once, without a question: then everything begins anew.
        const bool again = !wrong && m_database.code() == SQLITE_BUSY && waitForOthers();
        if (!wrong)
            wrong = failureOf(m_database, m_path);
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
    return takeRecordSchema(m_database, m_path);
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
    SqliteStatement find(m_database, "SELECT name, type, change_tag, modified, checksum FROM records WHERE name = ?");
    if (find.bind(recordName).next()) {
        Record record;
        const Failure wrong = readRecord(find, record);
        result = wrong ? RecordResult<Record>(*wrong) : std::move(record);
    } else if (!isSound(m_database)) {
        result = damagedFile(m_path);
    }
    find.finish();
    m_database.run("COMMIT");
    return result;
}

RecordResult<QList<Record>> RecordFile::queryNow(const QString &recordType)
{
    m_database.run("BEGIN");
    QList<Record> records;
    SqliteStatement find(m_database, "SELECT name, type, change_tag, modified, checksum FROM records WHERE type = ? ORDER BY name");
    find.bind(recordType);
    while (find.next()) {
        Record record;
        if (readRecord(find, record)) {
            for (QByteArray &bytes : record.assets)
                bytes.clear();
        }
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
    const bool isTheSame = isThere ? !tag.isEmpty() && tag == record.changeTag : record.changeTag.isEmpty();
    const bool isWhole = isThere || isSound(m_database);
    if (m_database.failed() || !isTheSame || !isWhole) {
        m_database.rollBack();
        return !isWhole ? damagedFile(m_path) : isThere ? changed(record.recordName) : unknown(record.recordName);
    }
    Record saved = record;
    saved.changeTag = QUuid::createUuid().toString(QUuid::Id128); // never the same again, also when the file is replaced by an old copy
    saved.modificationDate = QDateTime::fromMSecsSinceEpoch(now.toMSecsSinceEpoch(), Qt::UTC);
    writeFields(saved);
    m_database.run("COMMIT");
    return saved;
}

RecordFile::Failure RecordFile::readRecord(const SqliteStatement &row, Record &record)
{
    record.recordName = row.text(0);
    record.recordType = row.text(1);
    record.changeTag = row.text(2);
    record.modificationDate = QDateTime::fromMSecsSinceEpoch(row.number(3), Qt::UTC);
    SqliteStatement texts(m_database, "SELECT field, value FROM texts WHERE record = ?");
    texts.bind(record.recordName);
    while (texts.next())
        record.texts.insert(texts.text(0), texts.text(1));
    SqliteStatement assets(m_database, "SELECT field, bytes, length(bytes) > ? FROM assets WHERE record = ?");
    assets.bind(largestAsset).bind(record.recordName);
    bool tooLarge = false;
    while (assets.next()) {
        const bool thisOne = assets.number(2) != 0;
        tooLarge = tooLarge || thisOne;
        record.assets.insert(assets.text(0), thisOne ? QByteArray("") : assets.bytes(1));
    }
    if (tooLarge)
        return RecordError{RecordErrorCode::networkFailure, QStringLiteral("a file of the record %1 has more than 50 MB").arg(record.recordName), {}};
    // Other programs may leave the checksum out.
    if (!m_database.failed() && !row.isNull(4) && row.number(4) != qint64(checksumOf(record)))
        return damagedFile(m_path);
    return std::nullopt;
}

void RecordFile::writeFields(const Record &record)
{
    SqliteStatement(m_database, "INSERT OR REPLACE INTO records (name, type, change_tag, modified, checksum) VALUES (?, ?, ?, ?, ?)")
        .bind(record.recordName)
        .bind(record.recordType)
        .bind(record.changeTag)
        .bind(record.modificationDate.toMSecsSinceEpoch())
        .bind(qint64(checksumOf(record)))
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
