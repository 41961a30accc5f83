"""What listeners see when the event service comes late, and when the events of a profile change."""

import json
import time

from broker import HOST, Broker
from bus_gate import BusGate, daemon_options, vanish
from camera import CONFIGURATION
from fault_fixture import FaultTest, alarm
from journal import wait_until
from web import Web, document, topic_of

SERVICE = "com.orva.EventService"
OWN = "MiruPlatform/SentrelVideo/"
ALARM = OWN + alarm(1)
DRAWINGS = OWN + "xinternal_data"
LATE = 3  # seconds after the daemon's start

CONTRADICTION = "2002"  # which a drawing without its event is told as
LEFT_HALF = [[-0.97, -0.97], [-0.97, 0.97], [0.0, 0.97], [0.0, -0.97]]


def nice(name):
    return f"SentrelVideo ({name})"


def wait_for_drawing(listener, start=0):
    listener.journal.wait_for(
        lambda message: message.kind == "event" and topic_of(message.data) == DRAWINGS and
        "polygon" in message.data["data"]["svgframe"], "a drawing", start)


class LateEventServiceTest(FaultTest):
    """Guards and tracker are made, and somebody is in alarm and followed, before it comes."""

    def error_of(self, method, params):
        return self.web.post(json.dumps(document(method, params))).document["error"]["code"]

    def start_without_it(self, transport):
        self.bus_gate = BusGate()
        self.bus_gate.break_service(SERVICE, vanish)
        self.start_scenes(transport)
        self.started = time.monotonic()
        self.start_daemon(*daemon_options())
        self.web = Web(self.device)
        wait_until(lambda: self.web.call("getSentrel")["state"] == "running", "a known head")
        self.bus.wait_for_move(lambda move: move.pan != 0, "a head that follows")

    def come_late(self, transport):
        self.start_without_it(transport)
        time.sleep(max(0, self.started + LATE - time.monotonic()))
        self.assertFalse([happening for happening in self.bus.journal.entries()
                          if happening.what == "declared" and happening.name == alarm(1)])
        listener = self.web.follow()
        since = time.monotonic()
        self.bus_gate.mend_service(SERVICE)
        for camera in self.walkers:
            self.wait_for_alarm(camera, True)
            self.bus.wait_for("sent", f"Camera{camera}ProfileANY", True)
        self.bus.wait_for("sent", "CameraANY", True)
        self.bus.wait_for("sent", "state", "running")
        self.bus.wait_for("sent", "isSentreling", True)
        listener.wait_for_event("VideoSource/MotionAlarm", {"State": True})
        self.tell(f"{transport}: all events told after the service had come", since)
        self.assertEqual(0, self.daemon.end())
        self.bus.wait_for("undeclared", "state")
        names = {what: {happening.name for happening in self.bus.journal.entries()
                        if happening.what == what and happening.name}
                 for what in ("declared", "undeclared")}
        own = {name for name in names["declared"] if not name.startswith(("PTZ", "Move"))}
        self.assertLessEqual(own, names["undeclared"])

    def test_drawings_that_were_refused_are_sent_when_they_are_asked_for_again(self):
        self.start_without_it("socket")
        for _ in range(2):
            self.assertEqual(CONTRADICTION,
                             self.error_of("startVisualConfirmation", {"profile": 1}))
        listener = self.web.follow()
        self.bus_gate.mend_service(SERVICE)
        self.web.call("startVisualConfirmation", {"profile": 1})
        wait_for_drawing(listener)

    def test_events_of_guards_and_tracker_are_told_when_it_comes_with_scene_sockets(self):
        self.come_late("socket")

    def test_events_of_guards_and_tracker_are_told_when_it_comes_with_the_scene_module(self):
        self.come_late("module")


class RenamedProfileTest(FaultTest):
    """A profile is in alarm all the time while its configuration changes."""

    def start_device(self, *options):
        self.broker = Broker(self)
        super().start_device(*options, "--mqtt", f"{HOST}:{self.broker.port}")

    def start_watching(self):
        self.start_scenes()
        self.start_following()
        self.listener = self.web.follow()
        self.listener.wait_for_event(ALARM, {"active": True})
        self.subscriber = self.broker.subscribe()
        self.subscriber.wait_for(lambda publication: publication.topic == ALARM, ALARM)

    def configuration(self):
        params = json.loads(CONFIGURATION.read_text(encoding="utf-8"))["params"]
        return {"cameras": params["cameras"], "profiles": params["profiles"]}

    def change(self, **changes):
        """Of the first profile; returns where the listeners were before."""
        changed = self.configuration()
        changed["profiles"][0].update(changes)
        position = len(self.listener.journal), len(self.subscriber)
        self.web.call("setConfiguration", changed)
        return position

    def assert_shown(self, name, position):
        """To those who listened, to those who come, over either way."""
        is_shown = {"active": True}
        old = self.listener.events(ALARM)[0]
        end = self.listener.wait_for_event(ALARM, is_shown, position[0])
        first = self.listener.journal.entries()[end - 1].data
        self.assertEqual(nice(name), first["nice"], "before anything else is told of it")
        self.assertNotEqual(old["id"], first["id"])
        # The former declaration goes when the new one is there; the alarm ends with the guard that
        # had raised it, and the new guard raises its own.
        gone = self.listener.journal.wait_for(
            lambda message: message.kind == "undeclared" and message.data["id"] == old["id"],
            "the end of the former declaration", position[0])
        self.assertGreater(gone, end)
        ended = self.listener.wait_for_event(ALARM, {"active": False}, end)
        self.listener.wait_for_event(ALARM, is_shown, ended)
        for event in self.listener.events(ALARM, position[0]):
            self.assertEqual(nice(name), event["nice"])

        late = self.web.follow()
        late.wait_for_event(ALARM, is_shown)
        self.assertEqual([nice(name)], [event["nice"] for event in late.events(ALARM)][:1])

        self.subscriber.wait_for(
            lambda publication: publication.topic == ALARM and publication.event is not None and
            not publication.event["data"]["active"], "the end of the former alarm", position[1])
        published = [publication.event for publication in self.subscriber.entries(position[1])
                     if publication.topic == ALARM]
        self.assertNotIn(None, published, "it was never cleared")
        self.assertEqual((nice(name), is_shown), (published[0]["nice"], published[0]["data"]))
        retained = self.broker.subscribe()
        place = retained.wait_for(lambda publication: publication.topic == ALARM, ALARM)
        self.assertEqual(nice(name), retained.entries()[place - 1].event["nice"])

    def test_renamed_profile_is_shown_by_its_new_name(self):
        self.start_watching()
        position = self.change(name="Gate")
        self.assert_shown("Gate", position)
        self.assertEqual(0, self.daemon.end())

    def test_another_profile_under_the_uid_of_one_that_is_deleted_is_shown_by_its_name(self):
        self.start_watching()
        position = self.change(name="Left half", priority=2,
                               triggers=[{"type": "includeArea", "data": LEFT_HALF}])
        self.assert_shown("Left half", position)

    def test_profile_that_moves_to_another_camera_keeps_its_drawing(self):
        self.start_watching()
        self.web.call("startVisualConfirmation", {"profile": 1})
        wait_for_drawing(self.listener)
        moved = self.configuration()
        moved["profiles"] = [dict(moved["profiles"][0], camera=2)]
        self.web.call("setConfiguration", moved)
        wait_for_drawing(self.listener, len(self.listener.journal))
