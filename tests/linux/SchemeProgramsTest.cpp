#include "platform/linux/SchemePrograms.h"

#include "platform/linux/DesktopEntry.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

class SchemePrograms : public testing::Test
{
protected:
    void put(const QString &path, const QByteArray &content) const { EXPECT_EQ(replaceFile(home.filePath(path), content), ""); }
    [[nodiscard]] bool has(const QString &scheme = "appstream") const
    {
        return hasProgramForScheme(scheme, {home.filePath("own"), home.filePath("system")}, {home.filePath("config")});
    }
    QTemporaryDir home;
};

} // namespace

TEST_F(SchemePrograms, WithoutListsThereIsNone)
{
    EXPECT_FALSE(has());
}

TEST_F(SchemePrograms, ProgramInTheCacheOfASystemFolderCounts)
{
    put("system/applications/mimeinfo.cache", "[MIME Cache]\nx-scheme-handler/appstream=software.desktop;\n");
    EXPECT_FALSE(has()) << "the list is older than the program's end";
    put("system/applications/software.desktop", "[Desktop Entry]\n");
    EXPECT_TRUE(has());
    EXPECT_FALSE(has("appstreams"));
}

TEST_F(SchemePrograms, ThePersonsOwnChoiceCountsAndWhatIsTakenAwayDoesNot)
{
    put("own/applications/a.desktop", "[Desktop Entry]\n");
    put("config/mimeapps.list", "[Removed Associations]\nx-scheme-handler/appstream=a.desktop;\n");
    EXPECT_FALSE(has());
    put("config/mimeapps.list", "[Default Applications]\nx-scheme-handler/appstream = b.desktop;a.desktop\n");
    EXPECT_TRUE(has());
}

TEST_F(SchemePrograms, WhatAListTakesAwayIsHiddenInTheListsAndCachesBelowIt)
{
    put("system/applications/a.desktop", "[Desktop Entry]\n");
    put("system/applications/b.desktop", "[Desktop Entry]\n");
    put("system/applications/mimeinfo.cache", "[MIME Cache]\nx-scheme-handler/appstream=a.desktop;\n");
    put("config/mimeapps.list", "[Removed Associations]\nx-scheme-handler/appstream = a.desktop ;\n");
    EXPECT_FALSE(has());
    put("own/applications/mimeapps.list", "[Added Associations]\nx-scheme-handler/appstream=a.desktop;\n");
    EXPECT_FALSE(has()) << "a list of data is below one of configuration";
    put("system/applications/mimeinfo.cache", "[MIME Cache]\nx-scheme-handler/appstream=a.desktop;b.desktop;\n");
    EXPECT_TRUE(has()) << "another program is left";
}

TEST_F(SchemePrograms, WhatAListTakesAwayHidesNothingAboveItNorOfAnotherScheme)
{
    put("own/applications/a.desktop", "[Desktop Entry]\n");
    put("own/applications/mimeinfo.cache", "[MIME Cache]\nx-scheme-handler/appstream=a.desktop;\n");
    put("system/applications/mimeapps.list", "[Removed Associations]\nx-scheme-handler/appstream=a.desktop;\n");
    EXPECT_TRUE(has());
    put("config/mimeapps.list", "[Removed Associations]\nx-scheme-handler/http=a.desktop;\n");
    EXPECT_TRUE(has());
    put("own/applications/mimeapps.list", "[Removed Associations]\nx-scheme-handler/appstream=a.desktop;\n");
    EXPECT_FALSE(has()) << "a folder's list is above its cache";
}

TEST_F(SchemePrograms, NamesThatLeadElsewhereAreNone)
{
    put("own/a.desktop", "[Desktop Entry]\n");
    put("own/applications/mimeapps.list", "[Default Applications]\nx-scheme-handler/appstream=../a.desktop;;\n");
    EXPECT_FALSE(has());
}
