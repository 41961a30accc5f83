"""Runs one system test: run_test.py BUILD_FOLDER MODULE.CLASS.TEST

Tests of classes with in_namespace set run inside a private mount and process namespace.
"""

import os
import select
import signal
import sys
import unittest

import camera
import namespace
from journal import PATIENCE


def end_processes():
    for name in ("sentrelvideo", "virtual_device"):
        for pid in camera.children():
            if camera.comm(pid) == name and not end(pid):
                sys.exit(f"{name} did not end")


def end(pid):
    descriptor = os.pidfd_open(pid)
    # In this order: the search for leaks stops the process, which continuing it later would undo.
    os.kill(pid, signal.SIGCONT)
    os.kill(pid, signal.SIGTERM)
    return bool(select.select([descriptor], [], [], PATIENCE)[0])


def main(build, name):
    namespace.enter_age()
    os.environ["SENTREL_BUILD"] = os.path.realpath(build)
    suite = unittest.defaultTestLoader.loadTestsFromName(name)
    if any(getattr(test, "in_namespace", False) for test in suite):
        namespace.enter(build)
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    if namespace.MARK in os.environ and "SENTREL_SANITIZER_REPORTS" in os.environ:
        end_processes()  # memory that leaks is only seen at the end
    return 0 if result.wasSuccessful() and result.testsRun > 0 else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
