#include "publish/HistoryReader.h"
#include "tests/publish/HistoryTexts.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace lanterna;

namespace
{

HistoryDay read(const QByteArray &text)
{
    QBuffer buffer;
    buffer.setData(text);
    buffer.open(QIODevice::ReadOnly);
    return readHistoryDay(testDay, buffer);
}

const QByteArray phone = deviceText("AA:00:00:00:00:01", "192.168.1.20", "Phone");
const QByteArray printer = deviceText("AA:00:00:00:00:02", "192.168.1.30", "Printer");

QStringList namesOfLast(const HistoryDay &day)
{
    QStringList names;
    if (!day.observations.empty()) {
        for (const quint32 sighting : day.tables[day.observations.back().table])
            names.append(QString::fromStdString(day.sightings[sighting].name));
    }
    return names;
}

TEST(HistoryReader, ALineTellsItsMomentNetworkAndDevices)
{
    const HistoryDay day = read(lineText(at(8, 30) + 250, {phone, printer}));
    ASSERT_EQ(day.observations.size(), 1U);
    EXPECT_EQ(day.observations[0].time, at(8, 30) + 250);
    EXPECT_EQ(day.networks, (std::vector<HistoryNetwork>{{"Harbour", "192.168.1"}}));
    EXPECT_EQ(day.sightings,
        (std::vector<HistorySighting>{{"AA:00:00:00:00:01", "192.168.1.20", "Phone", ""}, {"AA:00:00:00:00:02", "192.168.1.30", "Printer", ""}}));
    EXPECT_EQ(day.tables, (std::vector<std::vector<quint32>>{{0, 1}}));
    EXPECT_EQ(day.brokenLines, 0U);
}

TEST(HistoryReader, MembersAndDevicesMayStandInAnyOrderWithOthersBetween)
{
    const HistoryDay day = read(R"({"v":1.0, "extra":{"devices":[1,{"a":[]}]}, "ts":)" + QByteArray::number(at(1, 0) / 1000)
        + R"(, "subnet":"192.168.1", "devices":[ {"type":"iPhone", "ip":"192.168.1.20", "x":[[{}]], "mac":"AA"} ], "ssid":"Caf\u00e9"} )" + "\r\n");
    ASSERT_EQ(day.observations.size(), 1U);
    EXPECT_EQ(day.networks, (std::vector<HistoryNetwork>{{"Café", "192.168.1"}}));
    EXPECT_EQ(day.sightings, (std::vector<HistorySighting>{{"AA", "192.168.1.20", "", "iPhone"}}));
}

TEST(HistoryReader, ADeviceWithoutANameGoesByItsDnsName)
{
    const HistoryDay day = read(lineText(at(1, 0),
        {deviceText("AA", "192.168.1.20", "", R"(,"dns":"phone.lan")"),
            deviceText("BB", "192.168.1.21", "192.168.1.21", R"(,"dns":"192.168.1.21")")}));
    EXPECT_EQ(namesOfLast(day), (QStringList{"phone.lan", ""}));
}

TEST(HistoryReader, ANameThatShowsNothingIsNone)
{
    for (const char *name : {" ", "\u200b\u200d\u2060", "\\u0000\\u001b\\u007f", "\u00a0\u3000\\t", "\u3164", "\u2800"}) {
        const HistoryDay day = read(lineText(at(1, 0),
            {deviceText("AA", "192.168.1.20", name, R"(,"dns":"phone.lan")"), deviceText("BB", "192.168.1.21", name),
                deviceText("CC", "192.168.1.22", name, R"(,"dns":")" + QByteArray(name) + "\"")}));
        EXPECT_EQ(namesOfLast(day), (QStringList{"phone.lan", "", ""})) << name;
    }
}

TEST(HistoryReader, LinesComeByTimeAlsoWhenTheClockWentBack)
{
    const HistoryDay day =
        read(lineText(at(12, 0), {phone}) + lineText(at(11, 0), {printer}) + lineText(at(13, 0), {}) + lineText(at(12, 0), {printer}));
    std::vector<qint64> times;
    for (const HistoryObservation &observation : day.observations)
        times.push_back(observation.time);
    EXPECT_EQ(times, (std::vector<qint64>{at(11, 0), at(12, 0), at(12, 0), at(13, 0)}));
    EXPECT_EQ(day.observations[1].table, 0U) << "of two lines of one moment, the one that was written first comes first";
}

