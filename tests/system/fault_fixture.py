"""A camera whose services can be made to fail, and what has to hold whatever fails."""

import json
import pathlib
import time

from camera import CONFIGURATION, SCENE_SOCKET, SUBSCRIBER_SOCKET, TUNED, CameraTest
from frame_gate import FrameGate
from journal import wait_until
from scene_frames import Walker
from web import Web

SOCKETS = {"socket": SCENE_SOCKET, "module": SUBSCRIBER_SOCKET}
AREA = [[-0.97, -0.97], [-0.97, 0.97], [0.97, 0.97], [0.97, -0.97]]
FILTERS = [{"type": "sizePercentage", "data": [5, 5], "active": True},
           {"type": "timeShortLivedLimit", "data": 1, "active": True},
           {"type": "distanceSwayingObject", "data": 5, "active": True}]
HOLD_TIME = 0.5  # seconds for which an alarm outlives the last object


def profile(number):
    return {"uid": number, "camera": number, "name": f"Profile {number}", "priority": 1,
            "triggers": [{"type": "includeArea", "data": AREA}], "filters": FILTERS,
            "perspective": [], "xinternalEventDuration": int(HOLD_TIME * 1e6)}


def document(cameras):
    """The first cameras are watched."""
    params = {"cameras": [{"id": number, "active": True, "rotation": 0}
                          for number in range(1, cameras + 1)],
              "profiles": [profile(number) for number in range(1, cameras + 1)],
              "configurationStatus": 0}
    return {"apiVersion": "1.0", "context": "", "method": "setConfiguration", "params": params}


def alarm(camera):
    return f"Camera{camera}Profile{camera}"


class FaultTest(CameraTest):
    """People walk in front of the watched cameras all the time, so that there is always an alarm
    and somebody to follow, and every recovery can be timed."""

    settings = TUNED
    model = "perfect-compass"
    watched = 2

    def start_scenes(self, transport="socket"):
        """The device, whose frames of the watched cameras are the test's own."""
        CONFIGURATION.write_text(json.dumps(document(self.watched)), encoding="utf-8")
        self.start_device("--model", self.model, "--head-boot", "0", "--port", "0",
                          "--transport", transport)
        self.walkers = {camera: Walker() for camera in range(1, self.watched + 1)}
        self.gate = FrameGate(SOCKETS[transport], self.walkers)

    def start_following(self, *daemon):
        self.start_daemon(*daemon)
        for camera in self.walkers:
            self.wait_for_alarm(camera, True)
        position = self.bus.wait_for("sent", "isSentreling", True)
        self.web = Web(self.device)
        self.before = self.web.call("getConfiguration")
        self.stored = CONFIGURATION.read_bytes()
        return position

    def wait_for_alarm(self, camera, value, start=0, **options):
        return self.bus.wait_for("sent", alarm(camera), value, start=start, **options)

    def assert_no_alarm_changes(self, camera, start):
        changes = [happening for happening in self.bus.journal.entries(start)
                   if happening.name == alarm(camera)]
        self.assertEqual([], changes)

    def assert_daemon_is_well(self, state="running"):
        """It lives, answers and has lost nothing."""
        self.assertEqual(state, self.web.call("getSentrel")["state"])
        self.assertEqual(self.before, self.web.call("getConfiguration"))
        self.assertEqual(self.stored, CONFIGURATION.read_bytes())

    def resources(self):
        """Open files and threads of the daemon."""
        process = pathlib.Path(f"/proc/{self.daemon.pid}")
        return len(list((process / "fd").iterdir())), len(list((process / "task").iterdir()))

    def wait_for_no_more_than(self, resources):
        """What an attempt to connect has open at the moment does not last."""
        wait_until(lambda: all(now <= before for now, before in zip(self.resources(), resources)),
                   f"no more than {resources} files and threads")

    def end_well(self):
        self.assert_daemon_is_well()
        self.assertEqual(0, self.daemon.end())

    def tell(self, what, since):
        """For docs/reliability.md."""
        print(f"measured: {what}: {time.monotonic() - since:.2f} s", flush=True)
