#include "platform/linux/FolderWatch.h"

#include "tests/support/RunUntil.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <optional>

#include <sys/resource.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class FolderWatchTest : public testing::Test
{
protected:
    FolderWatchTest() { QDir().mkpath(folder()); }

    [[nodiscard]] QString folder() const { return m_folder.path() + QStringLiteral("/watched"); }
    void write(const QString &name) const
    {
        QFile file(folder() + u'/' + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("x");
    }
    void replace(const QString &name) const
    {
        write(name + QStringLiteral(".new"));
        QFile::remove(folder() + u'/' + name);
        ASSERT_TRUE(QFile::rename(folder() + u'/' + name + QStringLiteral(".new"), folder() + u'/' + name));
    }
    void watch(const QString &name = {})
    {
        m_watch.emplace(
            folder(), name, [this] { ++calls; }, 10ms);
    }
    bool awaitCalls(int count)
    {
        return runUntil([&] { return calls >= count; });
    }
    /// Handles whatever waits.
    static void settle() { QCoreApplication::processEvents(QEventLoop::AllEvents); }

    int calls = 0;
    std::optional<FolderWatch> m_watch;

private:
    QTemporaryDir m_folder;
};

TEST_F(FolderWatchTest, ABurstOfChangesIsOneCall)
{
    watch();
    EXPECT_TRUE(m_watch->isWatching());
    for (int change = 0; change < 50; ++change)
        write(QStringLiteral("file%1").arg(change));
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(awaitCalls(1));
    settle();
    EXPECT_EQ(calls, 1);
}

TEST_F(FolderWatchTest, ReplacedAndRemovedFilesAreChanges)
{
    watch(QStringLiteral("settings.json"));
    replace(QStringLiteral("settings.json"));
    EXPECT_TRUE(awaitCalls(1));
    replace(QStringLiteral("settings.json"));
    EXPECT_TRUE(awaitCalls(2));
    QFile::remove(folder() + QStringLiteral("/settings.json"));
    EXPECT_TRUE(awaitCalls(3));
}

TEST_F(FolderWatchTest, OtherFilesAreNoChange)
{
    watch(QStringLiteral("settings.json"));
    write(QStringLiteral("settings.json.new"));
    settle();
    EXPECT_EQ(calls, 0);
}

TEST_F(FolderWatchTest, ReadingIsNoChange)
{
    write(QStringLiteral("settings.json"));
    watch();
    QFile file(folder() + QStringLiteral("/settings.json"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    file.close();
    settle();
    EXPECT_EQ(calls, 0);
}

TEST_F(FolderWatchTest, AFolderThatGoesAndComesBackIsWatchedAgain)
{
    watch();
    QDir(folder()).removeRecursively();
    EXPECT_TRUE(awaitCalls(1));
    EXPECT_FALSE(m_watch->isWatching());
    QDir().mkpath(folder());
    EXPECT_TRUE(awaitCalls(calls + 1)); // at the slow beat
    EXPECT_TRUE(m_watch->isWatching());
    calls = 0;
    write(QStringLiteral("settings.json"));
    EXPECT_TRUE(awaitCalls(1));
}

TEST_F(FolderWatchTest, WithoutNoticesItCallsAtTheSlowBeat)
{
    watch(); // once with descriptors: the sanitizer needs a pipe to get to know a class
    m_watch.reset();
    struct rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const struct rlimit none = {0, limit.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none); // no descriptor for notices
    watch();
    EXPECT_FALSE(m_watch->isWatching());
    ::setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_TRUE(awaitCalls(1));
    EXPECT_TRUE(m_watch->isWatching());
}

TEST_F(FolderWatchTest, TheCallbackMayDropTheWatch)
{
    m_watch.emplace(folder(), QString(), [this] {
        ++calls;
        m_watch.reset();
    });
    write(QStringLiteral("a"));
    EXPECT_TRUE(awaitCalls(1));
    write(QStringLiteral("b"));
    settle();
    EXPECT_EQ(calls, 1);
}

} // namespace
