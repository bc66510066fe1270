#include "platform/Json.h"
#include "publish/HistoryFormat.h"
#include "tests/publish/HistoryTexts.h"
#include "tests/support/ProgramRun.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace lanterna;

namespace
{

/// `lanternactl history` as people run it, with a history of its own. The program takes the time from the clock, so lines are so many minutes old.
class HistoryProgram : public testing::Test
{
protected:
    QTemporaryDir m_home;
    const QDateTime m_now = QDateTime::currentDateTimeUtc();

    [[nodiscard]] QString folder() const { return m_home.filePath("data/group.Rangefinder/SnapshotHistory"); }
    [[nodiscard]] qint64 ago(int minutes) const { return m_now.addSecs(-60 * minutes).toMSecsSinceEpoch(); }
    [[nodiscard]] static QString fileOf(qint64 time) { return historyFileName(QDateTime::fromMSecsSinceEpoch(time, Qt::UTC).date()); }

    void write(int minutesAgo, const QList<QByteArray> &devices, const QByteArray &ssid = "Harbour")
    {
        ASSERT_TRUE(QDir().mkpath(folder()));
        QFile file(folder() + u'/' + fileOf(ago(minutesAgo)));
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write(lineText(ago(minutesAgo), devices, ssid));
    }

    ProgramResult run(const QByteArrayList &options, const char *outputFile = nullptr)
    {
        const QByteArrayList environment = {"HOME=" + m_home.path().toUtf8(), "XDG_DATA_HOME=" + m_home.filePath("data").toUtf8(),
            "XDG_CONFIG_HOME=" + m_home.filePath("config").toUtf8(), "TZ=UTC"};
        return runProgram(LANTERNACTL, QByteArrayList{"history"} + options, environment, outputFile);
    }
};

const QByteArray phone = deviceText("AA:00:00:00:00:01", "192.168.1.20", "Phone");
const QByteArray printer = deviceText("AA:00:00:00:00:02", "192.168.1.30", "=Printer");

TEST_F(HistoryProgram, ATableOfWhatWasThereAndWhoCameAndWent)
{
    write(100, {phone});
    write(95, {phone, printer});
    write(90, {printer});
    const ProgramResult result = run({});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(result.output.startsWith("Harbour (192.168.1.x): 2 devices, observed 30 min of 90 d\nNAME ")) << result.output.constData();
    EXPECT_EQ(result.output.count("33 %"), 1) << result.output.constData();
    EXPECT_TRUE(result.output.contains("\n2 joins and leaves:\n"));
    EXPECT_TRUE(result.output.contains("  joined  =Printer (192.168.1.30)\n"));
    EXPECT_TRUE(result.output.endsWith("  left    Phone (192.168.1.20)\n"));
}

TEST_F(HistoryProgram, JsonIsOneObjectAndCsvALineForEachDevice)
{
    write(100, {phone, printer});
    write(60, {phone}, "Office");
    const ProgramResult json = run({"--json", "--days", "7"});
    EXPECT_EQ(json.exitCode, 0);
    EXPECT_EQ(json.output.count('\n'), 1);
    const QVariantMap object = parseJson(json.output).value_or(QVariant()).toMap();
    EXPECT_EQ(object.value("lines").toInt(), 2);
    EXPECT_EQ(object.value("networks").toList().size(), 2);
    EXPECT_EQ(object.value("to").toDouble() - object.value("from").toDouble(), 7 * 24 * 3600);
    const ProgramResult csv = run({"--format", "csv", "--network", "Harbour (192.168.1.x)"});
    EXPECT_EQ(csv.exitCode, 0);
    EXPECT_EQ(csv.output.count('\n'), 3);
    EXPECT_TRUE(csv.output.startsWith("network,subnet,name,mac,address,")) << csv.output.constData();
    EXPECT_TRUE(csv.output.contains("\nHarbour,192.168.1,'=Printer,AA:00:00:00:00:02,192.168.1.30,")) << csv.output.constData();
}

TEST_F(HistoryProgram, AChartIsWrittenBesideTheTable)
{
    write(100, {phone});
    const ProgramResult result = run({"--plot", m_home.filePath("chart.svg").toUtf8()});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.output.startsWith("Harbour"));
    QFile chart(m_home.filePath("chart.svg"));
    ASSERT_TRUE(chart.open(QIODevice::ReadOnly));
    EXPECT_TRUE(chart.readAll().startsWith("<svg "));
}

TEST_F(HistoryProgram, WhatFailsEndsWithOneLineAndOne)
{
    ProgramResult result = run({});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "lanternactl: there is no history in " + folder().toUtf8() + '\n');
    write(100, {phone});
    result = run({"--network", "Office"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.errors, "lanternactl: nothing was recorded of 'Office' in the last 90 days; there are: Harbour (192.168.1.x)\n");
    EXPECT_EQ(run({"--plot", m_home.filePath("missing/chart.svg").toUtf8()}).exitCode, 1);
    result = run({}, "/dev/full");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.errors.startsWith("lanternactl: cannot write the result: ")) << result.errors.constData();
}

TEST_F(HistoryProgram, WhatIsNoFileIsToldBesideTheTable)
{
    write(100, {phone});
    const QByteArray pipe = (folder() + u'/' + fileOf(ago(3 * 24 * 60))).toUtf8();
    ASSERT_EQ(::mkfifo(pipe.constData(), 0600), 0);
    const ProgramResult result = run({});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "lanternactl: cannot read " + pipe + ": Not a regular file\n");
    EXPECT_TRUE(result.output.startsWith("Harbour"));
}

TEST_F(HistoryProgram, WrongOptionsEndWithTwoAndTheUsage)
{
    for (const QByteArrayList &options :
        std::initializer_list<QByteArrayList>{{"--weeks"}, {"--days", "0"}, {"--network"}, {"--json", "--format", "csv"}, {"--format", "xml"}}) {
        const ProgramResult result = run(options);
        EXPECT_EQ(result.exitCode, 2) << options.join(' ').constData();
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(result.errors.startsWith("lanternactl: history: ")) << result.errors.constData();
        EXPECT_TRUE(result.errors.contains("\nUsage: lanternactl COMMAND\n"));
    }
}

} // namespace
