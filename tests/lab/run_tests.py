#!/usr/bin/python3
"""Runs modules of the lab's tests for CTest: exit code 77, one line with the reason, where the machine allows no lab at all.

  run_tests.py [--needs-lab | --inside SCENE] MODULE...

With --inside the tests themselves run in the sensor of a scene.

On a build server (CI=true) a lab that cannot run is a failure: nobody would look at the skipped line.
"""

import os
import subprocess
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
SKIPPED = 77


def skipped(reason):
    if os.environ.get("CI") == "true":
        print(f"FAILED: the lab must run on a build server: {reason}")
        return 1
    print(f"SKIPPED: {reason}")
    return SKIPPED


def main(words):
    sys.path.insert(0, HERE)
    sys.dont_write_bytecode = True
    if words and words[0] == "--needs-lab":
        words = words[1:]
        tried = subprocess.run([f"{HERE}/lab.py", "can-run"], capture_output=True, text=True, check=False)
        if tried.returncode:
            return skipped(tried.stderr.strip())
    if words and words[0] == "--inside":
        command = [f"{HERE}/lab.py", "run", f"{HERE}/scenes/{words[1]}.json", "--", sys.executable, "-B", __file__, *words[2:]]
        inside = subprocess.run(command, check=False)
        # Whether it was the lab that could not run or a test that was skipped, the reason is on the screen.
        return skipped("see above") if inside.returncode == SKIPPED else inside.returncode
    suite = unittest.defaultTestLoader.loadTestsFromNames(words)
    if not suite.countTestCases():
        print(f"FAILED: no test in {' '.join(words)}")
        return 1
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    if not result.wasSuccessful():
        return 1
    return skipped("; ".join(reason for _, reason in result.skipped)) if result.skipped else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
