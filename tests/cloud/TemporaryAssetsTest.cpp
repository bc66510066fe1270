#include "cloud/TemporaryAssets.h"

#include "tests/support/MemoryFolder.h"
#include "tests/support/SmallDisk.h"

#include <QDir>
#include <QFile>
#include <QUuid>

#include <fcntl.h>
#include <sys/stat.h>

using namespace lanterna;

namespace
{

constexpr qint64 hour = 3600;

class TemporaryAssetsTest : public testing::Test
{
protected:
    [[nodiscard]] QString folder() const { return m_temporary.filePath("lanterna-1000"); }
    [[nodiscard]] QString path(const QString &name) const { return folder() + u'/' + name; }
    [[nodiscard]] TemporaryAssets assets() const { return TemporaryAssets(folder()); }
    [[nodiscard]] QStringList files() const
    {
        return QDir(folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }
    static QByteArray contentOf(const QString &file)
    {
        QFile opened(file);
        return opened.open(QIODevice::ReadOnly) ? opened.readAll() : QByteArray("unreadable");
    }
    static int rightsOf(const QString &file)
    {
        struct stat information = {};
        return ::lstat(qPrintable(file), &information) == 0 ? int(information.st_mode & 07777) : -1;
    }
    /// Makes a file, or what the steps make, as old as that.
    void leave(const QString &name, qint64 age, const std::function<void(const QString &)> &make) const
    {
        QDir().mkpath(folder());
        make(path(name));
        const timespec then = {now.toSecsSinceEpoch() - age, 0};
        const timespec times[2] = {then, then};
        EXPECT_EQ(::utimensat(AT_FDCWD, qPrintable(path(name)), times, AT_SYMLINK_NOFOLLOW), 0);
    }
    void leave(const QString &name, qint64 age) const
    {
        leave(name, age, [](const QString &file) { EXPECT_TRUE(QFile(file).open(QIODevice::WriteOnly)); });
    }
    static QString newName() { return QUuid::createUuid().toString(QUuid::WithoutBraces); }

    const QDateTime now = QDateTime::currentDateTimeUtc();

private:
    MemoryFolder m_temporary;
};

} // namespace

TEST_F(TemporaryAssetsTest, EachFileHasANameOfItsOwn)
{
    const auto first = assets().write(QByteArray("a\0b", 3));
    const auto second = assets().write("");
    EXPECT_EQ(first.error + second.error, "");
    EXPECT_NE(first.path, second.path);
    EXPECT_EQ(contentOf(first.path), QByteArray("a\0b", 3));
    EXPECT_EQ(contentOf(second.path), "");
    EXPECT_FALSE(QFileInfo(first.path).fileName().contains(u'.'));
    EXPECT_EQ(files().size(), 2);
}

TEST_F(TemporaryAssetsTest, FilesAreTheOwnersAlone)
{
    const mode_t before = ::umask(0);
    const auto written = assets().write("bytes");
    ::umask(before);
    EXPECT_EQ(rightsOf(folder()), 0700);
    EXPECT_EQ(rightsOf(written.path), 0600);
}

TEST_F(TemporaryAssetsTest, AnOpenFolderIsClosedToOthers)
{
    ASSERT_EQ(::mkdir(qPrintable(folder()), 0700), 0);
    ASSERT_EQ(::chmod(qPrintable(folder()), 0777), 0);
    EXPECT_EQ(assets().write("bytes").error, "");
    EXPECT_EQ(rightsOf(folder()), 0700);
}

TEST_F(TemporaryAssetsTest, ALinkOrAFileInTheFoldersPlaceIsNotUsed)
{
    const QString elsewhere = folder() + "-elsewhere";
    ASSERT_TRUE(QDir().mkdir(elsewhere));
    ASSERT_TRUE(QFile::link(elsewhere, folder()));
    EXPECT_EQ(assets().write("bytes").error, folder() + " is no folder");
    EXPECT_TRUE(QDir(elsewhere).isEmpty());
    EXPECT_EQ(assets().dropOld(now), 0);
    ASSERT_TRUE(QFile::remove(folder()));
    ASSERT_TRUE(QFile(folder()).open(QIODevice::WriteOnly));
    EXPECT_EQ(assets().write("bytes").error, folder() + " is no folder");
    EXPECT_EQ(assets().write("bytes").path, "");
}

TEST_F(TemporaryAssetsTest, AStrangersFolderIsNotUsed)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a folder away";
    ASSERT_EQ(::mkdir(qPrintable(folder()), 0777), 0);
    ASSERT_EQ(::chown(qPrintable(folder()), 65534, 65534), 0);
    EXPECT_EQ(assets().write("bytes").error, folder() + " belongs to another user");
    leave(newName(), 96 * hour);
    EXPECT_EQ(assets().dropOld(now), 0);
    EXPECT_EQ(files().size(), 1);
}