TEST(HistoryReader, TornAndForeignLinesAreCountedAndTheRestSurvives)
{
    const QByteArray whole = lineText(at(2, 0), {phone, printer});
    for (const QByteArray &broken : {whole.left(whole.size() / 2) + "\n", whole.chopped(2) + "\n", whole.left(40) + whole, whole.chopped(1) + "x\n",
             whole.chopped(1) + whole, QByteArray("[]\n"), QByteArray("null\n"), QByteArray("{}\n"), QByteArray("{\"v\":1}\n"),
             QByteArray("\0\0\0\n", 4), QByteArray("{\"ssid\":\"\xff\"}\n"), QByteArray(whole).replace("[{", "[7,{"),
             QByteArray(whole).replace("[{", "{\"a\":{").replace("}]", "}}"), QByteArray(whole).replace("\"mac\":", "\"mac\""),
             QByteArray(whole).replace("\"ts\":", "\"ts\":\"x\",\"t\":")}) {
        const HistoryDay day = read(lineText(at(1, 0), {phone}) + broken + lineText(at(3, 0), {printer}));
        EXPECT_EQ(day.brokenLines, 1U) << broken.constData();
        EXPECT_EQ(day.observations.size(), 2U) << broken.constData();
        EXPECT_EQ(namesOfLast(day), QStringList{"Printer"});
    }
}

TEST(HistoryReader, TheLastLineMayLackItsLineEnd)
{
    const QByteArray whole = lineText(at(2, 0), {phone});
    EXPECT_EQ(read(whole.chopped(1)).observations.size(), 1U);
    EXPECT_EQ(read(whole.chopped(2)).observations.size(), 0U);
    EXPECT_EQ(read(whole.chopped(2)).brokenLines, 1U);
}

TEST(HistoryReader, ALastLineCountsAsItWillOnceTheNextWriterHasClosedItOff)
{
    const QByteArray first = lineText(at(1, 0), {phone});
    const QByteArray whole = lineText(at(2, 0), {phone, printer});
    for (qsizetype length = 0; length < whole.size(); ++length) {
        const HistoryDay torn = read(first + whole.left(length));
        const HistoryDay closed = read(first + whole.left(length) + "\n");
        EXPECT_EQ(torn.observations.size(), closed.observations.size()) << length;
        EXPECT_EQ(torn.brokenLines, closed.brokenLines) << length;
        EXPECT_EQ(torn.observations.size(), length == whole.size() - 1 ? 2U : 1U) << length;
    }
}

TEST(HistoryReader, OtherVersionsAreCountedApart)
{
    const HistoryDay day = read(lineText(at(1, 0), {phone}, "Harbour", "192.168.1", "2") + R"({"v":3,"devices":"none"})" + "\n"
        + R"({"devices":{"other":"form"},"v":2})" + "\n" + lineText(at(2, 0), {phone}, "Harbour", "192.168.1", "\"1\""));
    EXPECT_EQ(day.otherVersions, 3U);
    EXPECT_EQ(day.brokenLines, 1U) << "a version that is no number";
    EXPECT_TRUE(day.observations.empty());
}

TEST(HistoryReader, ALineOfAnotherDayThanItsFileDoesNotCount)
{
    const HistoryDay day = read(lineText(at(0, 0) - 1, {phone}) + lineText(at(24, 0), {phone}) + lineText(at(0, 0), {phone}));
    EXPECT_EQ(day.brokenLines, 2U);
    EXPECT_EQ(day.observations.size(), 1U);
}

TEST(HistoryReader, MomentsBeyondAllDaysAreBroken)
{
    for (const char *moment : {"1e300", "-1e300", "1e400", "null", "true"})
        EXPECT_EQ(read(QByteArray(R"({"devices":[],"ts":)") + moment + ",\"v\":1}\n").brokenLines, 1U) << moment;
}

TEST(HistoryReader, DevicesWithoutAddressOrWithOddMembersAreLeftOut)
{
    const HistoryDay day = read(lineText(at(1, 0), {R"({"mac":7,"ip":null,"name":["x"]})", R"({})", R"({"mac":7,"ip":"192.168.1.9","name":{}})"}));
    EXPECT_EQ(day.brokenLines, 0U);
    EXPECT_EQ(day.sightings, (std::vector<HistorySighting>{{"", "192.168.1.9", "", ""}}));
}

TEST(HistoryReader, LongTextsAreCutAtACharacter)
{
    QByteArray name(254, 'x');
    name += "éé";
    const HistoryDay day = read(lineText(at(1, 0), {deviceText("AA", "192.168.1.9", name)}));
    EXPECT_EQ(day.sightings.at(0).name, std::string(254, 'x'));
}

