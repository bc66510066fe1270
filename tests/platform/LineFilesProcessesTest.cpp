#include "platform/Json.h"
#include "platform/LineFiles.h"
#include "tests/support/CountingChild.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QVariantMap>

#include <array>
#include <iostream>
#include <map>
#include <numeric>

using namespace lanterna;

namespace
{

const QString name = QStringLiteral("day.jsonl");

// The sanitizers are slow, and have seen all steps after a few rounds.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int linesOfEach = 500;
#else
constexpr int linesOfEach = 5000;
#endif

/// A line as JSON. Made by hand: for a killed writer as much of the time as possible is to be that of the append.
QByteArray lineOf(int writer, int number, const QByteArray &padding)
{
    return R"({"writer":)" + QByteArray::number(writer) + R"(,"number":)" + QByteArray::number(number) + R"(,"padding":")" + padding + R"("})";
}

/// What a reader finds in a file.
struct Found {
    std::map<qlonglong, std::vector<qlonglong>> numbers; ///< of each writer, in order
    int torn = 0; ///< lines that are none
};

class LineFilesProcessesTest : public testing::Test
{
protected:
    [[nodiscard]] LineFiles files() const { return LineFiles(m_folder.path()); }

    static bool isWhole(const QByteArray &line) { return parseJson(line).has_value(); }
    /// How many bytes at the end are no whole line.
    [[nodiscard]] qint64 unread() const { return QFileInfo(m_folder.filePath(name)).size() - m_read; }

    /// Reads what has been added since the last time, but for what is no whole line yet.
    [[nodiscard]] Found readOn()
    {
        QFile file(m_folder.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly) && file.seek(m_read));
        QList<QByteArray> lines = file.readAll().split('\n');
        // A kill may come between a line's last character and its line feed.
        m_read = file.size() - (isWhole(lines.last()) ? 0 : lines.last().size());
        if (!isWhole(lines.last()))
            lines.removeLast();
        Found found;
        for (const QByteArray &line : std::as_const(lines)) {
            const QVariantMap members = parseJson(line).value_or(QVariant()).toMap();
            if (members.size() == 3)
                found.numbers[members.value(QStringLiteral("writer")).toLongLong()].push_back(members.value(QStringLiteral("number")).toLongLong());
            else if (!line.isEmpty())
                ++found.torn;
        }
        return found;
    }

    QTemporaryDir m_folder;

private:
    qint64 m_read = 0;
};

std::vector<qlonglong> counting(int from, size_t count)
{
    std::vector<qlonglong> numbers(count);
    std::iota(numbers.begin(), numbers.end(), from);
    return numbers;
}

TEST_F(LineFilesProcessesTest, LinesOfSeveralProcessesAreAllWhole)
{
    constexpr int writers = 3;
    std::array<pid_t, writers> processes = {};
    for (int writer = 0; writer < writers; ++writer) {
        processes[size_t(writer)] = startChild([this, writer] {
            bool appended = true;
            for (int number = 0; number < linesOfEach; ++number)
                appended = !files().append(name, lineOf(writer, number, QByteArray(number * 7919 % 5000, 'x'))) && appended;
            return appended ? 0 : 1;
        });
    }
    for (const pid_t process : processes)
        EXPECT_EQ(endOfChild(process), 0);
    const Found found = readOn();
    EXPECT_EQ(found.torn, 0);
    EXPECT_EQ(unread(), 0);
    EXPECT_EQ(found.numbers.size(), size_t(writers));
    for (const auto &[writer, numbers] : found.numbers)
        EXPECT_EQ(numbers, counting(0, linesOfEach)) << writer;
}

TEST_F(LineFilesProcessesTest, KillsAmidAThousandAppendsTearAtMostTheLineThatIsWritten)
{
    const QByteArray padding(100'000, 'x'); // so long that many kills come while the line is written
    std::mt19937 random(20260301); // NOLINT(cert-msc51-cpp): the same rounds each time, as far as they can be
    int kills = 0;
    int torn = 0;
    for (int next = 0; next < stepsAmidKills && !HasFailure(); ++kills) {
        CountingChild victim(next, [&](int number) { return !files().append(name, lineOf(1, number, padding)); });
        const int certain = victim.killSomewhere(random) - next + 1;

        const Found found = readOn();
        const std::vector<qlonglong> numbers = found.numbers.count(1) == 0 ? std::vector<qlonglong>() : found.numbers.at(1);
        EXPECT_EQ(numbers, counting(next, numbers.size())); // none lost, none twice
        EXPECT_TRUE(int(numbers.size()) == certain || int(numbers.size()) == certain + 1) << certain << " of " << numbers.size();
        EXPECT_LE(found.torn, 1); // that of the process before
        torn += found.torn;
        next += int(numbers.size());
    }
    std::cout << kills << " kills, " << torn << " torn lines\n";
}

} // namespace
