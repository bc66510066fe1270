#include "cloud/UnreadableDocuments.h"

#include "tests/support/MemoryFolder.h"
#include "tests/support/SmallDisk.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>

using namespace lanterna;

namespace
{

class UnreadableDocumentsTest : public testing::Test
{
protected:
    [[nodiscard]] QString folder() const { return m_temporary.filePath("lanterna/unreadable"); }
    [[nodiscard]] UnreadableDocuments documents() const { return UnreadableDocuments(folder()); }
    /// The content of the kept files by name, which is by time.
    [[nodiscard]] QList<QByteArray> contents() const
    {
        QList<QByteArray> found;
        const QStringList names = QDir(folder()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
        for (const QString &name : names)
            found.append(contentOf(folder() + u'/' + name));
        return found;
    }
    static QByteArray contentOf(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
    }

    const QDateTime moment = QDateTime(QDate(2026, 11, 15), QTime(14, 5, 9, 123), Qt::UTC);

private:
    MemoryFolder m_temporary;
};

} // namespace

TEST_F(UnreadableDocumentsTest, BytesAreKeptUnderTheirMoment)
{
    const QByteArray bytes("[1, \0\xFF", 6);
    const auto kept = documents().keep(bytes, moment.toOffsetFromUtc(7200));
    EXPECT_EQ(kept.error, "");
    EXPECT_EQ(kept.path, folder() + "/20261115T140509.123Z-00");
    EXPECT_EQ(contentOf(kept.path), bytes);
}

TEST_F(UnreadableDocumentsTest, FilesAreTheOwnersAlone)
{
    const mode_t before = ::umask(0);
    const auto kept = documents().keep("bytes", moment);
    ::umask(before);
    struct stat information = {};
    ASSERT_EQ(::stat(qPrintable(kept.path), &information), 0);
    EXPECT_EQ(information.st_mode & 07777, 0600u);
    ASSERT_EQ(::stat(qPrintable(folder()), &information), 0);
    EXPECT_EQ(information.st_mode & 07777, 0700u);
}

TEST_F(UnreadableDocumentsTest, TwoOfOneMomentAreBothKept)
{
    const auto first = documents().keep("first", moment);
    EXPECT_NE(documents().keep("second", moment).path, first.path);
    EXPECT_EQ(contents(), (QList<QByteArray>{"first", "second"}));
}

TEST_F(UnreadableDocumentsTest, TheSameBytesAreKeptOnce)
{
    const auto first = documents().keep("bytes", moment);
    EXPECT_EQ(documents().keep("bytes", moment.addSecs(60)).path, first.path);
    (void)documents().keep("others", moment.addSecs(120));
    (void)documents().keep("bytes", moment.addSecs(180)); // they came back
    EXPECT_EQ(contents(), (QList<QByteArray>{"bytes", "others", "bytes"}));
}

TEST_F(UnreadableDocumentsTest, TheNewestTwentyStay)
{
    for (int number = 0; number < 25; ++number)
        EXPECT_EQ(documents().keep(QByteArray::number(number), moment.addSecs(number)).error, "");
    EXPECT_EQ(contents().size(), 20);
    EXPECT_EQ(contents().first(), "5");
    EXPECT_EQ(contents().last(), "24");
}

TEST_F(UnreadableDocumentsTest, OneThatWasJustKeptStaysAlthoughTheClockWasSetBack)
{
    for (int number = 0; number < 20; ++number)
        (void)documents().keep(QByteArray::number(number), moment.addSecs(number));
    const auto kept = documents().keep("early", moment.addYears(-1));
    EXPECT_EQ(contentOf(kept.path), "early");
    EXPECT_EQ(contents().size(), 20);
}

TEST_F(UnreadableDocumentsTest, OtherFilesAreLeftAlone)
{
    ASSERT_TRUE(QDir().mkpath(folder()));
    ASSERT_TRUE(QFile(folder() + "/00 notes").open(QIODevice::WriteOnly));
    for (int number = 0; number < 25; ++number)
        (void)documents().keep(QByteArray::number(number), moment.addSecs(number));
    EXPECT_TRUE(QFile::exists(folder() + "/00 notes"));
    EXPECT_EQ(contents().size(), 21);
}

TEST_F(UnreadableDocumentsTest, ALinkIsNotWrittenThrough)
{
    ASSERT_TRUE(QDir().mkpath(folder()));
    const QString target = folder() + "/../target";
    ASSERT_TRUE(QFile::link(target, folder() + "/20261115T140509.123Z-00"));
    EXPECT_EQ(documents().keep("bytes", moment).path, folder() + "/20261115T140509.123Z-01");
    EXPECT_FALSE(QFile::exists(target));
}

TEST_F(UnreadableDocumentsTest, AFullDiskIsToldAndLosesNothingThatWasKept)
{
    ASSERT_TRUE(QDir().mkpath(folder()));
    SmallDisk::with(folder(), 256, [this](SmallDisk &disk) {
        for (int number = 0; number < 20; ++number)
            EXPECT_EQ(documents().keep(QByteArray::number(number), moment.addSecs(number)).error, "");
        disk.fill();
        EXPECT_EQ(documents().keep(QByteArray(10'000, 'x'), moment.addDays(1)).error, "No space left on device");
        EXPECT_EQ(contents().first(), "0");
        disk.empty();
        EXPECT_EQ(contents().size(), 20);
        EXPECT_EQ(documents().keep(QByteArray(10'000, 'x'), moment.addDays(1)).error, "");
    });
}
