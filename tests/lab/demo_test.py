"""./run --demo as a person meets it, with the programs of the build that runs the tests (LANTERNA_PROGRAMS)."""

import glob
import os
import pathlib
import signal
import subprocess
import tempfile
import time
import unittest

from lab_case import HERE, PATIENCE, LabCase

DEMO = f"{HERE}/demo.py"


class DemoTest(LabCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        # Neither the display nor the temporary folders of whoever runs the tests.
        self.environment = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "WAYLAND_DISPLAY")}
        self.environment["TMPDIR"] = self.folder

    def start(self, *words):
        """Starts the demonstration in the terminal, its output in a file."""
        output = open(f"{self.folder}/output", "wb")  # pylint: disable=consider-using-with
        self.addCleanup(output.close)
        child = subprocess.Popen([DEMO, *words], env=self.environment, stdin=subprocess.DEVNULL, stdout=output, stderr=output, start_new_session=True)
        self.addCleanup(lambda: child.poll() is None and child.kill())
        return child

    def shown(self):
        return pathlib.Path(self.folder, "output").read_text(errors="replace")

    def picture(self, *words):
        """Runs the demonstration for its picture and answers what it said."""
        done = subprocess.run([DEMO, *words, "--xvfb", f"{self.folder}/panel.png"], env=self.environment, capture_output=True, text=True, check=False,
                              timeout=PATIENCE * 3)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(pathlib.Path(self.folder, "panel.png").read_bytes()[:4], b"\x89PNG")
        return done.stderr

    def test_the_title_and_the_fetched_address_are_shown_in_the_terminal(self):
        child = self.start()
        self.eventually(lambda: "title: 192.168.77.10" in self.shown(), "the title never came")
        self.eventually(lambda: "current WAN: 203.0.113.7" in self.shown(), "the public address never came")
        child.terminate()
        child.wait(PATIENCE)

    def test_the_first_launch_is_the_true_one(self):
        child = self.start("first-launch")
        self.eventually(lambda: "maiden voyage" in self.shown(), "the first launch was none")
        child.terminate()
        child.wait(PATIENCE)

    def test_ctrl_c_ends_all_of_it_promptly_and_leaves_no_folder(self):
        child = self.start()
        self.eventually(lambda: "title: 192.168.77.10" in self.shown(), "the title never came")
        self.assertTrue(glob.glob(f"{self.folder}/lanterna-demo-*"))
        began = time.monotonic()
        os.killpg(child.pid, signal.SIGINT)  # as a terminal does it: to all at once
        child.wait(PATIENCE)
        self.assertLess(time.monotonic() - began, 5)
        self.assertEqual(glob.glob(f"{self.folder}/lanterna-demo-*"), [])

    def test_a_picture_of_the_panel_with_the_address(self):
        self.assertIn("192.168.77.10", self.picture())

    def test_a_picture_of_the_first_launch_has_no_address(self):
        self.assertNotIn("192.168.77.10", self.picture("first-launch"))

    def test_missing_programs_give_one_line(self):
        done = subprocess.run([DEMO], env={**self.environment, "LANTERNA_PROGRAMS": "/nowhere"}, capture_output=True, text=True, check=False, timeout=PATIENCE)
        self.assertNotEqual(done.returncode, 0)
        self.assertEqual(len(done.stderr.splitlines()), 1, done.stderr)


if __name__ == "__main__":
    unittest.main()
