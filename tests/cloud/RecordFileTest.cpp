#include "tests/cloud/RecordFileFixture.h"

#include <sys/stat.h>

using namespace lanterna;

namespace
{

constexpr int internalError = 1;
constexpr int networkFailure = 4;
constexpr int serviceUnavailable = 6;
constexpr int permissionFailure = 10;
constexpr int unknownItem = 11;
constexpr int invalidArguments = 12;
constexpr int serverRecordChanged = 14;

const QString name = QStringLiteral("record");

int rightsOf(const QString &path)
{
    struct stat information = {};
    return ::lstat(QFile::encodeName(path).constData(), &information) == 0 ? int(information.st_mode & 07777) : -1;
}

class RecordFileTest : public RecordFileFixture
{
protected:
    /// Nothing can be done with the file and nothing is done to it; once it is away all is well.
    void expectLeftAlone(int error, const char *words)
    {
        const QByteArray before = bytesOf(path());
        const auto file = open();
        const auto fetched = file->fetch(name);
        EXPECT_EQ(errorOf(fetched), error);
        EXPECT_NE(wordsOf(fetched).find(words), std::string::npos) << wordsOf(fetched);
        EXPECT_EQ(wordsOf(fetched).find(above().toStdString()), std::string::npos) << wordsOf(fetched);
        EXPECT_EQ(errorOf(file->save(newRecord(name, "new"), QDateTime::currentDateTimeUtc())), error);
        EXPECT_EQ(errorOf(file->query("TestType")), error);
        EXPECT_TRUE(bytesOf(path()) == before);
        EXPECT_FALSE(QFile::exists(path("-wal")));
        ASSERT_EQ(::rename(qPrintable(path()), qPrintable(path(".away"))), 0);
        EXPECT_EQ(put(*file, name, "after"), 0);
        EXPECT_EQ(contentOf(name), "after");
    }
};

} // namespace

TEST_F(RecordFileTest, OnlyASaveMakesTheFile)
{
    const auto file = open();
    EXPECT_EQ(errorOf(file->fetch(name)), unknownItem);
    EXPECT_EQ(errorOf(file->query("TestType")), 0);
    Record version = newRecord(name, "1");
    version.changeTag = "tag";
    EXPECT_EQ(errorOf(file->save(version, QDateTime::currentDateTimeUtc())), unknownItem);
    EXPECT_FALSE(QFile::exists(folder()));
    EXPECT_EQ(put(*file, name, "1"), 0);
    EXPECT_TRUE(QFile::exists(path()));
}

TEST_F(RecordFileTest, AFileThatIsTakenAwayIsMadeAnew)
{
    const auto file = open();
    EXPECT_EQ(put(*file, name, "1"), 0);
    file->close();
    EXPECT_TRUE(QFile::remove(path()));
    EXPECT_EQ(errorOf(file->fetch(name)), unknownItem);
    EXPECT_EQ(put(*file, name, "2"), 0);
    EXPECT_EQ(contentOf(name), "2");
}

TEST_F(RecordFileTest, FilesAreTheOwnersAlone)
{
    const mode_t before = ::umask(0);
    const auto file = open();
    EXPECT_EQ(put(*file, name, "1"), 0);
    ::umask(before);
    EXPECT_EQ(rightsOf(folder()), 0700);
    EXPECT_EQ(rightsOf(path()), 0600);
    EXPECT_EQ(rightsOf(path("-wal")), 0600);
    EXPECT_EQ(rightsOf(path("-shm")), 0600);
}

TEST_F(RecordFileTest, WhatOthersMayReadIsClosedToThem)
{
    EXPECT_EQ(put(name, "1"), 0);
    ASSERT_EQ(::chmod(qPrintable(path()), 0666), 0);
    EXPECT_EQ(contentOf(name), "1");
    EXPECT_EQ(rightsOf(path()), 0600);
}

