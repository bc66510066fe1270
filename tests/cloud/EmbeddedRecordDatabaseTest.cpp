#include "cloud/EmbeddedRecordDatabase.h"

#include "tests/cloud/RecordDatabaseContract.h"
#include "tests/cloud/RecordFileFixture.h"

#include <atomic>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class EmbeddedStoreUnderTest : public StoreUnderTest
{
public:
    std::unique_ptr<RecordDatabase> makeDatabase(Dispatch &dispatch) override { return std::make_unique<EmbeddedRecordDatabase>(dispatch, path()); }

    bool remove(const QString &recordName) override
    {
        ForeignConnection other(path());
        other.run(qPrintable(QStringLiteral("PRAGMA foreign_keys=ON; DELETE FROM records WHERE name = '%1'").arg(recordName)));
        return other.ask("SELECT changes()") == "1";
    }

private:
    [[nodiscard]] QString path() const { return m_folder.filePath("data/lanterna/records.sqlite"); }

    MemoryFolder m_folder;
};

/// A dispatch on whose clock a hundred times as much time passes.
class HastyDispatch : public QtDispatch
{
public:
    [[nodiscard]] std::chrono::nanoseconds steadyNow() const override { return QtDispatch::steadyNow() * 100; }
};

/// A dispatch that counts how often a task waits.
class CountingDispatch : public QtDispatch
{
public:
    [[nodiscard]] bool sleepFor(std::chrono::nanoseconds duration) override
    {
        ++sleeps;
        return QtDispatch::sleepFor(duration);
    }

    std::atomic<int> sleeps = 0;
};

class EmbeddedRecordDatabaseTest : public RecordFileFixture
{
protected:
    void TearDown() override
    {
        database.reset();
        EXPECT_TRUE(dispatch.shutDown(10s));
    }

    /// The number of the error of a save, or 0.
    int save(const QByteArray &content)
    {
        std::optional<RecordResult<Record>> answer;
        database->saveRecord(newRecord("record", content), [&](const auto &result) { answer = result; });
        EXPECT_TRUE(runUntil([&] { return answer.has_value(); }));
        words = QString::fromStdString(wordsOf(*answer));
        return errorOf(*answer);
    }
    /// How many of this process's descriptors are the file's or its side files'.
    [[nodiscard]] qsizetype openFiles() const
    {
        const QFileInfoList all = QDir("/proc/self/fd").entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
        return std::ranges::count_if(all, [&](const QFileInfo &each) { return each.symLinkTarget().startsWith(path()); });
    }

    HastyDispatch dispatch;
    std::unique_ptr<EmbeddedRecordDatabase> database = std::make_unique<EmbeddedRecordDatabase>(dispatch, path());
    QString words;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Embedded, RecordDatabaseContractTest,
    testing::Values(RecordBackend{"Embedded", [] { return std::make_unique<EmbeddedStoreUnderTest>(); }}), RecordBackend::nameOf);

TEST_F(EmbeddedRecordDatabaseTest, AnIdleDatabaseHasNothingOpen)
{
    EXPECT_FALSE(QFile::exists(folder()));
    EXPECT_EQ(save("1"), 0);
    EXPECT_TRUE(runUntil([&] { return openFiles() == 0; }));
    EXPECT_TRUE(QFile::exists(path()));
    EXPECT_FALSE(QFile::exists(path("-wal")));
}

TEST_F(EmbeddedRecordDatabaseTest, AFileThatStaysLockedIsToldInWords)
{
    ASSERT_EQ(put("record", "1"), 0);
    {
        ForeignConnection other(path());
        other.run("BEGIN IMMEDIATE");
        EXPECT_EQ(save("2"), int(RecordErrorCode::serviceUnavailable));
        EXPECT_EQ(words, "records.sqlite is kept locked by another program");
    }
    EXPECT_EQ(save("2"), int(RecordErrorCode::serverRecordChanged)); // it works again
}

TEST_F(EmbeddedRecordDatabaseTest, ADatabaseThatIsDroppedWaitsForNobody)
{
    ASSERT_EQ(put("record", "1"), 0);
    ForeignConnection other(path());
    other.run("BEGIN IMMEDIATE");
    CountingDispatch counting;
    database = std::make_unique<EmbeddedRecordDatabase>(counting, path());
    bool answered = false;
    for (int call = 0; call < 3; ++call)
        database->saveRecord(newRecord("other", "2"), [&](const auto &) { answered = true; });
    EXPECT_TRUE(runUntil([&] { return counting.sleeps > 3; }));
    database.reset();
    const int sleeps = counting.sleeps;
    std::this_thread::sleep_for(50ms);
    EXPECT_LE(counting.sleeps, sleeps + 1); // the one that was about to begin
    EXPECT_TRUE(counting.shutDown(10s));
    EXPECT_FALSE(answered);
}

TEST_F(EmbeddedRecordDatabaseTest, TheEndOfTheProgramWaitsForNobody)
{
    ASSERT_EQ(put("record", "1"), 0);
    ForeignConnection other(path());
    other.run("BEGIN IMMEDIATE");
    CountingDispatch counting;
    database = std::make_unique<EmbeddedRecordDatabase>(counting, path());
    database->saveRecord(newRecord("other", "2"), [](const auto &) {});
    EXPECT_TRUE(runUntil([&] { return counting.sleeps > 3; }));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(counting.shutDown(10s));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 4s); // where the call would wait for five
    database.reset();
}
