"""The head, its services and the message bus break: what the daemon does, what becomes of the head,
and how all recovers.

A head that nobody commands any more stands still by itself, a second after the last command; then
it has to stand for as long as the fault lasts.
"""

import json
import signal
import time

from bus_gate import BusGate, answering, daemon_options, fail, hang, marshal, vanish
from camera import SETTINGS
from fault_fixture import FaultTest, alarm
from frame_gate import FrameGate
from head_gate import (HeadGate, byte_by_byte, cut_short, first_answers, half_a_name, in_two_reads,
                       not_ready, once_for_each_connection, whole)
from scene_frames import Walker, encode, packed
from web import Web, topic_of

PTZ = "com.orva.PTZService"
CHANNEL = "com.orva.RemoteCameraControl.PTZ.Travo"
LENS = "com.orva.M12LensSelectionFov"
PARAMETERS = "com.orva.ParameterService"
FAULT = 30  # seconds
SHORT_FAULT = 5
END = 5  # seconds that the daemon has for its end
ATTEMPTS = 4  # of the daemon to connect to the head
FAILURES = 10  # in a row, until the daemon counts as not steering
QUESTIONS = 8  # until the head is known
NEEDED = 5  # of them have to be answered
SILENCES = 6  # from the start, and after so many answers
SHORT = 4  # seconds: what was cut short did not wait for a head that is silent, which takes 5

LEAST_PAN = 3.0  # degrees: the head looks at somebody on the right of the picture
RIGHT_HALF = (1500, 3000)  # Q12


