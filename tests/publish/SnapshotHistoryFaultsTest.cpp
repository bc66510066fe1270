#include "platform/ThreadPool.h"
#include "publish/HistoryFormat.h"
#include "tests/publish/HistoryFixture.h"
#include "tests/support/CountingChild.h"
#include "tests/support/SmallDisk.h"

#include <iostream>
#include <thread>

#include <grp.h>
#include <sys/file.h>
#include <sys/stat.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

constexpr const char *today = "2026-03-01";

/// A dispatch whose serial queues have real threads.
class ThreadedDispatch : public VirtualDispatch
{
public:
    ~ThreadedDispatch() override { EXPECT_TRUE(m_pool.shutDown(10s)); }
    ThreadedDispatch() = default;
    ThreadedDispatch(const ThreadedDispatch &) = delete;
    ThreadedDispatch &operator=(const ThreadedDispatch &) = delete;
    std::shared_ptr<SerialQueue> makeSerialQueue() override { return m_pool.makeSerialQueue(); }

private:
    ThreadPool m_pool;
};

class SnapshotHistoryFaultsTest : public HistoryFixture
{
protected:
    /// A snapshot of a full /24.
    [[nodiscard]] QVariantMap largeSnapshot(int number) const
    {
        QList<RGFCoreScanDevice> devices;
        for (int host = 1; host <= 254; ++host) {
            RGFCoreScanDevice device;
            device.ipAddress = QStringLiteral("192.168.1.%1").arg(host);
            device.deviceName = QStringLiteral("host-%1.example.lan").arg(host);
            devices.append(device);
        }
        QVariantMap made = networkSnapshot(devices, QStringLiteral("Harbour"), QStringLiteral("192.168.1"), dispatch.now());
        made.insert(QStringLiteral("macSig"), QString::number(number));
        return made;
    }

    /// The signatures of the lines that have been added since the last time; "?" for one that is torn. A last line that lacks nothing but its line feed
    /// counts: the next append gives it one.
    QStringList addedSignatures()
    {
        QStringList signatures;
        QList<QByteArray> lines = contentOf(fileOf(today)).sliced(m_read).split('\n');
        const bool lastIsWhole = parseJson(lines.last()).has_value();
        m_read += lines.join('\n').size() - (lastIsWhole ? 0 : lines.last().size());
        if (!lastIsWhole)
            lines.removeLast();
        for (const QByteArray &line : std::as_const(lines)) {
            const QVariantMap members = parseJson(line).value_or(QVariant()).toMap();
            if (!line.isEmpty())
                signatures.append(members.value(QStringLiteral("macSig"), QStringLiteral("?")).toString());
        }
        return signatures;
    }

private:
    qint64 m_read = 0;
};

TEST_F(SnapshotHistoryFaultsTest, AFullDiskCostsOnlyTheLinesOfThatTime)
{
    QDir().mkpath(folder());
    SmallDisk::with(folder(), 256, [this](SmallDisk &disk) {
        record(largeSnapshot(1));
        disk.fill();
        record(largeSnapshot(2));
        record(largeSnapshot(3));
        EXPECT_EQ(linesOf(today), u"1"); // and nothing torn behind it
        disk.empty();
        record(largeSnapshot(3)); // unchanged, but not written yet
        record(largeSnapshot(4));
        EXPECT_EQ(linesOf(today), u"1 3 4");
    });
}

TEST_F(SnapshotHistoryFaultsTest, AReadOnlyDiskCostsOnlyTheLinesOfThatTime)
{
    QDir().mkpath(folder());
    SmallDisk::with(folder(), 256, [this](SmallDisk &disk) {
        record(snapshot("a"));
        leave(fileOf("2025-01-01"));
        relaunch();
        disk.makeReadOnly();
        record(snapshot("b"));
        disk.makeWritable();
        EXPECT_TRUE(QFile::exists(path(fileOf("2025-01-01")))); // could not be removed
        record(snapshot("b"));
        EXPECT_EQ(linesOf(today), u"a b");
    });
}

