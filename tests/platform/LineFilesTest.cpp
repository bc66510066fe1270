#include "platform/LineFiles.h"

#include "tests/support/Children.h"
#include "tests/support/SmallDisk.h"

#include <QDir>
#include <QTemporaryDir>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

const QString name = QStringLiteral("day.jsonl");

class LineFilesTest : public testing::Test
{
protected:
    [[nodiscard]] QString folder() const { return m_temporary.path() + QStringLiteral("/group/lines"); }
    [[nodiscard]] QString path() const { return folder() + u'/' + name; }
    [[nodiscard]] QByteArray nativePath() const { return QFile::encodeName(path()); }
    [[nodiscard]] LineFiles files() const { return LineFiles(folder()); }

    [[nodiscard]] QByteArray content() const
    {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void write(const QByteArray &bytes) const
    {
        QDir().mkpath(folder());
        QFile file(path());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        ASSERT_EQ(file.write(bytes), bytes.size());
    }
    static unsigned modeOf(const QString &file)
    {
        struct stat information = {};
        EXPECT_EQ(::stat(QFile::encodeName(file).constData(), &information), 0);
        return information.st_mode & 0777U;
    }

    QTemporaryDir m_temporary;
};

TEST_F(LineFilesTest, LinesAreAddedInOrder)
{
    EXPECT_FALSE(files().append(name, "one"));
    EXPECT_FALSE(files().append(name, ""));
    EXPECT_FALSE(files().append(name, QByteArray(100'000, 'x')));
    EXPECT_EQ(content(), "one\n\n" + QByteArray(100'000, 'x') + '\n');
}

TEST_F(LineFilesTest, FoldersAndFilesAreTheOwnersAlone)
{
    const mode_t before = ::umask(0);
    EXPECT_FALSE(files().append(name, "one"));
    ::umask(before);
    EXPECT_EQ(modeOf(path()), 0600U);
    EXPECT_EQ(modeOf(folder()), 0700U);
    EXPECT_EQ(modeOf(m_temporary.path() + QStringLiteral("/group")), 0700U);
}

TEST_F(LineFilesTest, ATornLastLineIsClosedOff)
{
    write("one\ntw");
    EXPECT_FALSE(files().append(name, "three"));
    EXPECT_FALSE(files().append(name, "four"));
    EXPECT_EQ(content(), "one\ntw\nthree\nfour\n");
}

TEST_F(LineFilesTest, ANulAtTheEndIsATornLine)
{
    write(QByteArray("one\n\0\0", 6)); // as a power failure may leave it
    EXPECT_FALSE(files().append(name, "two"));
    EXPECT_EQ(content(), QByteArray("one\n\0\0\ntwo\n", 11));
}

TEST_F(LineFilesTest, ALockThatIsHeldForeverIsGivenUp)
{
    write("one\n");
    const int other = ::open(nativePath().constData(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(files().append(name, "two"), std::errc::device_or_resource_busy);
    EXPECT_GE(std::chrono::steady_clock::now() - before, 1s);
    EXPECT_EQ(content(), "one\n");
    ::close(other);
    EXPECT_FALSE(files().append(name, "three"));
    EXPECT_EQ(content(), "one\nthree\n");
}

TEST_F(LineFilesTest, ALockThatIsHeldForAMomentIsWaitedFor)
{
    write("one\n");
    const int other = ::open(nativePath().constData(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    std::thread owner([other] {
        std::this_thread::sleep_for(30ms);
        ::close(other);
    });
    EXPECT_FALSE(files().append(name, "two"));
    owner.join();
    EXPECT_EQ(content(), "one\ntwo\n");
}

TEST_F(LineFilesTest, ALinkIsNotFollowed)
{
    const QByteArray elsewhere = QFile::encodeName(m_temporary.path() + QStringLiteral("/elsewhere"));
    QDir().mkpath(folder());
    ASSERT_EQ(::symlink(elsewhere.constData(), nativePath().constData()), 0);
    EXPECT_TRUE(files().append(name, "one"));
    EXPECT_NE(::access(elsewhere.constData(), F_OK), 0);
    QFile target(QFile::decodeName(elsewhere));
    ASSERT_TRUE(target.open(QIODevice::WriteOnly));
    EXPECT_TRUE(files().append(name, "one"));
    EXPECT_EQ(target.size(), 0);
}

TEST_F(LineFilesTest, APipeDoesNotHoldUp)
{
    QDir().mkpath(folder());
    ASSERT_EQ(::mkfifo(nativePath().constData(), 0600), 0);
    EXPECT_TRUE(files().append(name, "one"));
}

TEST_F(LineFilesTest, AFolderOrASocketInTheFilesPlaceIsAnError)
{
    QDir().mkpath(path());
    EXPECT_TRUE(files().append(name, "one"));
    QDir().rmdir(path());
    sockaddr_un address = {AF_UNIX, {}};
    ASSERT_LT(size_t(nativePath().size()), sizeof(address.sun_path));
    std::memcpy(address.sun_path, nativePath().constData(), size_t(nativePath().size()));
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof(address)), 0);
    EXPECT_TRUE(files().append(name, "one"));
    ::close(listener);
}

TEST_F(LineFilesTest, AFileInTheFoldersPlaceIsAnError)
{
    QDir().mkpath(m_temporary.path() + QStringLiteral("/group"));
    QFile inTheWay(folder());
    ASSERT_TRUE(inTheWay.open(QIODevice::WriteOnly));
    EXPECT_TRUE(files().append(name, "one"));
    EXPECT_TRUE(files().list().isEmpty());
}

TEST_F(LineFilesTest, AllEntriesAreListed)
{
    EXPECT_TRUE(files().list().isEmpty());
    write("one\n");
    QDir().mkpath(folder() + QStringLiteral("/folder"));
    ASSERT_EQ(::symlink("/nowhere", QFile::encodeName(folder() + QStringLiteral("/.link")).constData()), 0);
    QStringList names = files().list();
    names.sort();
    EXPECT_EQ(names, (QStringList{QStringLiteral(".link"), name, QStringLiteral("folder")}));
}

TEST_F(LineFilesTest, FilesAndLinksAreRemovedAndFoldersAreNot)
{
    write("one\n");
    QDir().mkpath(folder() + QStringLiteral("/folder"));
    ASSERT_EQ(::symlink(nativePath().constData(), QFile::encodeName(folder() + QStringLiteral("/link")).constData()), 0);
    for (const char *each : {"link", "folder", "absent"})
        files().remove(QString::fromLatin1(each));
    EXPECT_EQ(content(), "one\n");
    files().remove(name);
    EXPECT_EQ(files().list(), QStringList{QStringLiteral("folder")});
}

TEST_F(LineFilesTest, ALineForWhichThereIsNoRoomLeavesNothing)
{
    constexpr rlim_t mostBytes = 10'000;
    const int result = inChild([this] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {mostBytes, mostBytes};
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_FALSE(files().append(name, QByteArray(6'000, 'a')));
        EXPECT_TRUE(files().append(name, QByteArray(6'000, 'b'))); // the first 3,999 bytes fit
        EXPECT_EQ(content().size(), 6'001);
        EXPECT_FALSE(files().append(name, QByteArray(3'998, 'c'))); // to the last byte
        EXPECT_TRUE(files().append(name, ""));
        return 0;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(content(), QByteArray(6'000, 'a') + '\n' + QByteArray(3'998, 'c') + '\n');
}

TEST_F(LineFilesTest, AFullDiskLosesThatLineOnly)
{
    QDir().mkpath(folder());
    SmallDisk::with(folder(), 64, [this](SmallDisk &disk) {
        EXPECT_FALSE(files().append(name, "before"));
        disk.fill();
        EXPECT_EQ(files().append(name, QByteArray(30'000, 'x')), std::errc::no_space_on_device); // 4,089 bytes of it fit
        EXPECT_TRUE(files().append(QStringLiteral("next.jsonl"), "new file"));
        EXPECT_EQ(content(), "before\n");
        disk.empty();
        EXPECT_FALSE(files().append(name, QByteArray(30'000, 'y')));
        EXPECT_EQ(content(), "before\n" + QByteArray(30'000, 'y') + '\n');
    });
}

TEST_F(LineFilesTest, AReadOnlyDiskIsAnError)
{
    QDir().mkpath(folder());
    SmallDisk::with(folder(), 64, [this](SmallDisk &disk) {
        EXPECT_FALSE(files().append(name, "before"));
        disk.makeReadOnly();
        EXPECT_EQ(files().append(name, "lost"), std::errc::read_only_file_system);
        files().remove(name);
        disk.makeWritable();
        EXPECT_FALSE(files().append(name, "after"));
        EXPECT_EQ(content(), "before\nafter\n");
    });
}

} // namespace
