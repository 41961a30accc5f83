"""The tracker's states and its commands to the head, as the message bus shows them."""

import json

from bus_monitor import ABSOLUTE, CONTINUOUS
from camera import CONFIGURATION, SETTINGS, CameraTest

GAINS = [f"{axis}_k{term}" for axis in ("pan", "tilt") for term in "pid"]


def read_settings():
    return json.loads(SETTINGS.read_text(encoding="utf-8"))


class TrackerTest(CameraTest):
    def run_until(self, state, start=0):
        self.start_daemon()
        return self.bus.wait_for("sent", "state", state, start=start)

    def test_unknown_head_is_tuned_once_and_known_at_the_next_start(self):
        self.start_device()
        self.run_until("running")
        self.assertEqual(["stopped", "connecting", "autotuning", "running"], self.bus.states())
        tuned = read_settings()
        self.assertEqual("TRK-100", tuned["camera_name"])
        self.assertNotEqual([1.0, 0.0, 0.0] * 2, [tuned[gain] for gain in GAINS])
        configuration = CONFIGURATION.read_bytes()
        self.assertEqual(0, self.daemon.end())

        ended = self.bus.wait_for("undeclared", "state")
        first = len(self.bus.states())
        self.run_until("running", start=ended)
        self.assertEqual(["stopped", "connecting", "running"], self.bus.states()[first:])
        self.assertEqual(tuned, read_settings())
        self.assertEqual(configuration, CONFIGURATION.read_bytes())

    def test_head_that_boots_late_is_waited_for(self):
        self.start_device("--head-boot", "8")
        self.run_until("running")
        self.assertEqual(["stopped", "connecting", "autotuning", "running"], self.bus.states())
        self.device.wait_for_log("Received non valid response. PTZ camera connection not ready.")

    def zoom_kinds_while_steering(self):
        steering = self.bus.wait_for("sent", "isSentreling", True)
        zooming = self.bus.wait_for_move(lambda move: move.zoom_kind != 0 and move.zoom != 0,
                                         "a zoom command", start=steering)
        moves = [happening.value for happening in self.bus.journal.entries(steering)
                 if happening.what == "move"]
        self.assertLess(steering, zooming)
        return {move.zoom_kind for move in moves}

    def test_ordinary_head_is_steered_by_zoom_speeds(self):
        self.start_device()
        self.run_until("running")
        self.assertIn(CONTINUOUS, self.zoom_kinds_while_steering())
        self.assertNotIn(ABSOLUTE, self.zoom_kinds_while_steering())

    def test_head_that_takes_no_zoom_speeds_gets_zoom_positions(self):
        self.start_device("--model", "k47")
        self.run_until("running")
        self.assertIn(ABSOLUTE, self.zoom_kinds_while_steering())

    def test_tracking_that_is_switched_off_leaves_the_head_alone(self):
        SETTINGS.write_text("{}", encoding="utf-8")
        self.start_device()
        self.start_daemon()
        self.bus.wait_for("sent", "Camera1Profile1", True)
        self.assertEqual(0, self.daemon.end())
        self.bus.wait_for("undeclared", "state")
        self.assertEqual({"stopped"}, set(self.bus.states()))
        self.assertNotIn("home", [happening.what for happening in self.bus.journal.entries()])
