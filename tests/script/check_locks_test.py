"""check-style finds each kind of fault with locks."""

import pathlib
import shutil
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
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name).resolve()
        subprocess.run(["git", "init", "--quiet", self.root], check=True)
        for name in (".clang-tidy", "base/mutex.h", "src/app/lock_order.h"):
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(REPOSITORY / name, self.root / name)

    def check_tree(self):
        return subprocess.run([REPOSITORY / "script" / "check-style", "--root", self.root],
                              capture_output=True, text=True, check=False)

    def check(self, step, add=ADD):
        (self.root / "src" / "app" / "counter.cpp").write_text(SOURCE % (step, add), encoding="utf-8")
        return self.check_tree()

    def expect_fault(self, message, *arguments):
        result = self.check(*arguments)
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

    def test_locks_that_the_analysis_does_not_know_are_faults(self):
        locks = ("std::mutex", "std::recursive_mutex", "std::timed_mutex", "GMutex", "GRecMutex",
                 "std::condition_variable", "std::condition_variable_any", "std::shared_mutex",
                 "pthread_mutex_t", "std::lock_guard", "std::unique_lock", "std::scoped_lock",
                 "std::shared_lock", "Mutex", "LockGuard")
        header = self.root / "src" / "app" / "counter.h"
        header.write_text("".join(f"{lock} mine;\n" for lock in locks), encoding="utf-8")
        result = self.check_tree()
        self.assertEqual({f"src/app/counter.h:{line}: locks are those of base/mutex.h"
                          for line in range(1, len(locks) - 1)}, set(result.stdout.splitlines()))

    def test_every_folder_of_ours_is_searched_for_such_locks(self):
        files = [f"{tree}/lock.h" for tree in ("base", "bench/score", "device/head", "fuzz", "platform",
                                               "platform/host/bus", "platform/memory", "src/app",
                                               "tests/fakes")]
        for name in files:
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            (self.root / name).write_text("std::mutex mine;\n", encoding="utf-8")
        result = self.check_tree()
        self.assertEqual(1, result.returncode)
        self.assertEqual([f"{name}:1: locks are those of base/mutex.h" for name in sorted(files)],
                         result.stdout.splitlines())

    def test_what_tests_reach_into_needs_no_lock(self):
        self.check(WITH_THE_LOCK)
        (self.root / "tests" / "src").mkdir(parents=True)
        for tree, faults in (("tests/src", 0), ("device", 1)):
            (self.root / tree).mkdir(exist_ok=True)
            (self.root / tree / "counter_use.cpp").write_text(SOURCE % (ADD, ADD), encoding="utf-8")
            self.assertEqual(faults, self.check_tree().returncode, tree)


if __name__ == "__main__":
    unittest.main()
