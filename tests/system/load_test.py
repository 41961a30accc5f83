"""Many requests at once do not disturb the following of a person."""

import json
import math
import os
import pathlib
import statistics
import subprocess
import threading
import time

import machine
from camera import TUNED, CameraTest
from web import Web, document

CLIENTS = 8
LOAD = 60  # seconds
PERIOD = 0.1  # seconds, of the control loop
MOST_PERIODS = 1.5  # at the 99th percentile
LEAST_RECOGNISED = 0.60
MOST_MEDIAN_ERROR = 2.5  # degrees

CONTROL = 10  # seconds; others than this test are in the way, or not
MOST_WAITING = 120  # seconds for a machine that is free

WALK = 900  # seconds for which the person is there
RADIUS = 6.0  # metres of the circle
ROUND = 40.0  # seconds


def walk():
    """Somebody who walks round and round."""
    lines = ["time_s,id,x_m,y_m"]
    for step in range(WALK * 5 + 1):
        seconds = step / 5
        turn = 2 * math.pi * seconds / ROUND
        lines.append(f"{seconds:.1f},1,{RADIUS * math.cos(turn):.3f},"
                     f"{RADIUS * math.sin(turn):.3f}")
    return "\n".join(lines) + "\n"


class ControlSteps:
    """When the head is asked for its position: once in each step of the control loop."""

    def __init__(self):
        self._process = subprocess.Popen(
            ["dbus-monitor", "--system", "--profile", "type='method_call',member='GetStatus'"],
            stdout=subprocess.PIPE, text=True)
        self._times = []
        self._thread = threading.Thread(target=self._read, daemon=True)
        self._thread.start()

    def _read(self):
        for line in self._process.stdout:
            words = line.split()
            if words[0] == "mc" and words[-1] == "GetStatus":
                self._times.append(float(words[1]))

    def periods(self, seconds):
        """Between the steps of the seconds to come."""
        start = len(self._times)
        time.sleep(seconds)  # what is measured is of this length
        times = self._times[start:]
        return [later - earlier for earlier, later in zip(times, times[1:])]


def is_machine_free():
    """When nobody sends requests."""
    watch = machine.Watch()
    time.sleep(CONTROL)  # what is watched is of this length
    return watch.had_time()


def late(periods):
    """The period at the 99th percentile."""
    return statistics.quantiles(periods, n=100)[-1]


class Client(threading.Thread):
    METHODS = ["getSentrel", "getConfiguration", "setSentrel", "getConfigurationCapabilities",
               "getSupportedVersions", "sendAlarmEvent", "startVisualConfirmation",
               "stopVisualConfirmation"]

    def __init__(self, web, number):
        super().__init__(daemon=True)
        self._web = web
        self._number = number
        self.running = True
        self.faults = []
        self.answered = 0

    def run(self):
        # Clients are other machines: they take nothing of the camera's processor.
        os.setpriority(os.PRIO_PROCESS, threading.get_native_id(), 10)
        number = self._number
        while self.running:
            method = self.METHODS[number % len(self.METHODS)]
            number += 1
            params = {"setSentrel": {"timePerObject": 1 + number % 60},
                      "sendAlarmEvent": {"profile": 1},
                      "startVisualConfirmation": {"profile": 1}}.get(method)
            context = f"client {self._number}, request {number}"
            answer = self._web.post(json.dumps(document(method, params, context)))
            if (answer.status != 200 or "data" not in answer.document or
                    answer.document["context"] != context):
                self.faults.append((method, answer))
            self.answered += 1


class LoadTest(CameraTest):
    settings = TUNED

    def test_eight_clients_do_not_disturb_the_following(self):
        folder = pathlib.Path("/tmp/load")
        folder.mkdir()
        tracks = folder / "walk.csv"
        tracks.write_text(walk(), encoding="utf-8")
        self.start_device("--head-boot", "0", "--quiet", "--tracks", str(tracks), "--as-recorded",
                          "--report", str(folder))
        self.start_daemon()
        self.wait_until_serving()
        self.web = Web(self.device)
        following = self.bus.wait_for("sent", "isSentreling", True)
        self.steps = ControlSteps()
        periods = self.periods_under_load()

        position = len(self.bus.journal)
        self.assertEqual(0, self.daemon.end())
        self.device.end()
        self.assertGreater(len(periods), LOAD / PERIOD / MOST_PERIODS)
        self.assertLess(late(periods), MOST_PERIODS * PERIOD)
        # Followed without a break until the daemon was told to end.
        self.assertNotIn(False, [happening.value for happening in
                                 self.bus.journal.entries()[following:position]
                                 if (happening.what, happening.name) == ("sent", "isSentreling")])
        report = json.loads((folder / "report.json").read_text(encoding="utf-8"))
        for score in (report["score"], report["baselines"]["home"]):
            is_good = (score["density"]["recognised"]["share"] >= LEAST_RECOGNISED
                      and score["error_deg"]["median"] <= MOST_MEDIAN_ERROR)
            self.assertEqual(score is report["score"], is_good, score)

    def periods_under_load(self):
        """Those of the first attempt in which nobody but the clients was in the way."""
        for _ in range(machine.ATTEMPTS):
            periods = self.load()
            if late(periods) < MOST_PERIODS * PERIOD or is_machine_free():
                return periods
            self.wait_for_free_machine()
        self.pass_over()

    def wait_for_free_machine(self):
        deadline = time.monotonic() + MOST_WAITING
        while not is_machine_free():
            if time.monotonic() > deadline:
                self.pass_over()

    def pass_over(self):
        self.skipTest(machine.NO_TIME)

    def load(self):
        clients = [Client(self.web, number) for number in range(CLIENTS)]
        for client in clients:
            client.start()
        periods = self.steps.periods(LOAD)
        for client in clients:
            client.running = False
        for client in clients:
            client.join()
        answered = [client.answered for client in clients]
        print(f"{sum(answered)} answers; period {statistics.median(periods) * 1000:.1f} ms in the "
              f"middle, {late(periods) * 1000:.1f} ms at the 99th percentile")
        self.assertFalse([fault for client in clients for fault in client.faults])
        self.assertGreater(min(answered), LOAD)
        return periods
