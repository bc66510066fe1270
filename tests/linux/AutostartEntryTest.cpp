#include "platform/linux/AutostartEntry.h"

#include "platform/linux/DesktopEntry.h"
#include "platform/linux/LoginItems.h"
#include "tests/fakes/VirtualDispatch.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace lanterna;

namespace
{

using Asker = LoginItem::Asker;

const QString executable = QStringLiteral("/usr/bin/lanterna");

class Autostart : public testing::Test
{
protected:
    QString registered(Asker asker)
    {
        return completed([&](auto done) { entry.registerItem(asker, done); });
    }
    QString unregistered()
    {
        return completed([&](auto done) { entry.unregisterItem(done); });
    }
    QString completed(const std::function<void(LoginItem::Completion)> &call)
    {
        QString answer = "never called";
        call([&](const QString &error) { answer = error; });
        EXPECT_EQ(answer, "never called") << "inside the call";
        dispatch.runReady();
        return answer;
    }
    void put(const QByteArray &content) const { EXPECT_EQ(replaceFile(file, content), ""); }

    QTemporaryDir home;
    QString folder = home.filePath("config/autostart");
    QString file = folder + "/lanterna.desktop";
    VirtualDispatch dispatch;
    AutostartEntry entry{dispatch, folder, executable};
};

} // namespace

TEST_F(Autostart, EntryIsWrittenAndTakenAway)
{
    EXPECT_FALSE(entry.isEnabled());
    EXPECT_EQ(registered(Asker::program), "");
    EXPECT_TRUE(entry.isEnabled());
    EXPECT_EQ(desktopEntryValue(contentOf(file), "Exec"), "/usr/bin/lanterna");
    EXPECT_EQ(desktopEntryValue(contentOf(file), "Type"), "Application");
    EXPECT_EQ(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{"lanterna.desktop"}) << "nothing is left beside it";
    EXPECT_EQ(unregistered(), "");
    EXPECT_FALSE(entry.isEnabled());
    EXPECT_FALSE(QFile::exists(file));
    EXPECT_EQ(unregistered(), "") << "gone already";
}

TEST_F(Autostart, EntryThatIsRightIsNotWrittenAgain)
{
    EXPECT_EQ(registered(Asker::program), "");
    struct stat before {
    };
    struct stat after {
    };
    ASSERT_EQ(stat(file.toUtf8(), &before), 0);
    EXPECT_EQ(registered(Asker::person), "");
    ASSERT_EQ(stat(file.toUtf8(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino) << "a rewritten file is another one";
}

TEST_F(Autostart, WhatTheDesktopsOwnToolSwitchedOffOnlyThePersonSwitchesOn)
{
    for (const QByteArray &off :
        {QByteArray("[Desktop Entry]\nHidden=true\n"), autostartEntry(executable).replace("enabled=true", "enabled=false")}) {
        put(off);
        EXPECT_FALSE(entry.isEnabled());
        EXPECT_EQ(registered(Asker::program), "it is switched off in the desktop's own settings");
        EXPECT_EQ(contentOf(file), off);
        EXPECT_EQ(registered(Asker::person), "");
        EXPECT_TRUE(entry.isEnabled());
    }
}

TEST_F(Autostart, EntryOfAnotherPathIsReplacedAndThePersonsOwnWordsAreKept)
{
    put(autostartEntry("/opt/old/lanterna"));
    EXPECT_FALSE(entry.isEnabled());
    EXPECT_EQ(registered(Asker::program), "");
    EXPECT_EQ(contentOf(file), autostartEntry(executable));
    put("[Desktop Entry]\nExec=env LC_ALL=C /usr/bin/lanterna --quiet\n");
    EXPECT_TRUE(entry.isEnabled());
    put("[Desktop Entry]\nExec=/usr/bin/lanternactl run\n");
    EXPECT_FALSE(entry.isEnabled());
    put("[Desktop Action x]\nExec=/usr/bin/lanterna\n");
    EXPECT_FALSE(entry.isEnabled());
}

TEST_F(Autostart, PathsWithOddCharactersAreQuotedAndRecognised)
{
    const AutostartEntry odd(dispatch, folder, "/opt/my $tools/50%/lanterna");
    put(autostartEntry("/opt/my $tools/50%/lanterna"));
    EXPECT_EQ(desktopEntryValue(contentOf(file), "Exec"), R"("/opt/my \\$tools/50%%/lanterna")");
    EXPECT_TRUE(odd.isEnabled());
    AutostartEntry unfit(dispatch, folder, "/opt/a=b/lanterna");
    EXPECT_EQ(completed([&](auto done) { unfit.registerItem(Asker::person, done); }), "no desktop can start a program with such a path");
}

TEST_F(Autostart, FolderThatCannotBeWrittenIsToldInOneLine)
{
    put("[Desktop Entry]\nHidden=true\n");
    QFile::remove(file);
    QDir().mkpath(file); // a folder in the file's place stops root as well
    const QString error = registered(Asker::program);
    EXPECT_TRUE(error.startsWith(file + " cannot be written: ")) << error.toStdString();
    EXPECT_FALSE(error.contains('\n'));
    EXPECT_TRUE(unregistered().startsWith(file + " cannot be removed: "));
    AutostartEntry homeless(dispatch, {}, executable);
    EXPECT_EQ(completed([&](auto done) { homeless.registerItem(Asker::program, done); }), "there is no home folder");
    EXPECT_FALSE(homeless.isEnabled());
}

TEST_F(Autostart, ProgramInABuildTreeRegistersNothingUnlessToldTo)
{
    qputenv("XDG_CONFIG_HOME", home.filePath("config").toUtf8());
    qunsetenv("LANTERNA_LOGIN_ITEM");
    QDir(home.path()).mkpath("tree/bin");
    const QDBusConnection noBus("none");
    const auto make = [&] { return desktopLoginItem(dispatch, noBus, ProgramFiles(home.filePath("tree/bin")), executable); };
    auto item = make();
    EXPECT_EQ(completed([&](auto done) { item->registerItem(Asker::person, done); }), "");
    EXPECT_FALSE(QFile::exists(file));
    qputenv("LANTERNA_LOGIN_ITEM", "1");
    item = make();
    EXPECT_EQ(completed([&](auto done) { item->registerItem(Asker::person, done); }), "");
    EXPECT_TRUE(QFile::exists(file));
    QFile::remove(file);
    qunsetenv("LANTERNA_LOGIN_ITEM");
    QDir(home.path()).mkpath("tree/share/applications");
    EXPECT_EQ(replaceFile(home.filePath("tree/share/applications/lanterna.desktop"), "[Desktop Entry]\n"), "");
    item = make();
    EXPECT_EQ(completed([&](auto done) { item->registerItem(Asker::program, done); }), "");
    EXPECT_TRUE(QFile::exists(file)) << "an installed one does";
}
