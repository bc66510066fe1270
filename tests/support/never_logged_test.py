"""The search for secrets in logs, on logs made up for it."""

import base64
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import urllib.parse

import never_logged
from never_logged import MARK

HERE = os.path.dirname(os.path.abspath(__file__))
SECRET = f"pä:ss {MARK} %41"


class NeverLoggedTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def look(self, **logs):
        """(exit code, output) of a search through logs with these contents."""
        for name, content in logs.items():
            (self.folder / name).write_bytes(content if isinstance(content, bytes) else content.encode())
        done = subprocess.run([sys.executable, "-B", f"{HERE}/never_logged.py", *logs], cwd=self.folder, capture_output=True, text=True, check=False)
        return done.returncode, done.stdout

    def test_a_secret_is_found_in_whatever_form_and_not_shown(self):
        forms = [SECRET, SECRET.upper(), urllib.parse.quote(SECRET), urllib.parse.quote(urllib.parse.quote(SECRET))]
        forms += [base64.b64encode(f"{before}{SECRET}".encode()).decode() for before in ("", "a", "ab", "ada:")]
        for form in forms:
            self.assertEqual(self.look(a="nothing here\n", b=f"one line\nanother with '{form}' in it\n"), (1, "b:2: a secret\n"), form)

    def test_every_line_with_one_is_told_also_among_bytes_that_are_no_text(self):
        line = b"\xff\x00" + MARK.encode()
        self.assertEqual(self.look(a=b"\n".join([line, b"", line])), (1, "a:1: a secret\na:3: a secret\n"))

    def test_logs_without_one_pass(self):
        self.assertEqual(self.look(a="a password was asked for\n", b="Basic YWRhOnBhc3N3b3Jk\n"), (0, "no secret in 2 lines of 2 logs\n"))

    def test_nothing_to_look_at_is_a_failure(self):
        self.assertEqual(self.look(), (1, "no line to look at\n"))
        self.assertEqual(self.look(a="", b=""), (1, "no line to look at\n"))
        self.assertEqual(self.look(a="", b="a line\n"), (0, "no secret in 1 lines of 2 logs\n"))
        self.assertEqual(never_logged.search(f"{self.folder}/gone"), (0, [f"{self.folder}/gone: No such file or directory"]))

    def test_both_languages_have_the_same_mark(self):
        header = pathlib.Path(f"{HERE}/NeverLogged.h").read_text(encoding="utf-8")
        self.assertEqual(re.findall(r'#define SECRET_MARK "(.*)"', header), [MARK])


if __name__ == "__main__":
    unittest.main()
