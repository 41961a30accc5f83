"""Runs one system test: run_test.py BUILD_FOLDER MODULE.CLASS.TEST

Tests of classes with in_namespace set run inside a private mount and process namespace.
"""

import os
import sys
import unittest

import namespace


def main(build, name):
    os.environ["SENTREL_BUILD"] = os.path.realpath(build)
    suite = unittest.defaultTestLoader.loadTestsFromName(name)
    if any(getattr(test, "in_namespace", False) for test in suite):
        namespace.enter(build)
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    return 0 if result.wasSuccessful() and result.testsRun > 0 else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
