"""How signals end the daemon."""

import signal

from bus_monitor import is_stop
from camera import HTTP_SOCKET, SCENE_SOCKET, TUNED, CameraTest
from journal import wait_until
from scene_gate import SceneGate


class StopTest(CameraTest):
    settings = TUNED

    def serve(self):
        self.start_device("--head-boot", "0")
        self.start_daemon()
        self.wait_until_serving()

    def test_sigterm_during_the_wait_for_the_scene_source_ends_with_status_one(self):
        self.start_daemon()
        self.wait_for_attempts()
        self.daemon.send(signal.SIGTERM)
        self.assertEqual(1, self.daemon.wait())

    def test_sigterm_while_serving_takes_everything_down_in_order(self):
        self.start_device("--head-boot", "0")
        gate = SceneGate(SCENE_SOCKET, note=HTTP_SOCKET.exists)
        self.start_daemon()
        self.wait_until_serving()
        steering = self.bus.wait_for("sent", "isSentreling", True)
        probes = len(gate.departures)  # that the scene source was there
        self.assertEqual(0, self.daemon.end())
        self.assertFalse(HTTP_SOCKET.exists())
        gate.departures.wait_for(lambda _: True, "the end of the scene connection", probes)
        self.assertEqual([False], gate.departures.entries(probes), "the API ends first")

        self.bus.wait_for("undeclared", "state", start=steering)
        happenings = self.bus.journal.entries(steering)

        def last(*wanted):
            found = [i for i, happening in enumerate(happenings)
                     if (happening.what, happening.name, happening.value) == wanted]
            self.assertTrue(found, f"{wanted} is missing in\n" + "\n".join(map(str, happenings)))
            return found[-1]

        moves = [i for i, happening in enumerate(happenings) if happening.what == "move"]
        stopped = last("sent", "state", "stopped")
        # The cameras' alarms end before the tracker stops, and the tracker before its events go.
        self.assertLess(last("sent", "Camera1Profile1", False), stopped)
        self.assertLess(last("sent", "Camera1ProfileANY", False), stopped)
        self.assertLess(last("sent", "isSentreling", False), stopped)
        self.assertLess(stopped, moves[-1])
        self.assertTrue(all(is_stop(happenings[i].value) for i in moves if i > stopped))
        self.assertLess(moves[-1], last("undeclared", "isSentreling", None))
        self.assertLess(last("undeclared", "isSentreling", None), last("undeclared", "state", None))

    def test_sigterm_leaves_no_event_declared(self):
        self.serve()
        self.assertEqual(0, self.daemon.end())
        # The device's end is the last thing to be seen.
        self.device.end()
        self.bus.wait_for("undeclared", "state")

        def names(what):
            return {happening.name for happening in self.bus.journal.entries()
                    if happening.what == what and happening.name is not None}

        own = names("declared") - {"PTZPresets", "Move"}
        self.assertLessEqual({"state", "isSentreling", "Camera1Profile1"}, own)
        self.assertEqual(own, names("undeclared") & own)

    def test_second_sigterm_during_the_teardown_changes_nothing(self):
        self.serve()
        # The teardown waits for the device's answers, so that the signal surely falls into it.
        self.device.process.send_signal(signal.SIGSTOP)
        self.daemon.send(signal.SIGTERM)
        wait_until(lambda: not HTTP_SOCKET.exists(), "the teardown's second step")
        self.daemon.send(signal.SIGTERM)
        wait_until(lambda: not self.daemon.has_pending(signal.SIGTERM), "the second signal")
        self.device.process.send_signal(signal.SIGCONT)
        self.assertEqual(0, self.daemon.wait())

    def test_sigint_has_its_default_action(self):
        self.serve()
        self.daemon.send(signal.SIGINT)
        self.assertEqual(-signal.SIGINT, self.daemon.wait())

    def test_sighup_has_its_default_action(self):
        self.serve()
        self.daemon.send(signal.SIGHUP)
        self.assertEqual(-signal.SIGHUP, self.daemon.wait())