class HeadFaultTest(FaultTest):
    model = "perfect"
    watched = 1

    def setUp(self):
        super().setUp()
        self.bus_gate = BusGate()

    def start_daemon(self, *options):
        super().start_daemon(*daemon_options(), *options)

    def watch_head(self):
        self.live = self.web.follow("/live")
        self.wait_for_head(True)

    def wait_for_head(self, moving, start=0):
        return self.live.journal.wait_for(
            lambda message: message.kind == "head" and message.data["moving"] == moving,
            "a head that moves" if moving else "a head that stands", start)

    def follow(self):
        self.start_scenes()
        self.start_following()
        self.watch_head()

    def wait_until_head_stands(self, what, start, since):
        stood = self.wait_for_head(False, start)
        self.tell(f"{what}: head stood after", since)
        return stood

    def assert_head_stood(self, start):
        moved = [message for message in self.live.journal.entries(start)
                 if message.kind == "head" and message.data["moving"]]
        self.assertEqual([], moved)

    def wait_until_head_follows(self, what, start, since):
        self.wait_for_head(True, start)
        self.tell(f"{what}: head followed again after", since)

    # ---- The PTZ service ----

    def break_ptz_service(self, what, fault, seconds):
        self.follow()
        position = len(self.bus.journal)
        start, since = len(self.live.journal), time.monotonic()
        self.bus_gate.break_service(PTZ, fault)
        stood = self.wait_until_head_stands(what, start, since)
        self.wait_until_not_steering()
        position = self.bus.wait_for("sent", "isSentreling", False, start=position)
        while time.monotonic() < since + seconds:
            self.assert_daemon_is_well()
            time.sleep(1)
        self.assert_head_stood(stood)
        # All but the head goes on: who leaves ends the alarm, who comes raises it.
        self.gate.sources[1] = lambda: packed(encode([], deleted=[1]))
        ended = self.wait_for_alarm(1, False, start=position)
        self.gate.sources[1] = self.walkers[1]
        self.wait_for_alarm(1, True, start=ended)
        start, since = len(self.live.journal), time.monotonic()
        self.bus_gate.mend_service(PTZ)
        self.wait_until_head_follows(what, start, since)
        self.bus.wait_for("sent", "isSentreling", True, start=position)
        self.end_well()

    def wait_until_not_steering(self):
        """After nothing but questions for the position the daemon gives a stop a try."""
        asked = []

        def gives_up(call):
            if call != (PTZ, "Move"):
                asked.append(call)
                return False
            stops = len(asked) >= FAILURES
            asked.clear()
            return stops

        self.bus_gate.calls.wait_for(gives_up, f"a stop after {FAILURES} failures")

    def test_ptz_service_that_answers_errors(self):
        self.break_ptz_service("PTZ service answered errors", fail, FAULT)

    def test_ptz_service_that_hangs(self):
        self.break_ptz_service("PTZ service hung", hang, FAULT)

    def test_ptz_service_that_hangs_does_not_keep_the_daemon_from_its_end(self):
        self.follow()
        start, since = len(self.live.journal), time.monotonic()
        self.bus_gate.break_service(PTZ, hang)
        self.wait_until_head_stands("PTZ service hung", start, since)
        self.assert_daemon_is_well()
        since = time.monotonic()
        self.daemon.send(signal.SIGTERM)
        self.assertEqual(0, self.daemon.wait(END))
        self.tell("PTZ service hung: SIGTERM took", since)

    def test_ptz_service_that_vanishes_and_returns(self):
        self.break_ptz_service("PTZ service vanished", vanish, SHORT_FAULT)

    def test_ptz_service_that_is_not_there_at_start_is_waited_for(self):
        self.bus_gate.break_service(PTZ, vanish)
        self.start_scenes()
        self.start_daemon()
        self.wait_for_alarm(1, True)
        self.bus_gate.calls.wait_for(lambda _: len(self.bus_gate.calls) >= ATTEMPTS,
                                     "the daemon's attempts")
        self.assertEqual({"stopped", "connecting"}, set(self.bus.states()))
        since = time.monotonic()
        self.bus_gate.mend_service(PTZ)
        self.bus.wait_for("sent", "isSentreling", True)
        self.tell("PTZ service came late: head followed after", since)
        self.assertEqual(0, self.daemon.end())

    # ---- The message bus ----

    def wait_until_forgotten(self, event, start):
        """The device undeclares the events of a client that has left the bus."""
        self.live.journal.wait_for(
            lambda message: message.kind == "undeclared" and
            topic_of(message.data).endswith("/" + event), f"the end of {event}", start)

    def wait_until_told(self, name, value, start=0):
        """What was so before the event was declared anew comes with the declaration."""
        self.bus.journal.wait_for(
            lambda happening: happening.what in ("declared", "sent") and
            (happening.name, happening.value) == (name, value), f"{name}: {value}", start)

    def test_bus_that_is_lost_and_found_again(self):
        self.follow()
        self.lose_and_find_bus()
        # A lost connection is kept until somebody needs a new one, but only one.
        resources = self.resources()
        self.lose_and_find_bus()
        self.wait_for_no_more_than(resources)
        self.end_well()

    def lose_and_find_bus(self):
        start, since = len(self.live.journal), time.monotonic()
        self.bus_gate.close()
        self.wait_until_forgotten(alarm(1), start)
        stood = self.wait_until_head_stands("bus lost", start, since)
        # Who leaves meanwhile has left afterwards.
        self.gate.sources[1] = lambda: packed(encode([], deleted=[1]))
        since = time.monotonic()
        while time.monotonic() < since + SHORT_FAULT:
            self.assert_daemon_is_well()
            time.sleep(1)
        self.assert_head_stood(stood)
        position, since = len(self.bus.journal), time.monotonic()
        self.bus_gate.open()
        for name in (alarm(1), "Camera1ProfileANY"):
            self.wait_until_told(name, False, position)
        self.bus.wait_for("declared", "state", "running", start=position)
        self.tell("bus found: events declared again after", since)
        start, since = len(self.live.journal), time.monotonic()
        self.gate.sources[1] = self.walkers[1]
        for name in (alarm(1), "Camera1ProfileANY"):
            self.bus.wait_for("sent", name, True, start=position)
        self.wait_until_head_follows("bus found, somebody came", start, since)

    def test_bus_that_restarts_with_all_its_services(self):
        self.start_scenes()
        self.start_following()
        self.gate.close()
        self.device.end()
        self.bus_process.terminate()
        self.bus_process.wait()
        self.start_bus()
        since = time.monotonic()
        self.start_device("--model", self.model, "--head-boot", "0", "--port", "0")
        self.gate = FrameGate(self.gate.path, self.walkers)
        self.bus.wait_for("declared", "state", "running")
        self.tell("bus and services restarted: events declared after", since)
        for name in (alarm(1), "Camera1ProfileANY"):
            self.wait_until_told(name, True)
        self.bus.wait_for_move(lambda move: move.pan != 0, "a move of the head")
        self.tell("bus and services restarted: head followed after", since)
        self.web = Web(self.device)
        self.end_well()

    # ---- The daemon that commands the head ----

    def test_head_stands_when_the_daemon_is_killed(self):
        self.follow()
        start, since = len(self.live.journal), time.monotonic()
        self.daemon.send(signal.SIGKILL)
        stood = self.wait_until_head_stands("daemon killed", start, since)
        self.assertEqual(-signal.SIGKILL, self.daemon.wait())
        position = len(self.bus.journal)
        self.wait_until_forgotten("state", start)
        self.assert_head_stood(stood)
        self.start_daemon()
        self.bus.wait_for("sent", "isSentreling", True, start=position)
        self.assertEqual(0, self.daemon.end())

    def test_head_stands_when_the_daemon_hangs(self):
        self.follow()
        start, since = len(self.live.journal), time.monotonic()
        self.daemon.send(signal.SIGSTOP)
        self.wait_until_head_stands("daemon hung", start, since)
        start, since = len(self.live.journal), time.monotonic()
        self.daemon.send(signal.SIGCONT)
        self.wait_until_head_follows("daemon hung", start, since)
        self.end_well()

    # ---- The channel to the remote head ----

    def connect_over(self, way, questions=QUESTIONS + ATTEMPTS):
        """The head's answers are spoilt from the start on. A daemon that took each of them for good
        would have no more questions than QUESTIONS."""
        self.start_scenes()
        self.head_gate = HeadGate(way)
        self.start_daemon()
        self.wait_for_alarm(1, True)
        self.wait_for_questions(questions)

    def wait_for_questions(self, questions, start=0):
        """So many since there were start of them."""
        self.head_gate.answers.wait_for(
            lambda _: len(self.head_gate.answers) >= start + questions, "the daemon's questions")

    def mend_channel(self, what):
        self.assertEqual({"stopped", "connecting"}, set(self.bus.states()))
        since = time.monotonic()
        self.head_gate.way = whole
        self.bus.wait_for("sent", "isSentreling", True)
        self.tell(f"{what}: head followed after", since)
        self.assert_head_is_known()

    def assert_head_is_known(self):
        """As what it was tuned for; nothing half-read was taken for its name."""
        self.assertEqual(["stopped", "connecting", "running"], self.bus.states())
        settings = json.loads(SETTINGS.read_text(encoding="utf-8"))
        self.assertEqual("TRK-100", settings["camera_name"])
        self.assertEqual(0, self.daemon.end())

    def test_head_that_is_not_ready_is_asked_again(self):
        self.connect_over(not_ready)
        self.device.wait_for_log("Received non valid response. PTZ camera connection not ready.")
        self.mend_channel("head not ready")

    def test_head_whose_answers_are_cut_is_asked_again(self):
        self.connect_over(cut_short)
        self.device.wait_for_log("Failed to find substring!")
        self.mend_channel("answers cut")

    def test_head_that_answers_byte_by_byte_is_asked_again(self):
        self.connect_over(byte_by_byte)
        self.device.wait_for_log("Failed to find substring!")
        self.head_gate.way = half_a_name
        self.wait_for_questions(2 * QUESTIONS, len(self.head_gate.answers))
        self.mend_channel("answers byte by byte")

    def test_head_whose_values_come_in_two_reads_is_known_as_what_it_is(self):
        self.connect_over(in_two_reads, QUESTIONS)
        self.bus.wait_for("sent", "isSentreling", True)
        self.assert_head_is_known()

    def test_head_that_falls_silent_is_asked_again_from_the_start(self):
        self.connect_over(first_answers(4), 6)
        silent, next_one = self.head_gate.answers.entries()[4:6]
        self.assertIn(b".AspectRatio=", silent)
        self.assertIn(b".MinFieldAngle=", next_one)  # what was left of the first attempt was not
        self.mend_channel("head silent")

    def test_head_that_falls_silent_does_not_keep_the_daemon_from_its_end(self):
        self.start_scenes()
        self.head_gate = HeadGate(whole)
        for answers in range(SILENCES):
            self.head_gate.way = first_answers(answers)
            asked = len(self.head_gate.answers)
            self.start_daemon()
            self.wait_for_questions(answers + 1, asked)
            self.end_within(END, f"head silent after {answers} answers")

    def test_channel_that_does_not_open_does_not_keep_the_daemon_from_its_end(self):
        self.connect_over(cut_short)
        self.bus_gate.break_service(CHANNEL, hang)
        self.bus_gate.calls.wait_for(lambda call: call == (CHANNEL, "OpenChannel"),
                                     "a channel that is asked for")
        self.end_within(SHORT, "channel does not open")

    def end_within(self, seconds, what):
        since = time.monotonic()
        self.daemon.send(signal.SIGTERM)
        status = self.daemon.wait()
        self.tell(f"{what}: SIGTERM took", since)
        self.assertLess(time.monotonic() - since, seconds)
        self.assertEqual(0, status)

    def test_head_that_is_silent_is_left_at_once_when_tracking_is_switched_off(self):
        self.connect_over(first_answers(0), 1)
        web = Web(self.device)
        self.wait_for_questions(1, len(self.head_gate.answers))
        left, since = len(self.head_gate.departures), time.monotonic()
        web.call("setSentrel", {"enable": False})
        self.head_gate.departures.wait_for(lambda _: True, "the end of the daemon's wait", left,
                                           patience=SHORT)
        self.tell("head silent, switched off: left after", since)
        self.head_gate.way = whole
        since = time.monotonic()
        web.call("setSentrel", {"enable": True})
        self.bus.wait_for("sent", "isSentreling", True)
        self.tell("switched on again: head followed after", since)
        self.assertEqual(["stopped", "connecting", "stopped", "connecting", "running"],
                         self.bus.states())
        self.assertEqual(0, self.daemon.end())

    def test_head_that_closes_after_each_answer_is_connected(self):
        # A question that crosses the end of the connection is lost; three may be.
        self.connect_over(once_for_each_connection, NEEDED)
        self.bus.wait_for("sent", "isSentreling", True)
        self.assertGreaterEqual(len(self.head_gate.arrivals), NEEDED)
        self.assert_head_is_known()

    # ---- The lens ----

    def aim_right(self):
        """Somebody walks on the right only, who is not there before the lens is known."""
        self.gate.sources[1] = Walker(9, *RIGHT_HALF)

    def wait_until_head_looks_right(self, what, since):
        self.live.journal.wait_for(
            lambda message: message.kind == "head" and message.data["pan"] > LEAST_PAN,
            "a head that looks to the right")
        self.tell(f"{what}: head aimed right after", since)

    def start_with_lens(self, fault):
        self.bus_gate.break_service(LENS, fault)
        self.start_scenes()
        self.aim_right()
        begun = time.monotonic()
        self.start_following()
        self.tell("first alarm and movement after the daemon's start", begun)
        self.live = self.web.follow("/live")

    def test_lens_that_answers_late_is_taken_late(self):
        self.start_with_lens(hang)
        self.assertIn((LENS, "GetAll"), self.bus_gate.calls.entries())
        since = time.monotonic()
        self.bus_gate.mend_service(LENS)
        self.wait_until_head_looks_right("lens late", since)
        self.end_well()

    def test_lens_with_wrong_types_is_refused_until_they_are_right(self):
        wrong = [("OpticsWideHFoV", "s", "27"), ("OpticsWideVFoV", "i", 15),
                 ("SensorRotation", "u", 90)]
        self.start_with_lens(answering("a{sv}", marshal("a{sv}", wrong)))
        for name, _, _ in wrong:
            self.device.wait_for_log(f"channel 0: bad type for {name}")
        since = time.monotonic()
        self.bus_gate.mend_service(LENS)
        # Right ones are told anew by a service that returns, here with its bus.
        self.bus_gate.close()
        self.bus_gate.open()
        self.wait_until_head_looks_right("lens wrong, then right", since)
        self.end_well()

    def test_sensor_that_is_turned_while_the_parameters_are_away_counts_when_they_are_back(self):
        self.start_scenes()
        self.aim_right()
        self.start_following()
        self.live = self.web.follow("/live")
        self.wait_until_head_looks_right("at the start", time.monotonic())
        turned = [("OpticsWideHFoV", "d", 27.0), ("OpticsWideVFoV", "d", 15.0),
                  ("SensorRotation", "i", 180)]
        self.bus_gate.break_service(PARAMETERS, vanish)
        self.bus_gate.break_service(LENS, answering("a{sv}", marshal("a{sv}", turned)))
        # A lens that returns, here with its bus, is asked anew.
        self.bus_gate.close()
        self.bus_gate.open()
        position = self.wait_for_call(LENS, "GetAll")
        position = self.wait_for_call(PARAMETERS, "Get", position)
        start = len(self.live.journal)
        for _ in range(3):
            position = self.wait_for_call(PARAMETERS, "Get", position)
        pans = [message.data["pan"] for message in self.live.journal.entries(start)
                if message.kind == "head"]
        self.assertTrue(pans and min(pans) > 0, pans)
        start, since = len(self.live.journal), time.monotonic()
        self.bus_gate.mend_service(PARAMETERS)
        self.live.journal.wait_for(
            lambda message: message.kind == "head" and message.data["pan"] < -LEAST_PAN,
            "a head that looks to the left", start)
        self.tell("sensor turned, parameters back: head aimed right after", since)
        self.end_well()

    def wait_for_call(self, name, method, start=0):
        return self.bus_gate.calls.wait_for(lambda call: call == (name, method),
                                            f"a call of {method}", start)
