#include "platform/linux/StatusPresentation.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

using Kind = StatusPicture::Kind;
const PanelTraits drawsLabels{PanelTraits::Label::draws, PanelTraits::Picture::name};
const PanelTraits ignoresLabels{PanelTraits::Label::ignores, PanelTraits::Picture::pixmap};
const PanelTraits unknownPanel;

StatusItemContent title(const QString &text, const QString &tooltip = {})
{
    return {text, StatusImage::none, {}, tooltip};
}

TEST(StatusPresentation, PanelThatDrawsLabelsGetsTheIconBesideTheText)
{
    const StatusPresentation shown = presentStatus(title("192.168.1.20"), drawsLabels, "auto");
    EXPECT_EQ(shown.label, "192.168.1.20");
    EXPECT_EQ(shown.labelGuide, "255.255.255.255");
    EXPECT_EQ(shown.picture.kind, Kind::templateIcon);
}

TEST(StatusPresentation, PanelThatIgnoresLabelsGetsTheAddressAsPixels)
{
    const StatusPresentation shown = presentStatus(title("eth0: 192.168.1.20"), ignoresLabels, "auto");
    EXPECT_EQ(shown.picture, (StatusPicture{Kind::address, "192.168.1.20", false}));
    EXPECT_EQ(shown.toolTipTitle, "eth0: 192.168.1.20");
}

TEST(StatusPresentation, UnknownPanelGetsBoth)
{
    const StatusPresentation shown = presentStatus(title("wan: 203.0.113.7"), unknownPanel, "");
    EXPECT_EQ(shown.label, "wan: 203.0.113.7");
    EXPECT_EQ(shown.labelGuide, "wan: 255.255.255.255");
    EXPECT_EQ(shown.picture, (StatusPicture{Kind::address, "203.0.113.7", true}));
}

TEST(StatusPresentation, SettingOverridesWhatIsKnownOfThePanel)
{
    EXPECT_EQ(presentStatus(title("10.0.0.1"), drawsLabels, "icon").label, "");
    EXPECT_EQ(presentStatus(title("10.0.0.1"), drawsLabels, "icon").picture.kind, Kind::address);
    EXPECT_EQ(presentStatus(title("10.0.0.1"), drawsLabels, "lastOctets").picture.kind, Kind::lastOctets);
    EXPECT_EQ(presentStatus(title("10.0.0.1"), ignoresLabels, "label").picture.kind, Kind::templateIcon);
    EXPECT_EQ(presentStatus(title("10.0.0.1"), ignoresLabels, "label").label, "10.0.0.1");
    EXPECT_EQ(presentStatus(title("10.0.0.1"), drawsLabels, "nonsense"), presentStatus(title("10.0.0.1"), drawsLabels, "auto"));
}

TEST(StatusPresentation, IconOnlyModeShowsTheIconAlone)
{
    const StatusPresentation shown = presentStatus({"", StatusImage::templateIcon, {}, {}}, unknownPanel, "icon");
    EXPECT_EQ(shown.picture.kind, Kind::templateIcon);
    EXPECT_EQ(shown.label, "");
    EXPECT_EQ(shown.labelGuide, "");
    EXPECT_EQ(shown.toolTipTitle, "Lanterna");
}

TEST(StatusPresentation, WarningReplacesEverything)
{
    const StatusItemContent content{"10.0.0.1", StatusImage::locationWarning, "Needs permission", "10.0.0.1\nmore"};
    for (const PanelTraits &traits : {drawsLabels, ignoresLabels, unknownPanel}) {
        const StatusPresentation shown = presentStatus(content, traits, "icon");
        EXPECT_EQ(shown.picture.kind, Kind::warning);
        EXPECT_TRUE(shown.needsAttention);
        EXPECT_EQ(shown.label, "");
        EXPECT_EQ(shown.toolTipTitle, "Needs permission");
        EXPECT_EQ(shown.description, "Needs permission");
    }
}

TEST(StatusPresentation, CutTitleIsDrawnInFull)
{
    const StatusItemContent content = title("enp0s31f6: 192.168.100...", "enp0s31f6: 192.168.100.200\nwan: 203.0.113.7");
    const StatusPresentation shown = presentStatus(content, ignoresLabels, "");
    EXPECT_EQ(shown.picture.text, "192.168.100.200");
    EXPECT_EQ(shown.label, "enp0s31f6: 192.168.100...");
    EXPECT_EQ(shown.toolTipTitle, "enp0s31f6: 192.168.100.200");
    EXPECT_EQ(shown.toolTipText, "wan: 203.0.113.7");
}

TEST(StatusPresentation, DotsThatAreNoCutStay)
{
    EXPECT_EQ(fullStatusTitle(title("gathering...", "Lanterna")), "gathering...");
    EXPECT_EQ(fullStatusTitle(title("gathering...", "gathering...")), "gathering...");
}

TEST(StatusLabelGuide, IsNeverNarrowerThanTheLabel)
{
    EXPECT_EQ(statusLabelGuide("eth0: 10.0.0.1"), "eth0: 255.255.255.255");
    EXPECT_EQ(statusLabelGuide("offline"), "255.255.255.255");
    EXPECT_EQ(statusLabelGuide("a text that is longer than any"), "a text that is longer than any");
    EXPECT_EQ(statusLabelGuide(""), "");
}

} // namespace
