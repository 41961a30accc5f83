"""script/run as a user calls it."""

import itertools
import json
import os
import pathlib
import re
import signal
import subprocess
import tempfile
import unittest

import machine
from journal import PATIENCE, Journal, wait_until
from namespace import REPOSITORY, require
from processes import children_of, descendants_of

STATUS = re.compile(r"^ *([0-9.]+) s  (\S+) +target +(\S+) +(\S+)  head +(\S+) +(\S+) x([0-9.]+)")


class RunTest(unittest.TestCase):
    """Every test has folders of its own for the state and the report."""

    following = "specified"

    def setUp(self):
        require()
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.use_folders("state", "report")

    def use_folders(self, state, report):
        self.state = self.folder / state
        self.report = self.folder / report

    def measured(self, attempt):
        """What is judged by figures of real time, in folders of its own each time."""
        numbers = itertools.count(2)

        def begin_anew():
            number = next(numbers)
            self.use_folders(f"state-{number}", f"report-{number}")

        machine.measured(self, attempt, begin_anew)

    # The camera, unless a test names another one; None for what runs when none is named.
    model = "perfect"

    def start(self, *options):
        if self.model and "--model" not in options:
            options = ("--model", self.model, *options)
        run = Run(["--state", self.state, "--report", self.report, "--following", self.following,
                   *options])
        self.addCleanup(run.kill)
        return run

    def run_for(self, seconds, *options):
        run = self.start("--duration", str(seconds), *options)
        self.assertEqual(0, run.wait(seconds + PATIENCE), run.text())
        return run

    def read_report(self):
        return json.loads((self.report / "report.json").read_text(encoding="utf-8"))


class Run:
    def __init__(self, options):
        command = [REPOSITORY / "script" / "run", "--build", os.environ["SENTREL_BUILD"], *options]
        self._process = subprocess.Popen([str(word) for word in command], stdout=subprocess.PIPE,
                                         stderr=subprocess.STDOUT, text=True,
                                         errors="backslashreplace")
        self.pid = self._process.pid
        self.output = Journal()
        self._reader = self.output.follow(line.rstrip("\n") for line in self._process.stdout)

    def wait(self, patience=PATIENCE):
        status = self._process.wait(patience)
        self._reader.join(PATIENCE)
        return status

    def interrupt(self):
        self._process.send_signal(signal.SIGINT)

    def pause(self):
        """The script alone: what it has started goes on."""
        self._process.send_signal(signal.SIGSTOP)

    def resume(self):
        self._process.send_signal(signal.SIGCONT)

    def kill(self):
        if self._process.poll() is None:
            self._process.terminate()
            self._process.wait(PATIENCE)
        self._process.stdout.close()

    def crash(self):
        """Device and daemon at once, without a word; the namespace dies with its first process."""
        everybody = descendants_of(self._process.pid)
        for pid in children_of(self._process.pid):
            os.kill(pid, signal.SIGKILL)
        self.wait()
        # Some die a moment later, and have their files until then.
        wait_until(lambda: not any(pathlib.Path(f"/proc/{pid}").exists() for pid in everybody),
                   "everybody's end")

    def text(self):
        return "\n".join(self.output.entries())

    def wait_for_state(self, *states):
        """One of them: a line a second tells it, and some last shorter."""
        def matches(line):
            status = STATUS.match(line)
            return status is not None and status[2] in states

        self.output.wait_for(matches, f"the state {' or '.join(states)}")

    def statuses(self):
        """Status lines as matches: time, state, target pan and tilt, head pan, tilt and zoom."""
        return [status for status in map(STATUS.match, self.output.entries()) if status]

    def states(self):
        """The states in their order, without repetitions."""
        found = []
        for status in self.statuses():
            if not found or found[-1] != status[2]:
                found.append(status[2])
        return found
