"""What the lab's own tests share: the verbs that start a lab and speak to it."""

import json
import os
import subprocess
import sys
import tempfile
import time
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
LAB = os.path.join(HERE, "lab.py")
SCENES = os.path.join(HERE, "scenes")
# Bounded waits, in seconds; ten times what an idle machine needs.
PATIENCE = 20

sys.path.insert(0, HERE)


def scene_value(name):
    with open(f"{SCENES}/{name}.json", encoding="utf-8") as file:
        return json.load(file)


class LabCase(unittest.TestCase):
    """Runs shell scripts inside a scene."""

    def in_lab(self, scene, script, options=(), status=0):
        """Runs a shell script in a scene's sensor and answers what it printed; fails when it ends with another status."""
        done = subprocess.run([LAB, "run", *options, self.scene_file(scene), "--", "sh", "-c", script], capture_output=True, text=True,
                              timeout=PATIENCE * 3, check=False, env={**os.environ, "LAB": LAB})
        self.assertEqual(done.returncode, status, f"{done.stdout}\n{done.stderr}")
        return done.stdout

    def scene_file(self, scene):
        """The path of a scene: one of the ready ones by name, or a value that is written out."""
        if isinstance(scene, str):
            return f"{SCENES}/{scene}.json"
        file = tempfile.NamedTemporaryFile("w", suffix=".json", encoding="utf-8")
        self.addCleanup(file.close)
        json.dump(scene, file)
        file.flush()
        return file.name

    def eventually(self, condition, what):
        """Waits for a condition of another process; fails when it does not come true in time."""
        deadline = time.monotonic() + PATIENCE
        while not condition():
            self.assertLess(time.monotonic(), deadline, what)
            time.sleep(0.02)
