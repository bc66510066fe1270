#include "tests/ui/PanelFixture.h"

using namespace lanterna;

namespace
{

/// Every text of the panel and of the windows over it, letter by letter: companions, manuals and translations rely on them.
class Texts : public PanelFixture
{
protected:
    static void expectTexts(QQuickWindow *window, std::initializer_list<const char *> texts)
    {
        ASSERT_TRUE(window);
        for (const char *text : texts)
            EXPECT_TRUE(shownItem(window, text)) << text;
    }
    void select(const char *network)
    {
        const QVariantMap tables{{network, QVariantMap{{"lastUpdate", "today"}}}};
        settings.setValue("MACAddressesByNetworkSegment", tables);
        settings.setValue("recentICloudActivity", tables);
        settings.setValue("associatedWiFiNetwork", network);
    }
};

TEST_F(Texts, OfThePanelWithoutAStub)
{
    select("Office");
    expectTexts(openPanel(),
        {"LAN Data Sharing", "No active WiFi network detected",
            "This Mac appears to be connected via Ethernet. Click to learn how to sync MAC addresses to iOS devices on a WiFi network.",
            "Current logged-in user name", "MAC addresses for all discovered devices",
            "Associate data with WiFi network:", "Remove the selected network from the list", "Logs", "iCloud Data Privacy"});
}

TEST_F(Texts, OfThePanelWithAStub)
{
    settings.setValue("wiFiStubSSID", "Office");
    expectTexts(
        openPanel(), {"Using WiFi stub: Office", "Data will be associated with this SSID until this Mac connects to a real WiFi network.", "Remove"});
}

TEST_F(Texts, OfThePickersItems)
{
    select("Office");
    settings.setValue("wiFiStubSSID", "Office");
    openPanel();
    QStringList items;
    for (const QVariant &item : panelPicker()->property("model").toList())
        items.append(item.toMap().value("text").toString());
    EXPECT_EQ(items, QStringList({"<Current connected WiFi network>", "Office (stub)", "Create WiFi Stub…"}));
}

TEST_F(Texts, OfTheEditorOfANewStub)
{
    openPanel();
    choose("Create WiFi Stub…");
    QQuickWindow *editor = windowWith("Create WiFi Stub");
    expectTexts(editor,
        {"Enter the SSID of the WiFi network your iOS devices are connected to. Lanterna will associate its shared data with this name so that "
         "Rangefinder on those devices can find it.",
            "WiFi network name (SSID)",
            "Note: this must match the SSID exactly, including capitalization. The stub is automatically ignored once this Mac connects to a real "
            "WiFi network.",
            "Cancel", "Create"});
    QQuickItem *field = find(editor->contentItem(), "e.g. MyHomeNetwork", "placeholderText");
    ASSERT_TRUE(field);
    field->setProperty("text", QString(33, 'x'));
    settle();
    expectTexts(editor, {"SSIDs are limited to 32 characters."});
}

TEST_F(Texts, OfTheEditorOfAStub)
{
    settings.setValue("wiFiStubSSID", "Office");
    openPanel();
    choose("Create WiFi Stub…");
    expectTexts(windowWith("Edit WiFi Stub"), {"Edit WiFi Stub", "Cancel", "Save"});
}

TEST_F(Texts, OfThePrivacyAlert)
{
    click(openPanel(), "iCloud Data Privacy");
    expectTexts(windowWith("OK"),
        {"iCloud Data Privacy",
            "Data collected by Lanterna is only accessible to instances of Rangefinder associated with the owner's Apple ID and adheres to all of "
            "Apple's iCloud data security protocols."});
}

TEST_F(Texts, OfTheAlertAboutTheMissingNetwork)
{
    click(openPanel(), "This Mac appears to be connected via Ethernet. Click to learn how to sync MAC addresses to iOS devices on a WiFi network.");
    expectTexts(windowWith("No Active WiFi Network"),
        {"Lanterna syncs MAC addresses to iOS devices using the name of the WiFi network they share with this Mac. Since this Mac is connected via "
         "Ethernet (not WiFi), there is no shared network name to use as a key.\n\n"
         "You have two options:\n\n"
         "• Connect this Mac to the same WiFi network as your iOS devices.\n\n"
         "• Create a \"WiFi Stub\" — manually enter the SSID of the WiFi network your iOS devices are connected to. Lanterna will then associate "
         "its data with that name, so iOS instances of Rangefinder on that network can find it.",
            "Create WiFi Stub…", "Cancel"});
}

TEST_F(Texts, OfTheRemovalAlert)
{
    select("Ann's Office");
    click(openPanel(), "Remove the selected network from the list");
    expectTexts(windowWith("Remove Network"),
        {"Remove \"Ann's Office\" from the network list? Its locally cached MAC-address data for that network will be cleared. The selection will "
         "revert to <Current connected WiFi network>.",
            "Cancel", "Remove"});
}

TEST_F(Texts, OfTheEmptyLog)
{
    click(openPanel(), "Logs");
    expectTexts(windowWith("Recent Activity"), {"Unknown", "No recent activity"});
}

TEST_F(Texts, OfTheLogAndItsAlert)
{
    select("Ann's Office");
    click(openPanel(), "Logs");
    QQuickWindow *sheet = windowWith("Recent Activity");
    expectTexts(sheet, {"Ann's Office", "today", "Delete"});
    click(sheet, "Delete");
    expectTexts(windowWith("Delete Network"), {"Are you sure you want to delete 'Ann's Office' from the activity log?", "Delete", "Cancel"});
}

} // namespace
