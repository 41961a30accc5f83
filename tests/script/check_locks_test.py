"""check-locks finds each kind of fault with locks."""

import pathlib
import subprocess
import tempfile
import unittest

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
SOURCE = """
#include "app/lock_order.h"
#include "base/mutex.h"

class Counter {
 public:
  void wait() EXCLUDES(mutex) { const LockGuard lock(mutex); }
  void step() { %s }
  void add() REQUIRES(mutex) { %s }

 private:
  Mutex mutex ACQUIRED_AFTER(lock_order::CAMERA) ACQUIRED_BEFORE(lock_order::GUARD);
  RecursiveMutex outer ACQUIRED_AFTER(lock_order::REQUEST) ACQUIRED_BEFORE(lock_order::CONTAINER);
  Condition condition;
  int count GUARDED_BY(mutex) = 0;
  int* place POINTED_GUARDED_BY(mutex) = &count;
};

void use(Counter& counter) { counter.step(); }
"""
WITH_THE_LOCK = "const LockGuard lock(mutex); "
WITH_THE_OUTER_LOCK = "const LockGuard outerLock(outer); "
ADD = "++count;"


class CheckLocksTest(unittest.TestCase):
    def check(self, step, add=ADD, addition=""):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "counter.cpp"
            path.write_text(SOURCE % (step, add) + addition, encoding="utf-8")
            return subprocess.run([REPOSITORY / "script" / "check-locks", path],
                                  capture_output=True, text=True, check=False)

    def expect_fault(self, message, *arguments, **named):
        result = self.check(*arguments, **named)
        self.assertNotEqual(0, result.returncode)
        self.assertIn(message, result.stdout + result.stderr)

    def expect_none(self, *arguments):
        result = self.check(*arguments)
        self.assertEqual((0, "", ""), (result.returncode, result.stdout, result.stderr))

    def test_guarded_member_with_its_lock_passes(self):
        self.expect_none(WITH_THE_LOCK + "++count; ++*place; add(); condition.wait(mutex);")

    def test_guarded_member_without_its_lock_is_a_fault(self):
        self.expect_fault("requires holding mutex 'mutex'", "++count;")

    def test_what_a_guarded_pointer_leads_to_without_its_lock_is_a_fault(self):
        self.expect_fault("value pointed to by 'place' requires holding mutex 'mutex'",
                          "++*place;")

    def test_function_that_needs_a_lock_called_without_it_is_a_fault(self):
        self.expect_fault("calling function 'add' requires holding mutex 'mutex'", "add();")

    def test_function_that_must_not_have_a_lock_called_with_it_is_a_fault(self):
        self.expect_fault("cannot call function 'wait' while mutex 'mutex' is held",
                          WITH_THE_LOCK + "wait();")

    def test_lock_that_is_taken_twice_is_a_fault(self):
        self.expect_fault("acquiring mutex 'mutex' that is already held",
                          WITH_THE_LOCK + "mutex.lock();")

    def test_lock_that_is_kept_is_a_fault(self):
        self.expect_fault("mutex 'mutex' is still held at the end of function", "mutex.lock();")

    def test_lock_that_is_given_back_without_being_held_is_a_fault(self):
        self.expect_fault("releasing mutex 'mutex' that was not held", "mutex.unlock();")

    def test_waiting_without_the_lock_is_a_fault(self):
        self.expect_fault("calling function 'wait' requires holding mutex 'mutex'",
                          "condition.wait(mutex);")

    def test_locks_in_their_order_pass(self):
        self.expect_none(WITH_THE_OUTER_LOCK + WITH_THE_LOCK)

    def test_locks_out_of_their_order_are_a_fault(self):
        self.expect_fault("mutex 'outer' must be acquired before 'mutex'",
                          WITH_THE_LOCK + WITH_THE_OUTER_LOCK)

    def test_outer_lock_in_a_function_that_is_called_with_an_inner_one_is_a_fault(self):
        self.expect_fault("mutex 'outer' must be acquired before 'mutex'", "",
                          WITH_THE_OUTER_LOCK + ADD)

    def test_lock_that_the_analysis_does_not_know_is_a_fault(self):
        for lock in ("std::mutex mine;", "std::recursive_mutex mine;", "GMutex mine;",
                     "GRecMutex mine;", "std::condition_variable mine;",
                     "std::condition_variable_any mine;", "std::shared_mutex mine;",
                     "pthread_mutex_t mine;"):
            with self.subTest(lock):
                self.expect_fault("not of base/mutex.h", "", addition=(
                    "#include <glib.h>\n#include <mutex>\n#include <shared_mutex>\n"
                    "#include <condition_variable>\n" + lock + "\n"))

    def test_every_folder_of_ours_is_searched_for_such_locks(self):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            subprocess.run(["git", "init", "--quiet", root], check=True)
            files = [f"{tree}/lock.h" for tree in ("base", "bench/score", "device/head", "fuzz", "platform",
                                                   "platform/host/bus", "platform/memory", "src/app",
                                                   "tests/fakes")]
            for name in files:
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text("std::mutex mine;\n", encoding="utf-8")
            result = subprocess.run([REPOSITORY / "script" / "check-locks", "--root", root],
                                    capture_output=True, text=True, check=False)
        self.assertEqual(1, result.returncode)
        self.assertEqual([*sorted(f"{name}:1:std::mutex mine;" for name in files),
                          "check-locks: these are not of base/mutex.h"],
                         sorted(result.stderr.splitlines()[:-1]) + result.stderr.splitlines()[-1:])

    def test_every_kind_of_holding_such_a_lock_is_a_fault(self):
        for guard in ("lock_guard", "unique_lock", "scoped_lock", "shared_lock"):
            with self.subTest(guard):
                self.expect_fault("not of base/mutex.h", "", addition=(
                    f"#include <mutex>\n#include <shared_mutex>\nusing Held = std::{guard}<Mutex>;\n"))


if __name__ == "__main__":
    unittest.main()
