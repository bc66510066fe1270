#include "cloud/RecordSchema.h"

#include <QFileInfo>

namespace lanterna
{

namespace
{

/// "LNrc", which tells the file from other programs' databases.
constexpr qint64 applicationId = 0x4C4E7263;
constexpr qint64 formatVersion = 1;
constexpr const char *format =
    "SELECT application_id, user_version, (SELECT count(*) FROM sqlite_schema) FROM pragma_application_id, pragma_user_version";
// The numbers are those above.
constexpr const char *schema = R"(
    CREATE TABLE records (
        name TEXT NOT NULL PRIMARY KEY,
        type TEXT NOT NULL,
        change_tag TEXT NOT NULL CHECK (change_tag <> ''),
        modified INTEGER NOT NULL,
        checksum INTEGER
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

std::optional<RecordError> takeRecordSchema(SqliteDatabase &database, const QString &path)
{
    Format found = formatOf(database);
    if (!database.failed() && found.isNew()) {
        database.run("PRAGMA journal_mode=WAL");
        database.run("BEGIN IMMEDIATE");
        found = formatOf(database); // another program may have been first
        if (!database.failed() && found.isNew()) {
            database.run(schema);
            found = formatOf(database);
        }
        database.run("COMMIT");
    }
    if (database.failed())
        return std::nullopt; // which the caller sees
    const QString file = QFileInfo(path).fileName();
    if (found.application != applicationId || found.version < 1)
        return RecordError{RecordErrorCode::internalError, QStringLiteral("%1 is a database of something else, and is left alone").arg(file), {}};
    if (found.version > formatVersion) {
        const QString words = QStringLiteral("%1 was made by a newer version of this program (format %2), and is left alone");
        return RecordError{RecordErrorCode::internalError, words.arg(file).arg(found.version), {}};
    }
    database.run("PRAGMA journal_mode=WAL"); // nothing to do, unless somebody has changed it
    return std::nullopt;
}

bool isSound(SqliteDatabase &database)
{
    SqliteStatement check(database, "PRAGMA quick_check(1)");
    return check.next() && check.text(0) == QLatin1String("ok");
}

} // namespace lanterna
