"""at_age.py makes a machine seem as old as it is told."""

import pathlib
import subprocess
import sys
import time
import unittest

AT_AGE = [sys.executable, "-B", pathlib.Path(__file__).resolve().parents[1] / "at_age.py"]
PRINT_CLOCKS = [sys.executable, "-c",
                "import time\n"
                "print(time.monotonic(), time.clock_gettime(time.CLOCK_BOOTTIME), time.time())"]
DAY = 24 * 60 * 60  # seconds


def start(*command):
    result = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    return result.returncode, result.stdout, result.stderr


@unittest.skipIf(start(*AT_AGE, 60, "true")[0], "no time namespaces on this machine")
class AtAgeTest(unittest.TestCase):
    def assert_age(self, age, *command):
        begun = time.monotonic(), time.time()
        status, output, errors = start(*command, *PRINT_CLOCKS)
        self.assertEqual((0, ""), (status, errors))
        monotonic, boot, wall = map(float, output.split())
        # Whole seconds are what is set; the machine may have taken its time.
        latest = age + 1 + time.monotonic() - begun[0]
        for clock in (monotonic, boot):
            self.assertTrue(age <= clock <= latest, f"{clock} s instead of {age} s")
        self.assertTrue(begun[1] - 1 <= wall <= time.time() + 1, "the time of day stays")

    def test_machine_seems_to_have_just_started(self):
        self.assert_age(60, *AT_AGE, 60)

    def test_machine_seems_to_have_been_up_for_a_year(self):
        self.assert_age(400 * DAY, *AT_AGE, 400 * DAY)

    def test_age_within_an_age_is_the_inner_one(self):
        self.assert_age(90, *AT_AGE, 400 * DAY, *AT_AGE, 90)
        self.assert_age(400 * DAY, *AT_AGE, 90, *AT_AGE, 400 * DAY)

    def test_status_is_that_of_the_command(self):
        self.assertEqual(3, start(*AT_AGE, 60, "sh", "-c", "exit 3")[0])


class AtAgeUsageTest(unittest.TestCase):
    def test_anything_but_an_age_and_a_command_is_refused(self):
        for arguments in ((), ("60",), ("-60", "true"), ("old", "true")):
            with self.subTest(arguments=arguments):
                status, _, errors = start(*AT_AGE, *arguments)
                self.assertEqual((1, True), (status, errors.startswith("Usage: ")))


if __name__ == "__main__":
    unittest.main()
