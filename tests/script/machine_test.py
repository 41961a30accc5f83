"""What is measured is judged where the machine had the time for it, and only there."""

import pathlib
import sys
import unittest
from unittest import mock

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "system"))
import machine  # noqa: E402  (the path has to be known first)


class MeasuredTest(unittest.TestCase):
    def measure(self, had_time, fails):
        """How often it was tried; one answer for each attempt."""
        tries = []

        def attempt():
            tries.append(begun)
            self.assertFalse(fails[len(tries) - 1])

        begun = 0

        def begin_anew():
            nonlocal begun
            begun += 1

        with mock.patch.object(machine, "Watch") as watch:
            watch.return_value.had_time.side_effect = had_time
            machine.measured(self, attempt, begin_anew)
        self.assertEqual(list(range(len(tries))), tries, "each begins anew")
        return len(tries)

    def test_first_success_counts_whether_there_was_time_or_not(self):
        self.assertEqual(1, self.measure([True], [False]))
        self.assertEqual(1, self.measure([False], [False]))

    def test_failure_counts_where_there_was_time(self):
        with self.assertRaises(AssertionError):
            self.measure([True], [True, False])

    def test_failure_without_time_is_tried_again(self):
        self.assertEqual(2, self.measure([False, True], [True, False]))
        with self.assertRaises(AssertionError):
            self.measure([False, True], [True, True, False])

    def test_where_there_is_never_time_it_is_said_so(self):
        with self.assertRaisesRegex(unittest.SkipTest, "is not on this machine"):
            self.measure([False] * 3, [True] * 3 + [False])

    def test_one_in_hundred_is_too_many(self):
        self.assertTrue(machine.had_time(9, 1000))
        self.assertFalse(machine.had_time(10, 1000))
        self.assertFalse(machine.had_time(0, 99), "who hardly ever woke up was held up")

    def test_watch_counts(self):
        """What it finds is this machine's; that it looks is what can be told of any."""
        watch = machine.Watch()
        with mock.patch.object(machine, "had_time") as judge:
            watch.had_time()
        late, looks = judge.call_args.args
        self.assertGreater(looks, 0)
        self.assertTrue(0 <= late <= looks)


if __name__ == "__main__":
    unittest.main()
