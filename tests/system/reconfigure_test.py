"""A configuration that is set while people are followed."""

import math

from journal import wait_until
from run_script import RunTest
from web import Web, topic_of

OWN = "MiruPlatform/SentrelVideo/"
CAMERAS = 4
PROFILES = {1: (11, 12, 13), 2: (21, 22, 23), 3: (31, 32), 4: (41, 42)}  # uids by camera
OLD = {OWN + f"Camera{number}Profile{number}" for number in PROFILES}
NEW = {OWN + f"Camera{camera}Profile{uid}" for camera, uids in PROFILES.items() for uid in uids}
WHOLE = {OWN + f"Camera{camera}ProfileANY" for camera in PROFILES} | {OWN + "CameraANY"}

# The whole picture, and its halves.
AREAS = [[[-0.97, -0.97], [-0.97, 0.97], [0.97, 0.97], [0.97, -0.97]],
         [[-0.97, -0.97], [-0.97, 0.97], [0.0, 0.97], [0.0, -0.97]],
         [[0.0, -0.97], [0.0, 0.97], [0.97, 0.97], [0.97, -0.97]]]
FILTERS = [{"type": "sizePercentage", "data": [5, 5], "active": True},
           {"type": "timeShortLivedLimit", "data": 1, "active": True},
           {"type": "distanceSwayingObject", "data": 5, "active": True}]

CLOSE = 3.0  # degrees between the head's axis and a person whom it follows
STEADY = 30  # positions of the head in a row, 10 a second


def configuration():
    profiles = [{"name": f"Area {uid}", "uid": uid, "camera": camera, "priority": 1,
                 "triggers": [{"type": "includeArea", "data": area}], "filters": FILTERS}
                for camera, uids in PROFILES.items() for uid, area in zip(uids, AREAS)]
    cameras = [{"id": camera, "active": True, "rotation": 0} for camera in PROFILES]
    return {"cameras": cameras, "profiles": profiles}


def angle_between(head, person):
    tilts = math.radians(head["tilt"]), math.radians(person["tilt"])
    turn = math.radians(head["pan"] - person["pan"])
    cosine = (math.sin(tilts[0]) * math.sin(tilts[1]) +
              math.cos(tilts[0]) * math.cos(tilts[1]) * math.cos(turn))
    return math.degrees(math.acos(max(-1.0, min(1.0, cosine))))


class SteadyAim:
    """Matches the message with which the head has looked at somebody for a while."""

    def __init__(self):
        self._people = []
        self._count = 0

    def __call__(self, message):
        if message.kind == "world":
            self._people = message.data["people"]
        elif message.kind == "head":
            errors = [angle_between(message.data, person) for person in self._people]
            self._count = self._count + 1 if min(errors, default=math.inf) < CLOSE else 0
        return self._count >= STEADY


class ReconfigureTest(RunTest):
    def test_ten_profiles_on_four_cameras_are_set_while_a_person_is_followed(self):
        web = Web(self.start("--model", "perfect-compass", "--port", "0"))
        live = web.follow("/live")
        following = live.wait_for_event(OWN + "isSentreling", {"active": True})
        live.journal.wait_for(SteadyAim(), "a head that follows", start=following)

        position = len(live.journal)
        web.call("setConfiguration", configuration())
        steady = live.journal.wait_for(SteadyAim(), "a head that follows on", start=position)
        self.assertNotIn(False, self.values(live, "isSentreling", "active", position, steady))
        self.assertLessEqual(set(self.values(live, "state", "value", position)), {"running"})
        self.assertEqual("running", web.call("getSentrel")["state"])
        live.journal.wait_for(
            lambda message: message.kind == "event" and topic_of(message.data) in NEW and
            message.data["data"] == {"active": True}, "an alarm of a new profile", start=position)

        self.assert_old_alarms_ended(live)
        self.assert_new_alarms_are_there(web)
        stored = web.call("getConfiguration")
        self.assertEqual(CAMERAS, len(stored["cameras"]))
        self.assertEqual(len(NEW), len(stored["profiles"]))

    def values(self, live, name, key, start, end=None):
        messages = live.journal.entries()[start:end]
        return [message.data["data"][key] for message in messages
                if message.kind == "event" and topic_of(message.data) == OWN + name]

    def assert_old_alarms_ended(self, live):
        raised = []
        for topic in OLD:
            end = live.journal.wait_for(
                lambda message: message.kind == "undeclared" and topic_of(message.data) == topic,
                f"the end of {topic}")
            values = [message.data["data"]["active"] for message in live.journal.entries()[:end]
                      if message.kind == "event" and topic_of(message.data) == topic]
            self.assertFalse(values[-1], topic)
            raised += [topic] if True in values else []
        self.assertTrue(raised)

    def assert_new_alarms_are_there(self, web):
        events = web.follow()

        def present():
            return {topic_of(event) for event in events.events()}

        wait_until(lambda: present() >= NEW | WHOLE, "the new profiles' alarms")
        self.assertFalse(present() & OLD)
