#include "app/LaunchAtLoginManager.h"
#include "platform/linux/AutostartEntry.h"
#include "platform/linux/DesktopEntry.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/SmallDisk.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

const QString executable = QStringLiteral("/usr/bin/lanterna");

/// The setting and a real autostart entry, on folders that do not let it be written.
class LoginItemFolders : public testing::Test
{
protected:
    /// The lines that were logged since the last call.
    QStringList newLines()
    {
        dispatch.runReady();
        const QStringList lines = log.lines();
        log.clear();
        return lines;
    }
    [[nodiscard]] bool stored() const { return settings.boolean("launchAtLogin"); }

    QTemporaryDir home;
    QString folder = home.filePath("config/autostart");
    QString file = folder + "/lanterna.desktop";
    VirtualDispatch dispatch;
    FakeSystemLog log;
    SettingsStore settings{home.filePath("settings"), log};
    AutostartEntry entry{dispatch, folder, executable};
    LaunchAtLoginManager manager{settings, log, entry};
};

} // namespace

TEST_F(LoginItemFolders, ReadOnlyOneIsOneLogLineAndTheSettingStays)
{
    QDir().mkpath(folder);
    SmallDisk::with(folder, 64, [this](SmallDisk &disk) { // stops root, too
        disk.makeReadOnly();
        manager.applyFromPreference();
        const QStringList lines = newLines();
        ASSERT_EQ(lines.size(), 1);
        EXPECT_EQ(lines[0], "LaunchAtLoginManager: register failed: " + file + " cannot be written: Read-only file system");
        EXPECT_TRUE(stored());
        EXPECT_FALSE(entry.isEnabled());
        dispatch.advance(std::chrono::hours(1));
        EXPECT_TRUE(newLines().isEmpty()) << "nothing is tried again by itself";
        disk.makeWritable();
        manager.applyFromPreference();
        EXPECT_TRUE(newLines().isEmpty());
        EXPECT_TRUE(entry.isEnabled()) << "the next start makes up for it";
        disk.makeReadOnly();
        manager.setEnabled(false);
        EXPECT_EQ(newLines(), QStringList{"LaunchAtLoginManager: unregister failed: " + file + " cannot be removed: Read-only file system"});
        EXPECT_FALSE(stored());
        EXPECT_TRUE(entry.isEnabled());
    });
}

TEST_F(LoginItemFolders, OneThatCannotBeMadeIsOneLogLineAndTheSettingStays)
{
    ASSERT_EQ(replaceFile(home.filePath("config"), "a file in the folder's place"), ""); // stops root, too
    manager.applyFromPreference();
    EXPECT_EQ(newLines(), QStringList{"LaunchAtLoginManager: register failed: " + folder + " cannot be made"});
    EXPECT_TRUE(stored());
    EXPECT_EQ(contentOf(home.filePath("config")), "a file in the folder's place");
    manager.setEnabled(false);
    EXPECT_TRUE(newLines().isEmpty()) << "there is nothing to take away";
    EXPECT_FALSE(stored());
    ASSERT_TRUE(QFile::remove(home.filePath("config")));
    manager.setEnabled(true);
    EXPECT_TRUE(newLines().isEmpty());
    EXPECT_TRUE(entry.isEnabled());
}