TEST_F(RecordFileTest, AClosedFileIsOneFile)
{
    const auto file = open();
    EXPECT_EQ(put(*file, name, "1"), 0);
    file->close();
    EXPECT_EQ(QDir(folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList{"records.sqlite"});
    EXPECT_EQ(contentOf(*file, name), "1");
}

TEST_F(RecordFileTest, OthersReadItAsItIsDescribed)
{
    Record record = newRecord(name, QByteArray("a\0b", 3));
    const auto saved = open()->save(record, QDateTime::fromMSecsSinceEpoch(1'800'000'000'123, Qt::UTC));
    ForeignConnection other(path());
    EXPECT_EQ(other.ask("PRAGMA application_id"), "1280209507");
    EXPECT_EQ(other.ask("PRAGMA user_version"), "1");
    EXPECT_EQ(other.ask("PRAGMA journal_mode"), "wal");
    EXPECT_EQ(other.ask("SELECT name || ' ' || type || ' ' || modified FROM records"), "record TestType 1800000000123");
    EXPECT_EQ(other.ask("SELECT change_tag FROM records"), std::get<Record>(saved).changeTag.toStdString());
    EXPECT_EQ(other.ask("SELECT value FROM texts WHERE record = 'record' AND field = 'text'"), "t");
    EXPECT_EQ(other.ask("SELECT bytes FROM assets WHERE record = 'record' AND field = 'asset'"), std::string("a\0b", 3));
    EXPECT_EQ(other.ask("SELECT typeof(bytes) FROM assets"), "blob");
}

TEST_F(RecordFileTest, ALinkIsNotFollowed)
{
    ASSERT_EQ(put(name, "elsewhere"), 0);
    ASSERT_EQ(::rename(qPrintable(path()), qPrintable(path(".target"))), 0);
    const QByteArray before = bytesOf(path(".target"));
    ASSERT_TRUE(QFile::link(path(".target"), path()));
    EXPECT_EQ(errorOf(open()->fetch(name)), permissionFailure);
    EXPECT_EQ(put(name, "new"), permissionFailure);
    EXPECT_TRUE(bytesOf(path(".target")) == before);
    ASSERT_TRUE(QFile::remove(path()));
    ASSERT_TRUE(QFile::link(path(".nowhere"), path()));
    EXPECT_EQ(put(name, "new"), permissionFailure);
    EXPECT_FALSE(QFile::exists(path(".nowhere")));
    ASSERT_TRUE(QFile::remove(path()));
    EXPECT_EQ(put(name, "new"), 0);
}

TEST_F(RecordFileTest, ALinkInTheLogsPlaceIsNotFollowed)
{
    ASSERT_EQ(put(name, "1"), 0);
    writeFile(path(".target"), "precious");
    ASSERT_TRUE(QFile::link(path(".target"), path("-wal")));
    EXPECT_EQ(put(name, "2"), permissionFailure);
    EXPECT_EQ(bytesOf(path(".target")), "precious");
}

TEST_F(RecordFileTest, AFolderThatIsALinkIsTheOwnersArrangement)
{
    ASSERT_TRUE(QDir(above()).mkdir("elsewhere"));
    ASSERT_TRUE(QFile::link(above() + "/elsewhere", folder()));
    EXPECT_EQ(put(name, "1"), 0);
    EXPECT_TRUE(QFile::exists(above() + "/elsewhere/records.sqlite"));
    EXPECT_EQ(contentOf(name), "1");
}

TEST_F(RecordFileTest, PipesAndFoldersHoldNothingUp)
{
    ASSERT_TRUE(QDir().mkpath(folder()));
    ASSERT_EQ(::mkfifo(qPrintable(path()), 0600), 0);
    EXPECT_EQ(errorOf(open()->fetch(name)), permissionFailure);
    EXPECT_EQ(put(name, "1"), permissionFailure);
    ASSERT_TRUE(QFile::remove(path()));
    ASSERT_TRUE(QDir().mkdir(path()));
    EXPECT_EQ(put(name, "1"), permissionFailure);
    ASSERT_TRUE(QDir().rmdir(path()));
    EXPECT_EQ(put(name, "1"), 0);
}

TEST_F(RecordFileTest, AnEmptyFileIsANewOne)
{
    writeFile(path(), "");
    EXPECT_EQ(errorOf(open()->fetch(name)), unknownItem);
    EXPECT_EQ(put(name, "1"), 0);
    EXPECT_EQ(contentOf(name), "1");
}

TEST_F(RecordFileTest, WhatIsNoDatabaseIsLeftAlone)
{
    for (const QByteArray &bytes :
        {QByteArray("x"), QByteArray(100, '\0'), QByteArray(5000, 'x'), QByteArray("SQLite format 3"), QByteArray("{}\n")}) {
        writeFile(path(), bytes);
        expectLeftAlone(internalError, "records.sqlite is no database");
        ASSERT_TRUE(QFile::remove(path()));
    }
}

TEST_F(RecordFileTest, AnotherProgramsDatabaseIsLeftAlone)
{
    ASSERT_TRUE(QDir().mkpath(folder()));
    ForeignConnection(path()).run("CREATE TABLE recipes (name)");
    ASSERT_EQ(::chmod(qPrintable(path()), 0600), 0);
    expectLeftAlone(internalError, "database of something else");
}

TEST_F(RecordFileTest, ANewerFormatIsLeftAlone)
{
    ASSERT_EQ(put(name, "1"), 0);
    ForeignConnection(path()).run("PRAGMA user_version=2");
    expectLeftAlone(internalError, "newer version of this program (format 2)");
    ASSERT_EQ(::rename(qPrintable(path(".away")), qPrintable(path())), 0);
    ForeignConnection(path()).run("PRAGMA user_version=1");
    EXPECT_EQ(contentOf(name), "1");
}

TEST_F(RecordFileTest, ADamagedPageIsToldOrDoesNotMatter)
{
    constexpr qsizetype page = 4096;
    ASSERT_EQ(put("first", "small"), 0);
    ASSERT_EQ(put("second", QByteArray(3 * page, 'x')), 0);
    const QByteArray sound = bytesOf(path());
    int told = 0;
    for (qsizetype start = 0; start < sound.size(); start += page) {
        for (const char filling : {'\0', '\xFF', 'q'}) {
            QByteArray damaged = sound;
            damaged.replace(start, page, QByteArray(page, filling));
            writeFile(path(), damaged);
            const auto fetched = open()->fetch("first");
            EXPECT_TRUE(errorOf(fetched) == 0 || errorOf(fetched) == internalError) << wordsOf(fetched);
            told += errorOf(fetched) == 0 ? 0 : 1;
            if (errorOf(fetched) == 0) {
                EXPECT_EQ(std::get<Record>(fetched).assets.value("asset"), "small");
            } else {
                EXPECT_TRUE(bytesOf(path()) == damaged);
            }
        }
    }
    EXPECT_GT(told, 10);
    writeFile(path(), sound);
    EXPECT_EQ(contentOf("first"), "small");
}

TEST_F(RecordFileTest, AChangedByteOfARecordIsTold)
{
    ASSERT_EQ(put(name, QByteArray(20'000, 'x') + "#needle#" + QByteArray(20'000, 'x')), 0);
    QByteArray bytes = bytesOf(path());
    ASSERT_EQ(bytes.count("#needle#"), 1);
    writeFile(path(), bytes.replace("#needle#", "#needlf#"));
    EXPECT_TRUE(contentOf(name).startsWith("error 1: records.sqlite is damaged")) << contentOf(name).toStdString();
    const QList<Record> found = std::get<QList<Record>>(open()->query("TestType"));
    ASSERT_EQ(found.size(), 1);
    EXPECT_TRUE(found.first().assets.value("asset").isEmpty());
    EXPECT_TRUE(bytesOf(path()) == bytes);
    EXPECT_EQ(errorOf(open()->save(newRecord(name, "new"), QDateTime::currentDateTimeUtc())), serverRecordChanged);
}

TEST_F(RecordFileTest, ARecordThatDamageHidesIsNotTakenForMissing)
{
    ASSERT_EQ(put(name, "content"), 0);
    QByteArray bytes = bytesOf(path());
    constexpr qsizetype page = 4096;
    const qsizetype rows = bytes.lastIndexOf("TestType") / page * page; // the page with the row of the record, which stands at its end
    ASSERT_GT(rows, 0);
    writeFile(path(), bytes.replace(rows + page / 2, page / 2, QByteArray(page / 2, '\0')));
    EXPECT_TRUE(contentOf(name).startsWith("error 1: records.sqlite is damaged")) << contentOf(name).toStdString();
    EXPECT_EQ(errorOf(open()->save(newRecord(name, "new"), QDateTime::currentDateTimeUtc())), internalError);
    EXPECT_TRUE(bytesOf(path()) == bytes);
}

TEST_F(RecordFileTest, AnotherProgramMayLeaveTheChecksumOut)
{
    ASSERT_EQ(put(name, "1"), 0);
    ForeignConnection(path()).run("UPDATE assets SET bytes = x'32'; UPDATE records SET change_tag = 'mine', checksum = NULL");
    EXPECT_EQ(contentOf(name), "2");
    EXPECT_EQ(put(name, "3"), 0);
}

TEST_F(RecordFileTest, ACutFileIsToldOrHoldsTheRecord)
{
    ASSERT_EQ(put(name, "small"), 0);
    const QByteArray sound = bytesOf(path());
    for (qsizetype size = 1; size < sound.size(); size += 1024) {
        writeFile(path(), sound.first(size));
        const QByteArray content = contentOf(name);
        EXPECT_TRUE(content == "small" || content.startsWith("error 1: ")) << size << " " << content.toStdString();
        EXPECT_TRUE(bytesOf(path()) == sound.first(size));
    }
}

TEST_F(RecordFileTest, ALockedFileIsToldAndWorksAgain)
{
    ASSERT_EQ(put(name, "1"), 0);
    ForeignConnection other(path());
    other.run("BEGIN IMMEDIATE");
    int asked = 0;
    RecordFile file(path(), [&](int times) {
        EXPECT_EQ(times, asked);
        return ++asked < 3;
    });
    EXPECT_EQ(contentOf(file, name), "1"); // a writer holds up no reader
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(put(file, name, "2"), serviceUnavailable);
    EXPECT_GE(asked, 3);
    other.run("ROLLBACK");
    asked = 0;
    EXPECT_EQ(put(file, name, "3"), 0);
    EXPECT_EQ(contentOf(file, name), "3");
}

TEST_F(RecordFileTest, AWriterWaitsForItsTurn)
{
    ASSERT_EQ(put(name, "1"), 0);
    ForeignConnection other(path());
    other.run("BEGIN IMMEDIATE");
    RecordFile file(path(), [&](int times) {
        if (times == 5)
            other.run("COMMIT");
        return true;
    });
    EXPECT_EQ(put(file, name, "2"), 0);
}

TEST_F(RecordFileTest, ALogThatSomebodyTurnedOffIsTurnedOnAgain)
{
    ASSERT_EQ(put(name, "1"), 0);
    ForeignConnection other(path());
    EXPECT_EQ(other.ask("PRAGMA journal_mode=DELETE"), "delete");
    other.run("BEGIN; SELECT * FROM records");
    RecordFile file(path(), [&](int times) {
        if (times == 3)
            other.run("COMMIT"); // it cannot be turned on while others read
        return times < 10;
    });
    EXPECT_EQ(contentOf(file, name), "1");
    EXPECT_EQ(ForeignConnection(path()).ask("PRAGMA journal_mode"), "wal");
}

TEST_F(RecordFileTest, TagsFromBeforeAnOldCopyWasPutBackAreStale)
{
    ASSERT_EQ(put(name, "1"), 0);
    const QByteArray old = bytesOf(path());
    ASSERT_EQ(put(name, "2"), 0);
    const Record second = std::get<Record>(open()->fetch(name));
    writeFile(path(), old);
    ASSERT_EQ(put(name, "3"), 0);
    EXPECT_EQ(errorOf(open()->save(second, QDateTime::currentDateTimeUtc())), serverRecordChanged);
    EXPECT_EQ(contentOf(name), "3");
}

TEST_F(RecordFileTest, AssetsOfMoreThanFiftyMegabytesAreRefused)
{
    ASSERT_EQ(put(name, "1"), 0);
    EXPECT_EQ(put(name, QByteArray(50'000'001, 'x')), invalidArguments);
    EXPECT_EQ(contentOf(name), "1");
}

TEST_F(RecordFileTest, AnAssetThatIsTooLargeIsNeverTakenForNone)
{
    ASSERT_EQ(put(name, "1"), 0);
    ForeignConnection(path()).run("UPDATE assets SET bytes = zeroblob(50000001)");
    EXPECT_EQ(errorOf(open()->fetch(name)), networkFailure);
    const QList<Record> found = std::get<QList<Record>>(open()->query("TestType"));
    ASSERT_EQ(found.size(), 1);
    EXPECT_TRUE(found.first().assets.contains("asset"));
    EXPECT_EQ(found.first().texts, newRecord(name, "").texts);
}

TEST_F(RecordFileTest, WithoutAHomeFolderThereIsAnError)
{
    RecordFile file({}, [](int) { return false; });
    EXPECT_EQ(errorOf(file.save(newRecord(name, "1"), QDateTime::currentDateTimeUtc())), permissionFailure);
    EXPECT_EQ(errorOf(file.fetch(name)), permissionFailure);
}
