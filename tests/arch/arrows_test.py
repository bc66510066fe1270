"""Holds the folder arrows of the tree, and the rule itself against examples that break it."""

import os
import unittest

import arrows

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


class ArrowsTest(unittest.TestCase):
    def assert_allowed(self, file, include):
        self.assertEqual(arrows.faults_of(file, f"#include {include}\n"), [])

    def assert_refused(self, file, include):
        self.assertEqual(len(arrows.faults_of(file, f"// first\n#include {include}\n")), 1)

    def test_the_tree_keeps_to_its_floors(self):
        self.assertEqual(arrows.faults_in(ROOT), [])

    def test_the_tree_is_looked_at(self):
        self.assertIn("platform/Dispatch.h", list(arrows.sources(ROOT)))

    def test_includes_run_down(self):
        self.assert_allowed("app/NewMenuItem.h", '"platform/Dispatch.h"')
        self.assert_allowed("app/NewMenuItem.h", '"publish/HistoryWriter.h"')
        self.assert_allowed("publish/HistoryWriter.cpp", '"scan/Snapshot.h"')

    def test_no_include_runs_up(self):
        self.assert_refused("scan/Engine.cpp", '"app/NewMenuItem.h"')
        self.assert_refused("platform/Menu.h", '"scan/Engine.h"')
        self.assert_refused("platform/Menu.h", "<ui/Window.h>")

    def test_neighbours_of_one_floor_do_not_know_each_other(self):
        self.assert_refused("scan/Engine.cpp", '"ui/Window.h"')
        self.assert_refused("cloud/Sync.cpp", '"publish/HistoryWriter.h"')
        self.assert_refused("app/NewMenuItem.cpp", '"cli/Table.h"')

    def test_the_headless_program_uses_the_core(self):
        self.assert_allowed("cli/RunCommand.cpp", '"app/NewMenuItem.h"')

    def test_only_the_main_files_name_the_system(self):
        self.assert_allowed("app/main.cpp", '"platform/linux/NetlinkTables.h"')
        self.assert_allowed("platform/linux/desktop/X.cpp", '"platform/linux/NetlinkTables.h"')
        self.assert_refused("app/NewMenuItem.cpp", '"platform/linux/NetlinkTables.h"')
        self.assert_refused("cli/RunCommand.cpp", '"platform/linux/NetlinkTables.h"')
        self.assert_refused("platform/Menu.cpp", '"platform/linux/NetlinkTables.h"')

    def test_includes_are_written_from_the_root(self):
        self.assert_refused("app/NewMenuItem.cpp", '"NewMenuItem.h"')
        self.assert_refused("app/NewMenuItem.cpp", '"../scan/Engine.h"')
        self.assert_refused("app/NewMenuItem.cpp", '"platform/../scan/Engine.h"')
        self.assert_allowed("app/NewMenuItem.cpp", '"NewMenuItem.moc"')
        self.assert_allowed("app/NewMenuItem.cpp", "<QString>")

    def test_the_product_does_not_know_its_tests(self):
        self.assert_refused("app/NewMenuItem.cpp", '"tests/fakes/VirtualDispatch.h"')

    def test_a_fault_names_file_and_line(self):
        self.assertRegex(arrows.faults_of("scan/A.cpp", '\n\n  #  include "app/B.h"\n')[0], r"^scan/A.cpp:3: ")


if __name__ == "__main__":
    unittest.main()
