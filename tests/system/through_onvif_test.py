"""The daemon with cameras and a head that it reaches by ONVIF and RTSP alone."""

import os
import re
import signal
import time

from camera import ENABLED, TUNED
from journal import PATIENCE, wait_until
from onvif_client import envelope, post
from run_script import STATUS as STATUS_LINE, RunTest
from through_onvif import ADDRESS, process_of, wait_until_followed

POSITION = re.compile(rb'PanTilt x="([-0-9.e]+)" y="([-0-9.e]+)"')
STATUS = envelope("<tptz:GetStatus><tptz:ProfileToken>head</tptz:ProfileToken></tptz:GetStatus>")
TURN = (180, 55)  # degrees of a generic 1: pan turns for ever, tilt from -90 to 20
MOVES = 3.0  # degrees a second
DRIVEN = 0.2  # degrees from a death to the head's rest, at least
PAUSE = 0.2  # seconds; the next daemon takes longer to begin
STANDS = 0.01  # degrees in that
LONGEST = 1.1  # seconds from the death of whoever steers to the head's rest


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
        return process_of(self.run_, name)

    def look(self):
        """Where the head is, in degrees, as the camera itself says, and when."""
        before = time.monotonic()
        status, answer = post(self.port, STATUS)
        self.assertEqual(200, status, answer)
        x, y = map(float, POSITION.search(answer).groups())
        return before, x * TURN[0], y * TURN[1]

    def wait_until_it_swings(self):
        """From side to side, as a head does whose gains are sought: it is driven all the time."""
        signs = [0, 0]
        turns = [0, 0]
        self.last = self.look()

        def is_swinging():
            time.sleep(0.05)
            now = self.look()
            speeds = [(new - old) / (now[0] - self.last[0])
                      for new, old in zip(now[1:], self.last[1:])]
            self.last = now
            for axis, speed in enumerate(speeds):
                if abs(speed) > MOVES:
                    sign = 1 if speed > 0 else -1
                    turns[axis] += signs[axis] == -sign
                    signs[axis] = sign
            return any(count >= 2 and abs(speed) > MOVES for count, speed in zip(turns, speeds))

        wait_until(is_swinging, "a head that swings")

    def assert_stands_in_time_without(self, name):
        """While the head is tuned, when it is driven all the time."""
        pid = self.process(name)
        self.wait_until_it_swings()
        os.kill(pid, signal.SIGKILL)
        killed = time.monotonic()
        time.sleep(LONGEST)
        one = self.look()
        time.sleep(PAUSE)
        other = self.look()
        self.assertGreater(way_between(self.last, one), DRIVEN, "it was driven to the last")
        self.assertLess(way_between(one, other), STANDS,
                        f"{name} was killed {one[0] - killed:.2f} s before")

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
        wait_until_followed(self.run_)
        (self.state / "sentrelvideo.json").write_text(ENABLED, encoding="utf-8")  # without gains
        self.kill_and_wait_for_tuning()
        start = len(self.run_.output.entries())
        self.assert_stands_in_time_without("sentrelvideo")
        self.wait_for_tuning(start + 1)
        self.run_.pause()  # it would end the camera with its bridge
        self.assert_stands_in_time_without("sentrelvideo-onvif")
        self.run_.resume()
        self.assertNotEqual(0, self.run_.wait(PATIENCE), "the run ends with its bridge")
