"""The daemon with cameras and a head that it reaches by ONVIF and RTSP alone."""

import os
import pathlib
import re
import signal
import time

from camera import ENABLED, TUNED, comm
from journal import PATIENCE, wait_until
from onvif_client import envelope, post
from run_script import STATUS as STATUS_LINE, RunTest

ADDRESS = re.compile(r"camera: ONVIF: http://127\.0\.0\.1:(\d+)/onvif/device_service$")
# What the outer camera itself says of the nearest person and of the head.
TRUTH = re.compile(r"camera: +[0-9.]+ s .* error +([0-9.]+) ")
POSITION = re.compile(rb'PanTilt x="([-0-9.e]+)" y="([-0-9.e]+)"')
STATUS = envelope("<tptz:GetStatus><tptz:ProfileToken>head</tptz:ProfileToken></tptz:GetStatus>")
TURN = (180, 55)  # degrees of a generic 1: pan turns for ever, tilt from -90 to 20
FOLLOWED = 3.0  # degrees; a head at home is 20 off
MOVES = 1.0  # degrees a second
DRIVEN = 0.2  # degrees from a death to the head's rest, at least
PAUSE = 0.3  # seconds; the next daemon takes longer to begin
STANDS = 0.01  # degrees in that
LONGEST = 1.1  # seconds from the death of whoever steers to the head's rest


def descendants(pid):
    found = []
    for task in pathlib.Path(f"/proc/{pid}/task").glob("*/children"):
        for child in task.read_text().split():
            found += [int(child), *descendants(int(child))]
    return found


def way_between(one, other):
    """Degrees between two looks."""
    return max(abs(other[1] - one[1]), abs(other[2] - one[2]))


class ThroughOnvifTest(RunTest):
    def start_through_onvif(self):
        self.state.mkdir()
        (self.state / "sentrelvideo.json").write_text(TUNED, encoding="utf-8")
        self.run_ = self.start("--through-onvif", "--restart-daemon", "--port", "0")
        self.addCleanup(self.run_.resume)
        position = self.run_.output.wait_for(ADDRESS.match, "the outer camera's address")
        self.port = int(ADDRESS.match(self.run_.output.entries()[position - 1])[1])

    def process(self, name):
        """Of the run; comm has 15 letters at most."""
        def find():
            return [pid for pid in descendants(self.run_.pid) if comm(pid) == name[:15]]
        wait_until(find, name)
        return find()[0]

    def look(self):
        """Where the head is, in degrees, as the camera itself says, and when."""
        before = time.monotonic()
        status, answer = post(self.port, STATUS)
        self.assertEqual(200, status, answer)
        x, y = map(float, POSITION.search(answer).groups())
        return before, x * TURN[0], y * TURN[1]

    def is_moving(self):
        one = self.look()
        time.sleep(0.15)
        other = self.look()
        return way_between(one, other) / (other[0] - one[0]) > MOVES

    def assert_stands_in_time_without(self, name):
        """While the head is tuned, when it is driven all the time."""
        wait_until(self.is_moving, "a head that moves")
        pid = self.process(name)
        before = self.look()
        os.kill(pid, signal.SIGKILL)
        killed = time.monotonic()
        time.sleep(LONGEST)
        one = self.look()
        time.sleep(PAUSE)
        other = self.look()
        self.assertGreater(way_between(before, one), DRIVEN, "it was driven to the last")
        self.assertLess(way_between(one, other), STANDS,
                        f"{name} was killed {one[0] - killed:.2f} s before")

    def wait_until_followed(self):
        start = 0
        for _ in range(3):
            start = self.run_.output.wait_for(
                lambda line: (m := TRUTH.match(line)) and float(m[1]) < FOLLOWED,
                "somebody who is followed", start=start)

    def kill_and_wait_for_tuning(self):
        start = len(self.run_.output.entries())
        os.kill(self.process("sentrelvideo"), signal.SIGKILL)
        self.wait_for_tuning(start)

    def wait_for_tuning(self, start):
        self.run_.output.wait_for(
            lambda line: (m := STATUS_LINE.match(line)) and m[2] == "autotuning",
            "a head that is tuned", start=start)

    def test_somebody_is_followed_and_the_head_stands_when_daemon_or_bridge_is_killed(self):
        self.start_through_onvif()
        self.wait_until_followed()
        (self.state / "sentrelvideo.json").write_text(ENABLED, encoding="utf-8")  # without gains
        self.kill_and_wait_for_tuning()
        start = len(self.run_.output.entries())
        self.assert_stands_in_time_without("sentrelvideo")
        self.wait_for_tuning(start + 1)
        self.run_.pause()  # it would end the camera with its bridge
        self.assert_stands_in_time_without("sentrelvideo-onvif")
        self.run_.resume()
        self.assertNotEqual(0, self.run_.wait(PATIENCE), "the run ends with its bridge")
