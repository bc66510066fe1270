#include "platform/CoreLock.h"

#include "tests/platform/SettingsFolder.h"

#include <array>
#include <csignal>

using namespace lanterna;

namespace
{

using Status = CoreLock::Result::Status;

class CoreLockTest : public SettingsFolder
{
protected:
    [[nodiscard]] CoreLock::Result tryElsewhere() const { return CoreLock(folder()).tryLock(); }
};

TEST_F(CoreLockTest, ExcludesASecondCoreAndNamesTheHolder)
{
    CoreLock lock(folder());
    EXPECT_EQ(lock.tryLock().status, Status::held);
    EXPECT_EQ(tryElsewhere().status, Status::heldElsewhere);
    EXPECT_EQ(tryElsewhere().holderPid, ::getpid());
    EXPECT_EQ(inChild([&] { return tryElsewhere().holderPid == ::getppid() ? 0 : 1; }), 0);
}

TEST_F(CoreLockTest, AskingTwiceIsHarmless)
{
    CoreLock lock(folder());
    EXPECT_EQ(lock.tryLock().status, Status::held);
    EXPECT_EQ(lock.tryLock().status, Status::held);
}

TEST_F(CoreLockTest, ReleasedItIsFree)
{
    CoreLock lock(folder());
    EXPECT_EQ(lock.tryLock().status, Status::held);
    lock.release();
    EXPECT_EQ(tryElsewhere().status, Status::held);
    EXPECT_EQ(lock.tryLock().status, Status::held);
}

TEST_F(CoreLockTest, AKilledHolderLeavesItFree)
{
    std::array<int, 2> ends = {};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const pid_t holder = ::fork();
    if (holder == 0) {
        CoreLock lock(folder());
        const char done = lock.tryLock().status == Status::held ? 'y' : 'n';
        (void)!::write(ends[1], &done, 1);
        for (;;)
            ::pause();
    }
    char done = 0;
    ASSERT_EQ(::read(ends[0], &done, 1), 1);
    EXPECT_EQ(done, 'y');
    EXPECT_EQ(tryElsewhere().holderPid, holder);
    ::kill(holder, SIGKILL);
    ::waitpid(holder, nullptr, 0);
    EXPECT_EQ(tryElsewhere().status, Status::held);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(CoreLockTest, OneShotCommandsNeedNoLock)
{
    CoreLock lock(folder());
    EXPECT_EQ(lock.tryLock().status, Status::held);
    EXPECT_TRUE(open()->setValue(QStringLiteral("whichIP"), 2));
}

TEST_F(CoreLockTest, OddFileContentGivesNoPid)
{
    CoreLock lock(folder());
    EXPECT_EQ(lock.tryLock().status, Status::held);
    for (const char *content : {"", "abc", "-5", "99999999999999999999999999"}) {
        writeFile(QStringLiteral("core.lock"), content);
        EXPECT_EQ(tryElsewhere().status, Status::heldElsewhere);
        EXPECT_EQ(tryElsewhere().holderPid, 0) << content;
    }
}

TEST_F(CoreLockTest, AFolderThatCannotBeMadeIsAnError)
{
    QFile blocker(folder());
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    EXPECT_EQ(tryElsewhere().status, Status::failed);
    EXPECT_FALSE(tryElsewhere().error.isEmpty());
}

} // namespace