TEST_F(TemporaryAssetsTest, AFullDiskIsToldAndLeavesNothing)
{
    QDir().mkpath(folder());
    SmallDisk::with(folder(), 64, [this](SmallDisk &disk) {
        disk.fill();
        EXPECT_EQ(assets().write(QByteArray(10'000, 'x')).error, "No space left on device");
        EXPECT_EQ(files(), QStringList{"filler"});
        disk.empty();
        EXPECT_EQ(assets().write(QByteArray(40'000, 'x')).error, "");
        EXPECT_EQ(assets().write(QByteArray(40'000, 'x')).error, "No space left on device"); // half-way
        EXPECT_EQ(files().size(), 1);
        disk.makeReadOnly();
        EXPECT_EQ(assets().write("x").error, "Read-only file system");
    });
}

TEST_F(TemporaryAssetsTest, WithoutATemporaryFolderThereAreWords)
{
    EXPECT_EQ(TemporaryAssets(folder() + "/not/there").write("x").error, "No such file or directory");
}

TEST_F(TemporaryAssetsTest, FilesOfMoreThanThreeDaysAreDropped)
{
    const QString young = assets().write("bytes").path;
    const QString nearlyOld = newName();
    leave(nearlyOld, 72 * hour - 60);
    leave(newName(), 72 * hour + 60);
    leave(u'.' + newName(), 1000 * hour); // of a write that was killed
    leave(newName(), -100 * hour); // the clock was ahead
    EXPECT_EQ(assets().dropOld(now), 2);
    EXPECT_EQ(files().size(), 3);
    EXPECT_TRUE(QFile::exists(young) && QFile::exists(path(nearlyOld)));
    EXPECT_EQ(assets().dropOld(now), 0);
}

TEST_F(TemporaryAssetsTest, OnlyFilesOfItsOwnAreDropped)
{
    const QString target = newName();
    leave(target, 10 * hour);
    leave("notes.txt", 1000 * hour);
    leave(newName() + ".txt", 1000 * hour);
    leave(newName(), 1000 * hour, [](const QString &name) { EXPECT_TRUE(QDir().mkdir(name)); });
    leave(newName(), 1000 * hour, [](const QString &name) { EXPECT_EQ(::mkfifo(qPrintable(name), 0600), 0); });
    leave(newName(), 1000 * hour, [&](const QString &name) { EXPECT_TRUE(QFile::link(path(target), name)); });
    EXPECT_EQ(assets().dropOld(now), 0);
    EXPECT_EQ(files().size(), 6);
}

TEST_F(TemporaryAssetsTest, WhereNothingWasWrittenNothingIsDropped)
{
    EXPECT_EQ(assets().dropOld(now), 0);
    EXPECT_FALSE(QFile::exists(folder()));
}

TEST_F(TemporaryAssetsTest, ThePlaceIsTheUsersOwn)
{
    const QByteArray before = qgetenv("TMPDIR");
    qputenv("TMPDIR", "/var/tmp");
    EXPECT_EQ(temporaryAssetFolder(), QString("/var/tmp/lanterna-%1").arg(::geteuid()));
    for (const char *unfit : {"", "relative"}) {
        qputenv("TMPDIR", unfit);
        EXPECT_EQ(temporaryAssetFolder(), QString("/tmp/lanterna-%1").arg(::geteuid()));
    }
    if (before.isNull())
        qunsetenv("TMPDIR");
    else
        qputenv("TMPDIR", before);
}
