"""The LAN data sharing panel, its stub editor, its questions and the activity log, worked by mouse and by keyboard."""

import unittest

from window_case import PREFERENCES, THE_PAIR, WindowCase

PANEL = "LAN Data Sharing"
PICKER = "Associate data with WiFi network:"
STUB_CHANGED = "posted WiFiStubChanged"
EDITED = "posted MACAddressesByNetworkSegmentDictEdited"
SCAN = "posted TriggerImmediateScan"
TABLE = {"Home": {"192.168.1.20": "00:11:22:33:44:55", "lastUpdate": "2026-11-20 18:30:00"}, "Office": {"lastUpdate": "2026-11-18 09:12:00"}}


class LANDataTest(WindowCase):
    def open_panel(self, **settings):
        self.start(**settings)
        self.open_preferences()
        self.windows.wait("push button", "Configure LAN data sharing").click()
        self.windows.wait("dialog", PANEL)
        self.wait_for_focus(PANEL)

    def open_logs(self, **settings):
        self.open_panel(**settings)
        self.windows.wait("push button", "Logs").click()
        self.wait_for_focus("Recent Activity")

    def open_editor(self):
        """From the Ethernet warning, by keyboard."""
        self.open_panel()
        self.windows.wait("push button", "No active WiFi network detected").click()
        self.wait_for_question("No Active WiFi Network")
        self.press("Return")
        self.wait_for_focus("Create WiFi Stub")

    def wait_for_question(self, heading):
        self.windows.wait("alert message", heading)
        self.wait_for_focus("Lanterna")

    def wait_for_selection(self, text):
        self.session.wait_for(lambda: self.windows.wait("combo box", PICKER).description == text, f"'{text}' in the picker")

    def test_boxes_are_stored_and_told(self):
        self.open_panel()
        self.windows.wait("check box", "Current logged-in user name").click()
        self.wait_for_lines(*THE_PAIR)
        self.assertIs(self.stored()["showCurrentUser"], False)
        self.press("Tab", "space")
        self.wait_for_lines(*THE_PAIR * 2)
        self.assertIs(self.stored()["showMACAddresses"], False)

    def test_network_is_chosen_by_keyboard(self):
        self.open_panel(MACAddressesByNetworkSegment=TABLE, realWiFiAvailable=True)
        self.press("Tab", "Tab", "space", "Down", "Return")
        self.wait_for_lines(*THE_PAIR, SCAN)
        self.assertEqual(self.stored()["associatedWiFiNetwork"], "Home")
        self.wait_for_selection("Home")

    def test_stub_is_typed_and_saved_trimmed(self):
        self.open_editor()
        self.session.run(["xdotool", "type", "--delay", "30", "  HomeNet "])
        self.press("Return")
        self.wait_for_focus(PANEL)
        self.wait_for_selection("HomeNet (stub)")
        self.assertEqual((self.stored()["wiFiStubSSID"], self.stored()["associatedWiFiNetwork"]), ("HomeNet", "HomeNet"))
        self.wait_for_lines(*THE_PAIR, STUB_CHANGED, SCAN)  # the selection has changed, too
        self.windows.wait("label", "Using WiFi stub: HomeNet")
        self.windows.wait("push button", "Remove").click()
        self.session.wait_for(lambda: self.stored().get("wiFiStubSSID", "") == "", "the end of the stub")
        self.assertEqual(self.said().count(STUB_CHANGED), 2)
        self.windows.wait("push button", "No active WiFi network detected")

    def test_name_of_33_characters_is_refused_and_32_are_taken(self):
        self.open_editor()
        self.session.run(["xdotool", "type", "--delay", "10", "x" * 33])
        self.windows.wait("alert message", "SSIDs are limited to 32 characters.")
        self.press("Return")
        self.windows.wait("push button", "Create").click()
        self.assertNotIn("wiFiStubSSID", self.stored())
        self.assertEqual(self.focused(), "Create WiFi Stub")
        self.press("BackSpace")
        self.windows.wait_gone("alert message", "SSIDs are limited to 32 characters.")
        self.press("Return")
        self.wait_for_focus(PANEL)
        self.assertEqual(self.stored()["wiFiStubSSID"], "x" * 32)

    def test_cancelled_stub_goes_back_to_the_last_choice_in_this_panel(self):
        self.open_panel(MACAddressesByNetworkSegment=TABLE, associatedWiFiNetwork="Office", realWiFiAvailable=True)
        self.press("Tab", "Tab", "space", "Down", "Return")
        self.wait_for_focus("Create WiFi Stub")
        self.assertEqual(self.stored()["associatedWiFiNetwork"], "current")
        self.press("Escape")
        self.wait_for_focus(PANEL)
        self.assertNotIn(SCAN, self.said())

    def test_selected_network_is_removed_after_a_question(self):
        self.open_panel(MACAddressesByNetworkSegment=TABLE, recentICloudActivity=TABLE, associatedWiFiNetwork="Home", wiFiStubSSID="Home")
        trash = self.windows.wait("push button", "Remove the selected network from the list")
        trash.click()
        self.wait_for_question("Remove Network")
        self.press("Return")  # the safe answer
        self.windows.wait_gone("alert message", "Remove Network")
        self.assertIn("Home", self.stored()["MACAddressesByNetworkSegment"])
        trash.click()
        self.wait_for_question("Remove Network")
        self.press("Tab", "space")
        self.windows.wait_gone("alert message", "Remove Network")
        self.wait_for_selection("<Current connected WiFi network>")
        stored = self.stored()
        self.assertEqual((list(stored["MACAddressesByNetworkSegment"]), list(stored["recentICloudActivity"])), (["Office"], ["Office"]))
        self.assertEqual(stored.get("wiFiStubSSID", ""), "")
        self.assertLess(self.said().index(STUB_CHANGED), self.said().index(EDITED))

    def test_keyboard_is_where_something_can_be_seen_after_a_removal(self):
        self.open_panel(MACAddressesByNetworkSegment=TABLE, associatedWiFiNetwork="Home", realWiFiAvailable=True)
        self.press("Tab", "Tab", "Tab", "space")  # the bin
        self.wait_for_question("Remove Network")
        self.press("Tab", "space")
        self.wait_for_selection("<Current connected WiFi network>")
        self.wait_for_focus(PANEL)
        self.session.wait_for(lambda: self.windows.wait("combo box", PICKER).has("focused"), "the keyboard in the picker")

    def test_panel_is_as_high_as_its_content_when_the_stub_goes(self):
        self.open_panel()
        _, _, _, without = self.windows.wait("dialog", PANEL).box
        self.press("Escape")
        self.windows.wait_gone("dialog", PANEL)
        self.end()
        self.open_panel(wiFiStubSSID="HomeNet")
        self.session.wait_for(lambda: self.windows.wait("dialog", PANEL).box[3] > without - 40, "the banner")
        self.windows.wait("push button", "Remove").click()
        self.windows.wait("push button", "No active WiFi network detected")
        self.session.wait_for(lambda: self.windows.wait("dialog", PANEL).box[3] == without, f"a panel {without} points high")

    def test_log_entry_is_deleted_by_mouse_and_by_keyboard(self):
        self.open_logs(recentICloudActivity=TABLE, currentDisplayedWiFiName="Home")
        self.windows.wait("push button", "Delete Office").click()
        self.wait_for_question("Delete Network")
        self.press("Tab", "space")  # from the safe button round to the other
        self.windows.wait_gone("alert message", "Delete Network")
        self.wait_for_lines(EDITED)
        self.assertEqual(list(self.stored()["recentICloudActivity"]), ["Home"])
        self.press("Delete")
        self.wait_for_question("Delete Network")
        self.windows.wait("push button", "Delete").click()
        self.wait_for_lines(EDITED, EDITED)
        self.windows.wait("label", "No recent activity")
        self.assertEqual(self.stored().get("recentICloudActivity", {}), {})

    def test_entry_that_went_meanwhile_is_not_deleted_again(self):
        self.open_logs(recentICloudActivity=TABLE)
        self.windows.wait("push button", "Delete Office").click()
        self.wait_for_question("Delete Network")
        other = self.folder / "other.json"
        other.write_text('{"recentICloudActivity": "nothing"}')
        other.rename(self.folder / "settings.json")
        self.windows.wait("label", "No recent activity")
        self.windows.wait("push button", "Delete").click()
        self.windows.wait_gone("alert message", "Delete Network")
        self.assertEqual(self.stored(), {"recentICloudActivity": "nothing"})
        self.assertEqual(self.said(), [])

    def test_escape_closes_the_topmost_window_alone(self):
        self.open_logs(recentICloudActivity=TABLE)
        self.windows.wait("push button", "Delete Home").click()
        self.wait_for_question("Delete Network")
        for title in ("Recent Activity", PANEL, PREFERENCES):
            self.press("Escape")
            self.wait_for_focus(title)
        self.assertEqual(self.said(), [])

    def test_panel_goes_with_a_click_in_the_preferences(self):
        self.open_panel()
        left, top, _, height = self.windows.wait("frame", PREFERENCES).box
        self.session.click(left + 8, top + height - 4)  # the panel leaves the lower edge free
        self.windows.wait_gone("dialog", PANEL)
        self.wait_for_focus(PREFERENCES)


del WindowCase

if __name__ == "__main__":
    unittest.main(verbosity=2)
