#include "platform/linux/URLSchemeHandler.h"

#include "platform/linux/DesktopEntry.h"

#include "platform/linux/LinuxChildProcesses.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

const QString scheme = QStringLiteral("cloudkit-icloud.org.example.lanterna");
const QByteArray line = "x-scheme-handler/cloudkit-icloud.org.example.lanterna=lanterna-sign-in.desktop";

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
}

/// Does nothing but note what it was asked.
class NoPrograms : public ChildProcesses
{
public:
    void run(const QStringList &command) override { commands.append(command); }
    void start(const QStringList &) override { }
    QList<QStringList> commands;
};

/// The real xdg-mime, on folders of the test's own.
class URLSchemeHandlerTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QDir().mkpath(places.configuration));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(places.configuration));
        qputenv("XDG_DATA_HOME", QFile::encodeName(folder.path()));
    }
    void TearDown() override
    {
        qunsetenv("XDG_CONFIG_HOME");
        qunsetenv("XDG_DATA_HOME");
    }

    QTemporaryDir folder;
    const URLSchemeHandler::Places places{QStringLiteral("/opt/My Programs/lanternactl"), folder.filePath("applications"), folder.filePath("config")};
    const QString entryFile = folder.filePath("applications/lanterna-sign-in.desktop");
    const QString mimeApps = folder.filePath("config/mimeapps.list");
    LinuxChildProcesses processes;
    URLSchemeHandler handler{processes, places};
};

} // namespace

TEST(URLSchemeHandler, NoCharacterOfAPathMeansAnythingInAnEntry)
{
    EXPECT_EQ(execArgument("/usr/bin/lanternactl"), "/usr/bin/lanternactl") << "plain, for openers that know no quotes";
    EXPECT_EQ(execArgument("/a b/50%u"), "\"/a b/50%%u\"");
    EXPECT_EQ(execArgument("/a$b`c\"d"), R"("/a\\$b\\`c\\"d")");
    EXPECT_EQ(execArgument("/a\\b"), R"("/a\\\\b")");
    EXPECT_EQ(execArgument("/a;'b>&~"), "\"/a;'b>&~\"");
}

TEST(URLSchemeHandler, EntryIsHiddenAndNamesTheScheme)
{
    EXPECT_EQ(schemeHandlerEntry("/usr/bin/lanternactl", scheme),
        "[Desktop Entry]\nType=Application\nName=Lanterna sign-in\nNoDisplay=true\nStartupNotify=false\n"
        "MimeType=x-scheme-handler/cloudkit-icloud.org.example.lanterna;\nExec=/usr/bin/lanternactl cloud callback %u\n");
}

TEST(URLSchemeHandler, DefaultIsReadFromItsGroupOnly)
{
    EXPECT_TRUE(isSchemeDefault("[Default Applications]\n" + line + "\n", scheme));
    EXPECT_TRUE(isSchemeDefault("[Default Applications]\na=b\n" + line + ";other.desktop;", scheme));
    EXPECT_FALSE(isSchemeDefault("[Added Associations]\n" + line + "\n", scheme));
    EXPECT_FALSE(isSchemeDefault("[Default Applications]\n[Added Associations]\n" + line, scheme));
    EXPECT_FALSE(
        isSchemeDefault("[Default Applications]\nx-scheme-handler/" + scheme.toLatin1() + "=other.desktop;lanterna-sign-in.desktop", scheme));
    EXPECT_FALSE(isSchemeDefault("[Default Applications]\n" + line, "cloudkit-icloud.org.example.other"));
    EXPECT_FALSE(isSchemeDefault({}, scheme));
}

TEST(URLSchemeHandler, RestOfTheDefaultsStaysByteForByte)
{
    const QByteArray others = "# mine\n\n[Default Applications]\ntext/plain=lanterna-sign-in.desktop\nx-scheme-handler/https=firefox.desktop;\n";
    EXPECT_EQ(withoutSchemeHandler(others), others);
    EXPECT_EQ(withoutSchemeHandler(others + line + "\n"), others);
    EXPECT_EQ(withoutSchemeHandler(others + " " + line + "\n"), others);
    EXPECT_EQ(
        withoutSchemeHandler(others + line + ";other.desktop;\n[X]\n"), others + "x-scheme-handler/" + scheme.toLatin1() + "=other.desktop;\n[X]\n");
    EXPECT_EQ(withoutSchemeHandler({}), "");
}

TEST(URLSchemeHandler, DefaultThatCannotBeSetIsSaid)
{
    QTemporaryDir folder;
    NoPrograms none;
    const URLSchemeHandler handler(none, {"/usr/bin/lanternactl", folder.filePath("applications"), folder.filePath("config")});
    EXPECT_EQ(handler.install(scheme), "xdg-mime could not make Lanterna the program for cloudkit-icloud.org.example.lanterna addresses");
    EXPECT_EQ(none.commands.value(0),
        QStringList({"xdg-mime", "default", "lanterna-sign-in.desktop", "x-scheme-handler/cloudkit-icloud.org.example.lanterna"}));
    EXPECT_EQ(URLSchemeHandler(none, {"/usr/bin/lanternactl", {}, {}}).install(scheme), "there is no home folder");
    EXPECT_EQ(URLSchemeHandler(none, {"/a=b/lanternactl", folder.path(), folder.path()}).install(scheme),
        "no desktop can start a program with such a path");
    write(folder.filePath("file"), "");
    EXPECT_TRUE(URLSchemeHandler(none, {"/l", folder.filePath("file"), folder.path()}).install(scheme).endsWith("cannot be made"));
}

TEST_F(URLSchemeHandlerTest, DesktopKnowsTheProgramForTheScheme)
{
    write(mimeApps, "[Default Applications]\nx-scheme-handler/https=firefox.desktop\n");
    EXPECT_EQ(handler.install(scheme), "");
    EXPECT_EQ(read(entryFile), schemeHandlerEntry(places.executable, scheme));
    EXPECT_EQ(read(mimeApps), "[Default Applications]\nx-scheme-handler/https=firefox.desktop\n" + line + "\n");
}

TEST_F(URLSchemeHandlerTest, WhatIsThereAlreadyIsNotWrittenAgain)
{
    EXPECT_EQ(handler.install(scheme), "");
    NoPrograms none;
    EXPECT_EQ(URLSchemeHandler(none, places).install(scheme), "");
    EXPECT_TRUE(none.commands.isEmpty());
    EXPECT_EQ(URLSchemeHandler(processes, {"/elsewhere/lanternactl", places.applications, places.configuration}).install(scheme), "");
    EXPECT_TRUE(read(entryFile).contains("Exec=/elsewhere/lanternactl ")) << "another program took its place";
}

TEST_F(URLSchemeHandlerTest, RemovalLeavesNothingBehind)
{
    write(mimeApps, "[Default Applications]\ntext/plain=vim.desktop\n");
    EXPECT_EQ(handler.install(scheme), "");
    EXPECT_EQ(handler.install("cloudkit-icloud.org.example.other"), "");
    EXPECT_EQ(handler.remove(), "");
    EXPECT_FALSE(QFile::exists(entryFile));
    EXPECT_EQ(read(mimeApps), "[Default Applications]\ntext/plain=vim.desktop\n");
    EXPECT_EQ(handler.remove(), "") << "and a second time";
}
