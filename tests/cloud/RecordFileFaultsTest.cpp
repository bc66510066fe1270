#include "tests/cloud/RecordFileFixture.h"
#include "tests/support/SmallDisk.h"

#include <grp.h>
#include <sys/stat.h>

using namespace lanterna;

namespace
{

constexpr int permissionFailure = 10;
constexpr int quotaExceeded = 25;

const QString name = QStringLiteral("record");

class RecordFileFaultsTest : public RecordFileFixture
{
protected:
    /// Makes room for so many bytes on a disk that was filled.
    void makeRoom(qint64 bytes) const
    {
        QFile filler(folder() + "/filler");
        EXPECT_TRUE(filler.resize(std::max<qint64>(0, filler.size() - bytes)));
    }
    [[nodiscard]] std::string isSound() const { return ForeignConnection(path()).ask("PRAGMA integrity_check"); }
};

} // namespace

TEST_F(RecordFileFaultsTest, AFullDiskCostsOnlyTheSavesOfThatTime)
{
    QDir().mkpath(folder());
    SmallDisk::with(folder(), 1024, [this](SmallDisk &disk) {
        const auto file = open();
        EXPECT_EQ(put(*file, name, "1"), 0);
        disk.fill();
        EXPECT_EQ(put(*file, name, QByteArray(100'000, '2')), quotaExceeded); // with the file open
        EXPECT_EQ(put(name, QByteArray(100'000, '2')), quotaExceeded); // and anew
        disk.empty();
        EXPECT_EQ(contentOf(*file, name), "1");
        EXPECT_EQ(put(*file, name, QByteArray(100'000, '3')), 0);
        EXPECT_EQ(contentOf(name), QByteArray(100'000, '3'));
        EXPECT_EQ(isSound(), "ok");
    });
}

TEST_F(RecordFileFaultsTest, TheFirstSaveMayFindNoRoom)
{
    QDir().mkpath(folder());
    SmallDisk::with(folder(), 256, [this](SmallDisk &disk) {
        for (int room = 0; room < 256; room += 8) {
            disk.fill();
            makeRoom(room * 1024);
            const int error = put(name, "1");
            EXPECT_TRUE(error == 0 || error == quotaExceeded) << error;
            disk.empty();
            EXPECT_EQ(contentOf(name), error == 0 ? "1" : "error 11: there is no record record");
            EXPECT_EQ(put(name, "2"), 0);
            EXPECT_EQ(contentOf(name), "2");
            for (const char *suffix : {"", "-wal", "-shm"})
                QFile::remove(path(suffix));
        }
    });
}

TEST_F(RecordFileFaultsTest, WhereverTheDiskIsFullARecordIsTheOldOrTheNew)
{
    QDir().mkpath(folder());
    SmallDisk::with(folder(), 1024, [this](SmallDisk &disk) {
        int refused = 0;
        EXPECT_EQ(put(name, "0"), 0);
        for (int room = 0; room < 480; room += 8) {
            const QByteArray before = contentOf(name);
            const QByteArray content = QByteArray(150'000, 'x') + QByteArray::number(room);
            const auto file = open(); // whose last save does not come to the main file when there is no room
            EXPECT_EQ(contentOf(*file, name), before);
            disk.fill();
            makeRoom(room * 1024);
            const int error = put(*file, name, content);
            file->close();
            disk.empty();
            EXPECT_TRUE(error == 0 || error == quotaExceeded) << error;
            EXPECT_EQ(contentOf(name), error == 0 ? content : before) << room;
            EXPECT_EQ(isSound(), "ok");
            refused += error == 0 ? 0 : 1;
        }
        EXPECT_GT(refused, 10);
        EXPECT_LT(refused, 60);
    });
}

TEST_F(RecordFileFaultsTest, AReadOnlyDiskCostsOnlyTheSavesOfThatTime)
{
    QDir().mkpath(folder());
    SmallDisk::with(folder(), 1024, [this](SmallDisk &disk) {
        disk.makeReadOnly();
        EXPECT_EQ(put(name, "1"), permissionFailure);
        disk.makeWritable();
        EXPECT_EQ(put(name, "1"), 0);
        disk.makeReadOnly();
        EXPECT_EQ(put(name, "2"), permissionFailure);
        EXPECT_TRUE(contentOf(name).startsWith("error 10: records.sqlite: Read-only file system")) << contentOf(name).toStdString();
        disk.makeWritable();
        EXPECT_EQ(contentOf(name), "1");
        EXPECT_EQ(put(name, "2"), 0);
        EXPECT_EQ(contentOf(name), "2");
    });
}

TEST_F(RecordFileFaultsTest, AFolderWithoutPermissionCostsOnlyTheSavesOfThatTime)
{
    ASSERT_EQ(::chmod(qPrintable(above()), 0777), 0);
    const int result = inChild([this] {
        constexpr uid_t nobody = 65534; // permissions do not bind root
        if (::geteuid() == 0 && (::setgroups(0, nullptr) != 0 || ::setgid(nobody) != 0 || ::setuid(nobody) != 0))
            return 1;
        EXPECT_EQ(put(name, "1"), 0);
        EXPECT_EQ(::chmod(qPrintable(folder()), 0500), 0);
        EXPECT_EQ(put(name, "2"), permissionFailure);
        EXPECT_EQ(::chmod(qPrintable(folder()), 0), 0);
        EXPECT_EQ(put(name, "2"), permissionFailure);
        EXPECT_TRUE(contentOf(name).startsWith("error 10: records.sqlite: Permission denied")) << contentOf(name).toStdString();
        EXPECT_EQ(::chmod(qPrintable(folder()), 0700), 0);
        EXPECT_EQ(::chmod(qPrintable(path()), 0400), 0);
        EXPECT_EQ(put(name, "2"), permissionFailure);
        EXPECT_EQ(QDir(folder()).entryList(QDir::Files), QStringList{"records.sqlite"});
        EXPECT_EQ(::chmod(qPrintable(path()), 0600), 0);
        EXPECT_EQ(contentOf(name), "1");
        EXPECT_EQ(put(name, "3"), 0);
        return contentOf(name) == "3" ? 0 : 2;
    });
    EXPECT_EQ(result, 0);
    ASSERT_EQ(::chmod(qPrintable(above()), 0700), 0);
}