TEST_F(SnapshotHistoryFaultsTest, AFolderWithoutPermissionCostsOnlyTheLinesOfThatTime)
{
    ASSERT_EQ(::chmod(QFile::encodeName(m_temporary.path()).constData(), 0777), 0);
    const int result = inChild([this] {
        constexpr uid_t nobody = 65534; // permissions do not bind root
        if (::geteuid() == 0 && (::setgroups(0, nullptr) != 0 || ::setgid(nobody) != 0 || ::setuid(nobody) != 0))
            return 1;
        record(snapshot("a"));
        const QByteArray native = QFile::encodeName(folder());
        EXPECT_EQ(::chmod(native.constData(), 0500), 0);
        dispatch.advance(24h);
        record(snapshot("b")); // a new file
        EXPECT_EQ(::chmod(native.constData(), 0), 0);
        record(snapshot("b"));
        EXPECT_EQ(::chmod(native.constData(), 0700), 0);
        EXPECT_EQ(files(), QStringList{fileOf(today)});
        record(snapshot("b"));
        EXPECT_EQ(linesOf("2026-03-02"), u"b");
        return 0;
    });
    EXPECT_EQ(result, 0);
}

TEST_F(SnapshotHistoryFaultsTest, KillsAmidAThousandSnapshotsLoseAndDoubleNoLine)
{
    std::mt19937 random(20260301); // NOLINT(cert-msc51-cpp): the same rounds each time, as far as they can be
    QVariantMap made = largeSnapshot(0);
    int kills = 0;
    int torn = 0;
    for (int next = 0; next < stepsAmidKills && !HasFailure(); ++kills) {
        CountingChild victim(next, [&](int number) {
            made.insert(QStringLiteral("macSig"), QString::number(number));
            record(made);
            return true;
        });
        const int certain = victim.killSomewhere(random);
        QStringList added = addedSignatures();
        torn += int(added.removeAll(QStringLiteral("?")));
        for (const QString &number : std::as_const(added))
            EXPECT_EQ(number, QString::number(next++));
        EXPECT_TRUE(next == certain + 1 || next == certain + 2) << next << " after " << certain;
    }
    std::cout << kills << " kills, " << torn << " torn lines\n";
}

TEST_F(SnapshotHistoryFaultsTest, TwoProgramsWriteIntoOneHistory)
{
    constexpr int each = 1000;
    std::array<pid_t, 2> programs = {};
    for (size_t program = 0; program < programs.size(); ++program) {
        programs[program] = startChild([this, program] {
            for (int number = 0; number < each; ++number)
                record(snapshot((QByteArray::number(int(program)) + '-' + QByteArray::number(number)).constData()));
            return 0;
        });
    }
    for (const pid_t program : programs)
        EXPECT_EQ(endOfChild(program), 0);
    const QStringList lines = linesOf(today).split(u' ');
    EXPECT_EQ(lines.size(), 2 * each);
    for (const QString &program : {QStringLiteral("0-"), QStringLiteral("1-")}) {
        QStringList own = lines;
        own.removeIf([&](const QString &line) { return !line.startsWith(program); });
        ASSERT_EQ(own.size(), each);
        for (int number = 0; number < each; ++number)
            EXPECT_EQ(own[number], program + QString::number(number));
    }
}

TEST_F(SnapshotHistoryFaultsTest, SnapshotsOfManyThreadsAreAllWritten)
{
    constexpr int threads = 4;
    constexpr int each = 100;
    ThreadedDispatch threaded;
    SnapshotHistoryWriter shared(threaded, folder());
    std::vector<std::thread> scans;
    scans.reserve(threads);
    for (int scan = 0; scan < threads; ++scan) {
        scans.emplace_back([&, scan] {
            for (int number = 0; number < each; ++number)
                shared.recordSnapshot(snapshot(QByteArray::number(scan * each + number).constData()));
        });
    }
    for (std::thread &scan : scans)
        scan.join();
    EXPECT_TRUE(shared.finish(10s));
    QStringList lines = linesOf(today).split(u' ');
    EXPECT_EQ(lines.size(), threads * each);
    EXPECT_EQ(lines.removeDuplicates(), 0);
}

TEST_F(SnapshotHistoryFaultsTest, AStuckProgramHoldsUpNeitherAScanNorTheEnd)
{
    record(snapshot("a"));
    const int stuck = ::open(QFile::encodeName(path(fileOf(today))).constData(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(stuck, LOCK_EX), 0);
    ThreadedDispatch threaded;
    SnapshotHistoryWriter shared(threaded, folder());
    EXPECT_TRUE(shared.finish(0ms)); // there is nothing to wait for
    shared.recordSnapshot(snapshot("b"));
    EXPECT_FALSE(shared.finish(1ms));
    EXPECT_TRUE(shared.finish(10s)); // given up
    EXPECT_EQ(linesOf(today), u"a");
    ::close(stuck);
    shared.recordSnapshot(snapshot("b"));
    EXPECT_TRUE(shared.finish(10s));
    EXPECT_EQ(linesOf(today), u"a b");
}

} // namespace
