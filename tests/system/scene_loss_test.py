"""What happens when the analytics go away and come back."""

import time

from bus_monitor import is_stop
from camera import SCENE_SOCKET, SUBSCRIBER_SOCKET, TUNED, CameraTest
from scene_gate import SceneGate

ALARM = "Camera1Profile1"
HOLD_TIME = 5  # seconds for which an alarm outlives the last object


class SceneLossTest(CameraTest):
    settings = TUNED

    def lose_and_regain(self, transport, path):
        self.start_device("--head-boot", "0", "--transport", transport)
        gate = SceneGate(path)
        self.start_daemon()
        position = self.bus.wait_for("sent", ALARM, True)
        position = self.bus.wait_for("sent", "isSentreling", True, start=position)
        self.bus.wait_for_move(lambda move: not is_stop(move), "a move of the head", start=position)

        position = len(self.bus.journal)
        cut = time.monotonic()
        gate.close()
        lost = self.bus.wait_for("sent", ALARM, False, start=position)
        self.assertLess(time.monotonic() - cut, HOLD_TIME)
        self.bus.wait_for_move(is_stop, "the head's stop", start=lost)
        self.bus.wait_for("sent", "isSentreling", False, start=lost)
        self.bus.wait_for("home", start=lost)

        position = len(self.bus.journal)
        before = len(gate.arrivals)
        gate.open()
        gate.arrivals.wait_for(lambda _: True, "the daemon's new connection", start=before)
        self.bus.wait_for("sent", ALARM, True, start=position)
        back = self.bus.wait_for("sent", "isSentreling", True, start=position)
        self.bus.wait_for_move(lambda move: not is_stop(move), "a move of the head", start=back)
        self.assertEqual(0, self.daemon.end())

    def test_loss_of_the_scene_socket_ends_alarm_and_following_until_it_returns(self):
        self.lose_and_regain("socket", SCENE_SOCKET)

    def test_loss_of_the_scene_module_ends_alarm_and_following_until_it_returns(self):
        self.lose_and_regain("module", SUBSCRIBER_SOCKET)
