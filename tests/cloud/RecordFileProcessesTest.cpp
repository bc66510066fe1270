#include "tests/cloud/RecordFileFixture.h"
#include "tests/support/CountingChild.h"

#include <array>
#include <iostream>

using namespace lanterna;

namespace
{

const QString name = QStringLiteral("record");

constexpr int processes = 4;
// The sanitizers are slow, and have seen all steps after a few rounds.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int rounds = 10;
constexpr int mostSaves = 100;
#else
constexpr int rounds = 40;
constexpr int mostSaves = 400;
#endif

class RecordFileProcessesTest : public RecordFileFixture
{
protected:
    /// Runs the steps in several processes at once, each of which has a number, and returns how many of them succeeded.
    static int succeededOf(const std::function<bool(int number)> &steps)
    {
        std::array<pid_t, processes> children = {};
        for (int number = 0; number < processes; ++number)
            children[size_t(number)] = startChild([&] { return steps(number) ? 0 : 1; });
        int succeeded = 0;
        for (const pid_t child : children)
            succeeded += endOfChild(child) == 0 ? 1 : 0;
        return succeeded;
    }
    /// Counts up the number in the record, beginning anew whenever somebody else was faster.
    static bool countUp(RecordFile &file)
    {
        for (;;) {
            const auto found = file.fetch(name);
            const auto *record = std::get_if<Record>(&found);
            if (!record)
                return false;
            Record next = *record;
            next.assets["asset"] = QByteArray::number(record->assets.value("asset").toInt() + 1);
            const auto saved = file.save(next, QDateTime::currentDateTimeUtc());
            if (errorOf(saved) == 0)
                return true;
            if (errorOf(saved) != int(RecordErrorCode::serverRecordChanged))
                return false;
        }
    }
};

} // namespace

TEST_F(RecordFileProcessesTest, ProcessesThatCountInOneRecordLoseNoNumber)
{
    ASSERT_EQ(put(name, "0"), 0);
    const int succeeded = succeededOf([this](int number) {
        const auto file = open();
        bool counted = true;
        for (int round = 0; round < rounds && counted; ++round) {
            counted = countUp(*file);
            if (number % 2 == 0)
                file->close(); // some open and close it all the time
        }
        return counted;
    });
    EXPECT_EQ(succeeded, processes);
    EXPECT_EQ(contentOf(name), QByteArray::number(processes * rounds));
    EXPECT_EQ(ForeignConnection(path()).ask("PRAGMA integrity_check"), "ok");
}

TEST_F(RecordFileProcessesTest, ProcessesMayMakeTheFileAtTheSameTime)
{
    for (int round = 0; round < rounds / 4; ++round) {
        const int succeeded = succeededOf([this](int number) { return put(name + QString::number(number), "content") == 0; });
        EXPECT_EQ(succeeded, processes);
        const auto found = open()->query("TestType");
        EXPECT_EQ(std::get<QList<Record>>(found).size(), processes);
        ASSERT_TRUE(QFile::remove(path()));
        EXPECT_FALSE(QFile::exists(path("-wal")));
    }
}

TEST_F(RecordFileProcessesTest, OfProcessesThatCreateARecordOneWins)
{
    for (int round = 0; round < rounds / 4; ++round) {
        const Record record = newRecord(name + QString::number(round), "content");
        EXPECT_EQ(succeededOf([&](int) { return errorOf(open()->save(record, QDateTime::currentDateTimeUtc())) == 0; }), 1);
    }
}

TEST_F(RecordFileProcessesTest, KillsAtAnyMomentLoseNoAcceptedSave)
{
    std::mt19937 random(20260301); // NOLINT(cert-msc51-cpp): the same rounds each time, as far as they can be
    const QByteArray padding(30'000, 'x');
    ASSERT_EQ(put(name, "0"), 0);
    int kills = 0;
    int logs = 0;
    int last = 0;
    while (last < mostSaves && !HasFailure()) {
        CountingChild victim(last + 1, [&, file = std::shared_ptr(open())](int number) {
            const bool saved = put(*file, name, QByteArray::number(number) + ' ' + padding) == 0;
            if (number % 2 == 0)
                file->close();
            return saved;
        });
        const int certain = victim.killSomewhere(random);
        logs += QFile::exists(path("-wal")) ? 1 : 0;
        const QByteArray content = contentOf(name);
        last = content.split(' ').first().toInt();
        EXPECT_TRUE(last == certain || last == certain + 1) << certain << " was certain, there is " << content.first(20).toStdString();
        EXPECT_EQ(content.size() - padding.size(), QByteArray::number(last).size() + 1);
        ++kills;
    }
    EXPECT_GT(logs, 0); // or no kill came while the file was open, and this test shows nothing
    EXPECT_EQ(ForeignConnection(path()).ask("PRAGMA integrity_check"), "ok");
    std::cout << kills << " kills, " << logs << " of them left a log behind\n";
}

TEST_F(RecordFileProcessesTest, AKillWhileTheFileIsMadeCostsNothing)
{
    std::mt19937 random(20260302); // NOLINT(cert-msc51-cpp)
    for (int round = 0; round < rounds; ++round) {
        const pid_t child = startChild([this] { return put(name, "1"); });
        volatile int turns = int(random() % 3'000'000); // of a loop that takes about as long as a save
        while (turns > 0)
            turns = turns - 1;
        ::kill(child, SIGKILL);
        (void)endOfChild(child);
        EXPECT_EQ(put(name, "2"), 0);
        EXPECT_EQ(contentOf(name), "2");
        ASSERT_TRUE(QFile::remove(path()));
    }
}
