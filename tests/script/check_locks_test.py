"""check-locks finds a lock that is not taken."""

import pathlib
import subprocess
import tempfile
import unittest

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
SOURCE = """
#include "base/mutex.h"

class Counter {
 public:
  void add() { %s++count; }

 private:
  Mutex mutex;
  int count GUARDED_BY(mutex) = 0;
};

void use(Counter& counter) { counter.add(); }
"""


class CheckLocksTest(unittest.TestCase):
    def check(self, text):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "counter.cpp"
            path.write_text(text, encoding="utf-8")
            return subprocess.run([REPOSITORY / "script" / "check-locks", path],
                                  capture_output=True, text=True)

    def test_guarded_member_with_its_lock_passes(self):
        result = self.check(SOURCE % "const LockGuard lock(mutex); ")
        self.assertEqual((0, ""), (result.returncode, result.stderr))

    def test_guarded_member_without_its_lock_is_a_fault(self):
        result = self.check(SOURCE % "")
        self.assertNotEqual(0, result.returncode)
        self.assertIn("requires holding mutex 'mutex'", result.stderr)


if __name__ == "__main__":
    unittest.main()
