#include "tests/platform/SettingsFolder.h"

#include <array>
#include <csignal>
#include <random>

#include <fcntl.h>

using namespace lanterna;

namespace
{

const QString table = QStringLiteral("table");

// A process under a sanitizer takes a hundred times as long to fork, and the sanitizer has seen all steps after a few rounds.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int killRounds = 100;
#else
constexpr int killRounds = 1000;
#endif

QString name(const char *text)
{
    return QString::fromLatin1(text);
}

/// A process that writes settings without pause, and tells after each write that has returned.
class Writer
{
public:
    /// What has been written when a report arrives: the n-th value of the small or of the large setting.
    struct Report {
        qlonglong small = 0;
        qlonglong large = 0;
    };

    /// Starts the process; `steps` runs there and gets a function that sends a report.
    explicit Writer(const std::function<void(const std::function<void(Report)> &)> &steps)
    {
        std::array<int, 2> ends = {};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        m_process = ::fork();
        if (m_process == 0) {
            ::close(ends[0]);
            steps([&](Report report) { (void)!::write(ends[1], &report, sizeof(report)); });
            ::_exit(0);
        }
        ::close(ends[1]);
        m_reports = ends[0];
    }
    ~Writer()
    {
        kill();
        ::close(m_reports);
    }
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

    /// Waits for so many reports.
    void await(int count)
    {
        while (count-- > 0)
            ASSERT_TRUE(take());
    }
    /// Ends the process wherever it is, and takes the reports that it had sent.
    void kill()
    {
        if (m_process <= 0)
            return;
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
        m_process = 0;
        while (take()) { }
    }
    /// Takes the reports that are there.
    void takeSent()
    {
        ::fcntl(m_reports, F_SETFL, O_NONBLOCK);
        while (take()) { }
        ::fcntl(m_reports, F_SETFL, 0);
    }
    [[nodiscard]] Report last() const { return m_last; }

private:
    bool take() { return ::read(m_reports, &m_last, sizeof(m_last)) == ssize_t(sizeof(m_last)); }

    pid_t m_process = 0;
    int m_reports = -1;
    Report m_last;
};

class SettingsProcessesTest : public SettingsFolder
{
protected:
    /// Counts up two settings of its own, one of them too large for settings.json.
    void countUp(const QString &who, const std::function<void(Writer::Report)> &report)
    {
        FakeSystemLog quiet;
        SettingsStore store(folder(), quiet);
        Writer::Report count = {store.integer(who), numberOf(store, who)};
        for (;;) {
            store.setValue(who, count.small + 1);
            ++count.small;
            report(count);
            store.setValue(who + table, largeDictionary(count.large + 1));
            ++count.large;
            report(count);
        }
    }
    static qlonglong numberOf(const SettingsStore &store, const QString &who)
    {
        return store.dictionary(who + table).value(QStringLiteral("number")).toLongLong();
    }
    [[nodiscard]] bool hasDebris() const { return files().contains(name("settings.json.new")) || sideFiles().size() > 2; }
};

TEST_F(SettingsProcessesTest, FourWritersAtOnceLoseNothing)
{
    constexpr int writers = 4;
    constexpr int rounds = 100;
    std::array<pid_t, writers> processes = {};
    for (int writer = 0; writer < writers; ++writer) {
        processes[size_t(writer)] = ::fork();
        if (processes[size_t(writer)] != 0)
            continue;
        const auto store = open();
        bool written = true;
        for (int round = 0; round < rounds; ++round) {
            written = written && store->setValue(QStringLiteral("writer %1 round %2").arg(writer).arg(round), round);
            if (round % 10 == 0)
                written = written && store->setValue(table + QString::number(writer), largeDictionary(round));
        }
        ::_exit(written && log.lines().isEmpty() ? 0 : 1);
    }
    for (const pid_t process : processes) {
        int status = -1;
        ::waitpid(process, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(open()->keys().size(), writers * (rounds + 1));
    EXPECT_EQ(open()->dictionary(name("table3")), largeDictionary(90));
    EXPECT_EQ(sideFiles().size(), writers);
}

TEST_F(SettingsProcessesTest, KillsAtAnyMomentLoseNoCompletedWrite)
{
    constexpr int mostReports = 3; // before a kill
    constexpr int mostTurns = 20'000; // of the loop that shifts the kill within the next write, some 50 us
    std::mt19937 random(20260301); // NOLINT(cert-msc51-cpp): the same rounds each time, as far as they can be
    Writer bystander([this](const auto &report) { countUp(name("bystander"), report); });
    int interrupted = 0;
    for (int round = 0; round < killRounds && !HasFailure(); ++round) {
        Writer victim([this](const auto &report) { countUp(name("victim"), report); });
        victim.await(1 + int(random() % mostReports));
        volatile int turns = int(random() % mostTurns);
        while (turns > 0)
            turns = turns - 1;
        victim.kill();
        bystander.takeSent();
        interrupted += hasDebris() ? 1 : 0;

        const auto store = open();
        const auto isLastOrNext = [](qlonglong found, qlonglong reported) { return found == reported || found == reported + 1; };
        EXPECT_TRUE(isLastOrNext(store->integer(name("victim")), victim.last().small)) << "round " << round;
        EXPECT_TRUE(isLastOrNext(numberOf(*store, name("victim")), victim.last().large)) << "round " << round;
        EXPECT_GE(store->integer(name("bystander")), bystander.last().small) << "round " << round;
        EXPECT_GE(numberOf(*store, name("bystander")), bystander.last().large) << "round " << round;
    }
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join(u'\n').toStdString();
    EXPECT_GT(interrupted, 0); // or no kill came between the steps of a write, and this test shows nothing
    RecordProperty("interrupted", interrupted);
    std::cout << "kills that left a half-done write behind: " << interrupted << '\n';
    EXPECT_GT(bystander.last().small, killRounds);
}

TEST_F(SettingsProcessesTest, AnotherProcessChangesAreNoticed)
{
    const auto store = open();
    QStringList reports;
    store->setChangeObserver([&](const QString &key, bool external) { reports.append(external ? key : name("own")); });
    EXPECT_EQ(inChild([this] { return open()->setValue(name("whichIP"), 2) ? 0 : 1; }), 0);
    store->noticeChanges();
    store->noticeChanges();
    EXPECT_EQ(reports, QStringList{name("whichIP")});
}

} // namespace
