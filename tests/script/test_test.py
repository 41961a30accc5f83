"""script/test says what failed and how to see it again; what it calls is played by small scripts."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]

# Each writes down how it was called. CTest fails the tests that the test has named.
CALLED = '#!/bin/bash\necho "${0##*/} $*" >> "$ROOT/calls"\n'
NINJA = CALLED + '[ ! -e "$ROOT/build-fails" ]\n'
CTEST = CALLED + '''
preset=$2
echo "age ${SENTREL_TEST_AGE:-own}" >> "$ROOT/calls"
echo "nice $(nice)" >> "$ROOT/calls"
for process in $(< "/proc/$PPID/task/$PPID/children"); do
  [ "$process" = $$ ] || echo "beside $process" >> "$ROOT/calls"
done
log=build/$preset/Testing/Temporary
mkdir -p "$log"
[ -e "$ROOT/$preset-fails" ] || exit 0
cp "$ROOT/$preset-fails" "$log/LastTestsFailed.log"
exit 8
'''
CLANG_FORMAT = CALLED + '[ ! -e "$ROOT/format-fails" ]\n'
CHECK_STYLE = CALLED + '[ ! -e "$ROOT/style-fails" ]\n'
PLAYED = {"bin/cmake": CALLED, "bin/ninja": NINJA, "bin/ctest": CTEST,
          "bin/clang-format": CLANG_FORMAT, "script/bootstrap": CALLED,
          "script/check-layers": CALLED,
          "script/check-style": CHECK_STYLE}


class ScriptTestTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for name, text in PLAYED.items():
            path = self.root / name
            path.parent.mkdir(exist_ok=True)
            path.write_text(text, encoding="utf-8")
            path.chmod(0o755)
        shutil.copy(REPOSITORY / "script" / "test", self.root / "script")
        (self.root / "tests").mkdir()
        shutil.copy(REPOSITORY / "tests" / "at_age.py", self.root / "tests")
        (self.root / "source.cpp").write_text("", encoding="utf-8")
        subprocess.run(["git", "init", "--quiet", self.root], check=True)

    def fail(self, what, *lines):
        (self.root / f"{what}-fails").write_text("".join(f"{line}\n" for line in lines),
                                                 encoding="utf-8")

    def run_script(self, *options):
        """Returns the exit status and the lines about failures."""
        environment = os.environ | {"ROOT": str(self.root),
                                    "PATH": f"{self.root / 'bin'}:{os.environ['PATH']}"}
        result = subprocess.run([self.root / "script" / "test", *options], env=environment,
                                capture_output=True, text=True)
        lines = result.stderr.splitlines()
        told = [line for line in lines if line.startswith("test: failed: ")]
        self.assertEqual(told, lines[len(lines) - len(told):], "they are the last")
        return result.returncode, told

    def calls(self, program):
        calls = (self.root / "calls").read_text(encoding="utf-8").splitlines()
        return [call.partition(" ")[2] for call in calls if call.startswith(program + " ")]

    def test_success_is_told_by_the_status_alone(self):
        self.assertEqual((0, []), self.run_script())
        self.assertEqual((0, []), self.run_script("--ci"))

    def test_each_test_that_failed_is_told_with_what_runs_it_alone(self):
        self.fail("release", "7:app_tests.ClockTest.Runs", "9:system.StopTest.test_sigterm")
        status, told = self.run_script()
        self.assertEqual(1, status)
        self.assertEqual(
            ["test: failed: app_tests.ClockTest.Runs; alone: "
             r"script/test --only '^app_tests\.ClockTest\.Runs$'",
             "test: failed: system.StopTest.test_sigterm; alone: "
             r"script/test --only '^system\.StopTest\.test_sigterm$'"], told)

    def test_names_of_tests_are_no_patterns(self):
        self.fail("release", "1:a_tests.All/B.C/(x+1)[0]")
        _, told = self.run_script("--unit")
        self.assertEqual([r"test: failed: a_tests.All/B.C/(x+1)[0]; alone: "
                          r"script/test --only '^a_tests\.All/B\.C/\(x\+1\)\[0\]$'"], told)

    def test_what_a_sanitizer_an_age_and_a_load_found_is_run_alone_under_the_same(self):
        self.fail("thread", "1:system.A.test_b")
        _, told = self.run_script("--sanitize", "thread", "--age=60", "--busy")
        self.assertEqual([r"test: failed: system.A.test_b; alone: script/test --sanitize thread "
                          r"--age 60 --busy --only '^system\.A\.test_b$'"], told)

    def test_failures_of_an_earlier_run_are_not_told_again(self):
        self.fail("release", "1:a.B.c")
        self.run_script()
        (self.root / "release-fails").unlink()
        self.assertEqual((0, []), self.run_script())

    def test_run_that_broke_off_is_told_though_no_test_failed(self):
        self.fail("release")
        self.assertEqual((1, ["test: failed: the tests of build/release; alone: script/test"]),
                         self.run_script())

    def test_build_that_failed_is_told(self):
        self.fail("build")
        expected = (1, ["test: failed: building build/release; alone: "
                        "cmake --preset release && cmake --build --preset release"])
        self.assertEqual(expected, self.run_script())
        self.assertEqual(expected, self.run_script("--ci"))
        self.assertEqual([], self.calls("ctest"))

    def test_format_that_is_wrong_is_told(self):
        self.fail("format")
        expected = (1, ["test: failed: the sources' format; alone: script/test --sources"])
        self.assertEqual(expected, self.run_script("--sources"))
        self.assertEqual(expected, self.run_script("--ci"))

    def test_names_and_braces_that_are_wrong_are_told(self):
        self.fail("style")
        expected = (1, ["test: failed: names, braces and locks; alone: script/check-style"])
        self.assertEqual(expected, self.run_script("--sources"))
        self.assertEqual(expected, self.run_script("--ci"))

    def test_every_stage_of_ci_tells_what_failed_in_it(self):
        for preset in ("release", "thread", "address"):
            self.fail(preset, f"1:{preset}.A.b")
        status, told = self.run_script("--ci")
        self.assertEqual(1, status)
        names = [line.split(";")[0].removeprefix("test: failed: ") for line in told]
        # The release's tests are run twice: what is measured comes last, alone. So are those under the
        # address sanitizer: what happens in real time comes first.
        self.assertEqual(["release.A.b", "address.A.b", "address.A.b", "thread.A.b", "release.A.b"],
                         names)

    def test_ci_lets_what_only_computes_stand_back(self):
        self.run_script("--ci")
        own = os.nice(0)
        runs = [(call, int(nice)) for call, nice in zip(self.calls("ctest"), self.calls("nice"))]
        self.assertEqual(5, len(runs))
        for call, nice in runs:
            stands_back = "--preset address" in call and " --exclude-regex " in call
            self.assertEqual(min(19, own + 10) if stands_back else own, nice, call)
        in_time, computes = (call for call, _ in runs if "--preset address" in call)
        pattern = in_time.partition("--tests-regex ")[2]
        self.assertIn(f"--exclude-regex {pattern}|", computes, "each test is in one of both")

    def test_ci_runs_on_machines_of_three_ages(self):
        if subprocess.run(["unshare", "--time", "true"], capture_output=True).returncode:
            self.skipTest("no time namespaces on this machine")
        self.run_script("--ci")
        self.assertEqual({"own", "60", "34560000"}, set(self.calls("age")))

    def test_only_what_is_named_is_run_and_there_has_to_be_such_a_test(self):
        self.run_script("--only", "Clock")
        at_once = min(48, 8 * len(os.sched_getaffinity(0)))
        self.assertEqual(
            [f"--preset release --parallel {at_once} --no-tests=error --tests-regex Clock"],
            self.calls("ctest"))

    def test_only_what_a_named_test_needs_is_built(self):
        daemon_and_device = (" sentrelvideo virtual_device video_scene_subscriber sentrelvideo-onvif"
                             " fleet_page fleet_sites")
        for pattern, targets in ((r"^app_tests\.ClockTest\.Runs$", " app_tests"),
                                 (r"^system\.StopTest\.test_sighup$", daemon_and_device),
                                 ("^device_bridge_tests$", " device_bridge_tests"),
                                 (r"^system\.A\.b$|^app_tests\.A\.b$", ""),
                                 (r"^fuzz\.handshake$", ""), ("Clock", ""), ("app_tests", "")):
            with self.subTest(pattern=pattern):
                self.run_script("--only", pattern)
                self.assertEqual(f"-C build/release{targets}", self.calls("ninja")[-1])

    def test_busy_keeps_every_processor_busy_until_the_tests_end(self):
        self.run_script("--busy")
        others = self.calls("beside")
        self.assertEqual(os.cpu_count(), len(others))
        self.assertEqual([], [other for other in others if pathlib.Path(f"/proc/{other}").exists()])

    def test_nothing_else_runs_beside_the_tests(self):
        self.run_script()
        self.assertEqual([], self.calls("beside"))

    def test_options_that_do_not_fit_are_refused(self):
        for options in (["--what"], ["--age"], ["--age", "old"], ["--sanitize", "memory"],
                        ["--ci", "--unit"], ["--ci", "--busy"], ["--sources", "--age", "60"]):
            with self.subTest(options=options):
                self.assertEqual((2, []), self.run_script(*options))
        self.assertFalse((self.root / "calls").exists())


if __name__ == "__main__":
    unittest.main()
