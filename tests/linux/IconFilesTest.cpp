#include "platform/linux/IconFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <optional>

using namespace lanterna;

namespace
{

class PublishedIcons : public testing::Test
{
protected:
    QStringList files() const { return QDir(folder).entryList(QDir::Files, QDir::Name); }
    QTemporaryDir runtime;
    QString folder = runtime.filePath("lanterna");
    std::optional<IconFiles> icons{folder};
};

TEST_F(PublishedIcons, FileHoldsThePictureUnderAnAbsolutePath)
{
    QFile file(icons->publish("picture"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "picture");
    EXPECT_TRUE(QFileInfo(file).isAbsolute());
}

TEST_F(PublishedIcons, FolderIsTheOwnersAlone)
{
    icons->publish("picture");
    constexpr QFile::Permissions others =
        QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
    EXPECT_EQ(QFileInfo(folder).permissions() & others, QFile::Permissions());
}

TEST_F(PublishedIcons, NewContentHasANewName)
{
    const QString first = icons->publish("one");
    EXPECT_NE(icons->publish("two"), first);
    EXPECT_EQ(icons->publish("one"), first);
}

TEST_F(PublishedIcons, OnlyTheShownAndTheOneBeforeAreKept)
{
    for (const char *picture : {"one", "two", "three", "four"})
        icons->publish(picture);
    EXPECT_EQ(files().size(), 2);
    EXPECT_TRUE(QFileInfo::exists(icons->publish("three")));
    EXPECT_TRUE(QFileInfo::exists(icons->publish("four")));
}

TEST_F(PublishedIcons, FolderGoesAtTheEnd)
{
    icons->publish("picture");
    icons.reset();
    EXPECT_FALSE(QFileInfo::exists(folder));
}

TEST_F(PublishedIcons, FilesOfOthersStay)
{
    icons->publish("picture");
    QFile other(folder + "/other.txt");
    ASSERT_TRUE(other.open(QIODevice::WriteOnly));
    other.close();
    icons.reset();
    EXPECT_EQ(files(), QStringList{"other.txt"});
}

TEST_F(PublishedIcons, LeftoversOfACrashGo)
{
    QDir().mkpath(folder);
    QFile left(folder + "/address-0123.png");
    ASSERT_TRUE(left.open(QIODevice::WriteOnly));
    left.close();
    icons->publish("picture");
    EXPECT_FALSE(QFileInfo::exists(left.fileName()));
}

TEST_F(PublishedIcons, FolderThatCannotBeMadeGivesNoName)
{
    EXPECT_EQ(IconFiles("").publish("picture"), "");
    EXPECT_EQ(IconFiles("/proc/nowhere").publish("picture"), "");
    QFile::link(runtime.path(), runtime.filePath("link"));
    EXPECT_EQ(IconFiles(runtime.filePath("link")).publish("picture"), "");
}

} // namespace