TEST(HistoryReader, ATableThatRepeatsIsThereOnce)
{
    const HistoryDay day = read(lineText(at(1, 0), {phone, printer}) + lineText(at(2, 0), {phone, printer}) + lineText(at(3, 0), {printer})
        + lineText(at(4, 0), {phone, printer}));
    EXPECT_EQ(day.observations.size(), 4U);
    EXPECT_EQ(day.observations[0].table, day.observations[1].table);
    EXPECT_EQ(day.tables, (std::vector<std::vector<quint32>>{{0, 1}, {1}, {0, 1}}));
    EXPECT_EQ(day.sightings.size(), 2U);
}

TEST(HistoryReader, LinesLongerThanTheBufferAreReadAndOverlongOnesSkipped)
{
    QList<QByteArray> many;
    for (int number = 0; number < 15'000; ++number)
        many.append(deviceText(QByteArray::number(number), "192.168.1.1", QByteArray(60, 'n')));
    const QByteArray large = lineText(at(1, 0), many);
    ASSERT_GT(large.size(), 1 << 20);
    const QByteArray padding = R"(,"name":")" + QByteArray(longestHistoryLine, 'x') + R"(")";
    const QByteArray overlong = lineText(at(2, 0), {deviceText("AA", "192.168.1.1", "", padding)});
    const HistoryDay day = read(lineText(at(0, 0), {phone}) + large + overlong + lineText(at(3, 0), {printer}) + overlong.chopped(1));
    EXPECT_EQ(day.observations.size(), 3U);
    EXPECT_EQ(day.brokenLines, 2U);
    EXPECT_EQ(day.tables.at(1).size(), 15'000U);
    EXPECT_EQ(namesOfLast(day), QStringList{"Printer"});
}

TEST(HistoryReader, ADayKeepsABoundedNumberOfSightingsAndNetworks)
{
    QByteArray text;
    for (int line = 0; line < 6; ++line) {
        QList<QByteArray> many;
        for (int number = 0; number < 10'000; ++number)
            many.append(deviceText("AA", "192.168.1.1", QByteArray::number(line * 10'000 + number)));
        text += lineText(at(1, line), many);
    }
    for (int number = 0; number < 300; ++number)
        text += lineText(at(2, 0), {}, QByteArray::number(number));
    const HistoryDay day = read(text);
    EXPECT_EQ(day.sightings.size(), mostHistorySightings);
    EXPECT_EQ(day.sightingsLeftOut, 60'000 - mostHistorySightings);
    EXPECT_EQ(day.networks.size(), mostHistoryNetworks);
    EXPECT_EQ(day.brokenLines, 301U - mostHistoryNetworks);
}

/// A socket in the file system, which is removed with its folder.
class UnixSocket
{
public:
    explicit UnixSocket(const QString &path) : m_descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, path.toUtf8().constData(), sizeof address.sun_path);
        EXPECT_EQ(::bind(m_descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    ~UnixSocket() { ::close(m_descriptor); }
    UnixSocket(const UnixSocket &) = delete;
    UnixSocket &operator=(const UnixSocket &) = delete;

private:
    int m_descriptor;
};

/// A folder of files.
class HistoryFolder : public testing::Test
{
protected:
    QTemporaryDir m_folder;

    void write(const QString &name, const QByteArray &text)
    {
        QFile file(m_folder.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }

    QStringList fileNames(QDate first, QDate last)
    {
        QStringList names;
        for (const HistoryFile &file : historyFiles(m_folder.path(), first, last))
            names.append(QFileInfo(file.path).fileName());
        return names;
    }
};

TEST_F(HistoryFolder, FilesComeByDayAndOthersDoNotCount)
{
    for (const char *name : {"snap-2026-11-15.jsonl", "snap-2026-09-30.jsonl", "snap-2026-10-01.jsonl", "notes.txt", "snap-x.jsonl",
             "snap-2026-11-16.jsonl", "snap-2026-11-14.jsonl.tmp"})
        write(name, {});
    QDir(m_folder.path()).mkdir("snap-2026-11-13.jsonl");
    EXPECT_EQ(fileNames(QDate(2026, 10, 1), testDay), (QStringList{"snap-2026-10-01.jsonl", "snap-2026-11-15.jsonl"}));
    EXPECT_TRUE(historyFiles(m_folder.filePath("none"), QDate(1, 1, 1), testDay).isEmpty());
    EXPECT_TRUE(historyFiles({}, QDate(1, 1, 1), testDay).isEmpty());
}

TEST_F(HistoryFolder, WhatStandsInAFilesPlaceComesWithTheFiles)
{
    ASSERT_EQ(::mkfifo(m_folder.filePath("snap-2026-11-11.jsonl").toUtf8().constData(), 0600), 0);
    const UnixSocket listening(m_folder.filePath("snap-2026-11-12.jsonl"));
    ASSERT_TRUE(QFile::link("/dev/zero", m_folder.filePath("snap-2026-11-13.jsonl")));
    ASSERT_TRUE(QFile::link("nowhere", m_folder.filePath("snap-2026-11-14.jsonl")));
    ASSERT_EQ(::mkfifo(m_folder.filePath("pipe").toUtf8().constData(), 0600), 0);
    EXPECT_EQ(fileNames(QDate(2026, 10, 1), testDay),
        (QStringList{"snap-2026-11-11.jsonl", "snap-2026-11-12.jsonl", "snap-2026-11-13.jsonl", "snap-2026-11-14.jsonl"}));
}

TEST_F(HistoryFolder, DaysComeInOrderWhateverTheThreads)
{
    const QDate first = testDay.addDays(-39);
    for (int day = 0; day < 40; ++day) {
        QByteArray text;
        for (int line = 0; line < (day % 7 == 0 ? 500 : 3); ++line)
            text += lineText(testMidnight(first.addDays(day)) + line * 1000, {phone});
        write(first.addDays(day).toString("'snap-'yyyy-MM-dd'.jsonl'"), text);
    }
    for (const unsigned threads : {0U, 1U, 2U, 5U}) {
        QDate expected = first;
        std::size_t lines = 0;
        readHistory(historyFiles(m_folder.path(), first, testDay), threads, [&](const HistoryDay &day) {
            EXPECT_EQ(day.day, expected);
            expected = expected.addDays(1);
            lines += day.observations.size();
        });
        EXPECT_EQ(expected, testDay.addDays(1));
        EXPECT_EQ(lines, 6U * 500 + 34 * 3);
    }
}

TEST_F(HistoryFolder, AFileThatCannotBeReadSaysSoAndTheNextIsRead)
{
    write("snap-2026-11-15.jsonl", lineText(at(1, 0), {phone}));
    // A file that is gone once its name was read; permissions do not bind the user whom tests may run as.
    const QList<HistoryFile> files = {
        {testDay.addDays(-1), m_folder.filePath("snap-2026-11-14.jsonl")}, {testDay, m_folder.filePath("snap-2026-11-15.jsonl")}};
    std::vector<std::pair<bool, std::size_t>> seen;
    readHistory(files, 2, [&](const HistoryDay &day) { seen.emplace_back(day.error.isEmpty(), day.observations.size()); });
    EXPECT_EQ(seen, (std::vector<std::pair<bool, std::size_t>>{{false, 0}, {true, 1}}));
}

TEST_F(HistoryFolder, WhatIsNoRegularFileIsAnErrorAndHoldsNothingUp)
{
    const QString sound = m_folder.filePath("snap-2026-11-15.jsonl");
    write("snap-2026-11-15.jsonl", lineText(at(1, 0), {phone}));
    const QString pipe = m_folder.filePath("pipe");
    ASSERT_EQ(::mkfifo(pipe.toUtf8().constData(), 0600), 0);
    const QString socket = m_folder.filePath("socket");
    const UnixSocket listening(socket);
    QStringList others = {pipe, socket, m_folder.path(), "/dev/zero"};
    for (const QString &target : {pipe, QString("/dev/zero"), sound}) {
        others.append(m_folder.filePath("link %1").arg(others.size()));
        ASSERT_TRUE(QFile::link(target, others.last()));
    }
    for (const QString &other : others) {
        std::vector<std::size_t> lines;
        readHistory({{testDay.addDays(-1), other}, {testDay, sound}}, 2, [&](const HistoryDay &day) {
            lines.push_back(day.observations.size());
            EXPECT_EQ(day.error, day.day == testDay ? "" : "Not a regular file") << other.toStdString();
        });
        EXPECT_EQ(lines, (std::vector<std::size_t>{0, 1})) << other.toStdString();
    }
}

TEST_F(HistoryFolder, AFileWhoseBytesCannotBeReadSaysSo)
{
    // Opens, but nothing is mapped at its beginning.
    readHistory({{testDay, "/proc/self/mem"}}, 0, [](const HistoryDay &day) {
        EXPECT_EQ(day.error, "Input/output error");
        EXPECT_TRUE(day.observations.empty());
    });
}

} // namespace
