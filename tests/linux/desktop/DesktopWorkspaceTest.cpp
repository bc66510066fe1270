#include "platform/linux/desktop/DesktopWorkspace.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

TEST(SchemeHandler, IsFoundInAnyList)
{
    const QString list = "[Default Applications]\nx-scheme-handler/http=a.desktop\nx-scheme-handler/x-thing=b.desktop;\n";
    EXPECT_TRUE(hasSchemeHandler("x-thing", {"", list}));
    EXPECT_FALSE(hasSchemeHandler("x-thin", {list}));
    EXPECT_FALSE(hasSchemeHandler("x-thing", {}));
}

TEST(SchemeHandler, RemovedAndEmptyOnesDoNotCount)
{
    EXPECT_FALSE(hasSchemeHandler("x-thing", {"[Removed Associations]\nx-scheme-handler/x-thing=b.desktop\n"}));
    EXPECT_FALSE(hasSchemeHandler("x-thing", {"[Default Applications]\nx-scheme-handler/x-thing=\n"}));
}

TEST(PrivacySettings, RunningDesktopsOwnComeFirst)
{
    EXPECT_EQ(privacySettingsCommands("ubuntu:GNOME").first().first(), "gnome-control-center");
    EXPECT_EQ(privacySettingsCommands("X-Cinnamon").first(), (QStringList{"cinnamon-settings", "privacy"}));
    EXPECT_EQ(privacySettingsCommands("").size(), privacySettingsCommands("KDE").size());
}

} // namespace
