"""The set-up of ./run and ./check: packages are named, installed without their daemons, and left alone when they are there.

dpkg-query, apt-get and sudo are small working stand-ins in a folder of their own; nothing of the machine is changed.
"""

import os
import signal
import subprocess
import tempfile
import time
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
MARK = "# temporary: Lanterna's set-up starts no daemon"

# Prints what the file "installed" lists, and fails when something else was asked for, as dpkg-query does.
DPKG_QUERY = """#!/bin/bash
code=0
for name in "${@:3}"; do
    if grep -qxF "$name" "$BOX/installed"; then echo "installed $name"; else code=1; fi
done
exit $code
"""
# Writes down its words and whether a policy stood there; installs by listing, or fails or dawdles when told to. It dawdles without a child of its own:
# a shell that is interrupted while a child ends well goes on.
APT_GET = """#!/bin/bash
echo "apt-get $*" >> "$BOX/calls"
[ "$2" = update ] && exit 0
cat "$LANTERNA_POLICY" > "$BOX/policy-seen" 2>/dev/null
[ "$DEBIAN_FRONTEND" = noninteractive ] || exit 9
[ -e "$BOX/slow" ] && { : > "$BOX/waiting"; exec sleep 30; }
[ -e "$BOX/broken" ] && exit 100
for name in "${@:5}"; do echo "$name" >> "$BOX/installed"; done
"""
SUDO = '#!/bin/bash\necho sudo >> "$BOX/calls"\nexec "$@"\n'
ID = "#!/bin/bash\necho 1000\n"


class SetupTest(unittest.TestCase):
    def setUp(self):
        box = tempfile.TemporaryDirectory()
        self.addCleanup(box.cleanup)
        self.box = box.name
        os.mkdir(f"{self.box}/bin")
        for name, text in (("dpkg-query", DPKG_QUERY), ("apt-get", APT_GET), ("sudo", SUDO), ("id", ID)):
            self.write(f"bin/{name}", text, 0o755)
        self.write("installed", "")
        self.write("calls", "")
        self.write("os-release", 'ID=debian\nVERSION_ID="12"\n')
        self.environment = {**os.environ, "BOX": self.box, "PATH": f"{self.box}/bin:{os.environ['PATH']}",
                            "LANTERNA_OS_RELEASE": f"{self.box}/os-release", "LANTERNA_POLICY": f"{self.box}/policy-rc.d"}

    def write(self, name, text, mode=0o644):
        with open(f"{self.box}/{name}", "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(f"{self.box}/{name}", mode)

    def read(self, name):
        with open(f"{self.box}/{name}", encoding="utf-8") as file:
            return file.read()

    def exists(self, name):
        return os.path.exists(f"{self.box}/{name}")

    def shell(self, script):
        return subprocess.run(["bash", "-euc", f". packaging/setup.sh; {script}"], cwd=ROOT, env=self.environment, capture_output=True, text=True,
                              check=False, timeout=60)

    def ensure(self, *groups):
        return self.shell(f"ensure_packages 'for the test' {' '.join(groups)}; echo went on")

    def all_packages(self, *groups):
        return self.shell(f"packages_of {' '.join(groups)}").stdout.split()

    def test_groups_of_the_list_are_read(self):
        packages = self.all_packages("build", "lab")
        self.assertIn("cmake", packages)
        self.assertIn("dnsmasq-base", packages)
        self.assertNotIn("xvfb", packages)
        self.assertEqual(len(packages), len(set(packages)))

    def test_no_package_with_a_starting_daemon_is_taken_where_a_bare_one_exists(self):
        self.assertFalse({"dnsmasq", "apache2"} & set(self.all_packages("build", "run", "lab", "panel", "test")))

    def test_nothing_missing_calls_nothing(self):
        self.write("installed", "\n".join(self.all_packages("build")) + "\n")
        done = self.ensure("build")
        self.assertEqual((done.returncode, done.stdout, done.stderr, self.read("calls")), (0, "went on\n", "", ""))

    def test_what_is_missing_is_named_with_its_reason_and_installed_through_sudo(self):
        self.write("installed", "\n".join(p for p in self.all_packages("build") if p != "cmake") + "\n")
        done = self.ensure("build")
        self.assertEqual((done.returncode, done.stdout), (0, "went on\n"))
        self.assertRegex(done.stderr, r"missing for the test: cmake\n.*password")
        self.assertIn("apt-get -qq install -y --no-install-recommends cmake\n", self.read("calls"))
        self.assertIn("sudo", self.read("calls"))

    def test_no_daemon_starts_meanwhile_and_the_policy_goes_afterwards(self):
        self.assertEqual(self.ensure("build").returncode, 0)
        self.assertIn("exit 101", self.read("policy-seen"))
        self.assertFalse(self.exists("policy-rc.d"))

    def test_a_failed_installation_ends_with_2_and_removes_the_policy(self):
        self.write("broken", "")
        done = self.ensure("build")
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn("exit 101", self.read("policy-seen"))
        self.assertFalse(self.exists("policy-rc.d"))

    def test_an_interrupted_installation_removes_the_policy(self):
        self.write("slow", "")
        with subprocess.Popen(["bash", "-euc", ". packaging/setup.sh; ensure_packages why build"], cwd=ROOT, env=self.environment,
                              stderr=subprocess.DEVNULL, start_new_session=True) as child:
            for _ in range(500):
                if self.exists("waiting"):
                    break
                time.sleep(0.02)
            os.killpg(child.pid, signal.SIGINT)
            self.assertNotEqual(child.wait(10), 0)
        self.assertFalse(self.exists("policy-rc.d"))

    def test_an_administrators_policy_is_left_alone(self):
        self.write("policy-rc.d", "#!/bin/sh\nexit 0\n")
        self.assertEqual(self.ensure("build").returncode, 0)
        self.assertEqual(self.read("policy-rc.d"), "#!/bin/sh\nexit 0\n")

    def test_a_policy_left_by_a_killed_start_is_taken_back(self):
        self.write("policy-rc.d", f"#!/bin/sh\n{MARK}\nexit 101\n")
        self.assertEqual(self.ensure("build").returncode, 0)
        self.assertFalse(self.exists("policy-rc.d"))

    def test_another_distribution_gets_the_names_and_2(self):
        for release in ('ID=fedora\nVERSION_ID="42"\n', 'ID=debian\nVERSION_ID="11"\n', ""):
            self.write("os-release", release)
            done = self.ensure("build")
            self.assertEqual((done.returncode, done.stdout, self.read("calls")), (2, "", ""))
            self.assertIn("qt6-base-dev", done.stderr)

    def test_another_distribution_that_has_everything_goes_on(self):
        self.write("os-release", 'ID=ubuntu\nVERSION_ID="24.04"\n')
        self.write("installed", "\n".join(self.all_packages("build")) + "\n")
        self.assertEqual(self.ensure("build").stdout, "went on\n")

    def test_without_dpkg_everything_is_missing(self):
        self.write("bin/dpkg-query", "#!/bin/sh\nexit 127\n", 0o755)
        self.write("os-release", "ID=arch\n")
        self.assertIn(" cmake ", self.ensure("build").stderr)

    def test_unknown_words_show_the_usage_and_end_with_2(self):
        for words in (["--fly"], ["first-launch"], ["--demo", "--xvfb"], ["--xvfb", "x.png"]):
            done = subprocess.run([f"{ROOT}/run", *words], env=self.environment, capture_output=True, text=True, check=False, timeout=60)
            self.assertEqual((done.returncode, self.read("calls")), (2, ""))
            self.assertIn("./run --demo", done.stderr)


if __name__ == "__main__":
    unittest.main()
