"""A scene service that takes subscriptions and does not answer them holds up nobody else.

Each attempt to subscribe lasts until the module gives up waiting.
"""

import http.client
import itertools
import json
import threading
import time

from fault_fixture import FaultTest, document
from frame_gate import Cut, once
from journal import PATIENCE, Journal
from web import Web, messages_of, topic_of
from web import document as request

ANSWER_TIMEOUT = 5  # seconds that the module waits for an answer
LONGEST_ANSWER = 0.5  # seconds, of the API
LONGEST_GAP = 0.5  # seconds between a camera's frames, which come every 0.1 s
LONGEST_END = 5  # seconds
DRAWINGS = "MiruPlatform/SentrelVideo/xinternal_data"

# Long enough for an attempt, the pause after it, and another one.
WATCH = 1.6 * ANSWER_TIMEOUT


class Client(threading.Thread):
    """Asks without pause, of the cameras, too; answers: status, seconds and method of each."""

    def __init__(self, web, profile):
        super().__init__(daemon=True)
        self._web = web
        self._requests = [request("getConfiguration"), request("getSentrel"),
                          request("startVisualConfirmation", {"profile": profile})]
        self._is_over = threading.Event()
        self.answers = []

    def run(self):
        for asked in itertools.cycle(self._requests):
            since = time.monotonic()
            status = self._web.post(json.dumps(asked)).status
            self.answers.append((status, time.monotonic() - since, asked["method"]))
            if self._is_over.wait(0.02):
                return

    def end(self):
        self._is_over.set()
        self.join(PATIENCE)


def drawing_times(port):
    """When each drawing of a frame arrives."""
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)
    connection.request("GET", "/events")
    for message in messages_of(connection.getresponse()):
        if message.kind == "event" and topic_of(message.data) == DRAWINGS:
            yield time.monotonic()


class MuteSceneServiceTest(FaultTest):
    def serve(self):
        since = time.monotonic()
        self.start_daemon()
        self.wait_until_serving()
        self.assertEqual([], self.gate.departures.entries(), "the start waited for an attempt")
        self.tell("the API answers after", since)
        self.web = Web(self.device)

    def lose_streams_to_silence(self, cameras):
        """The streams end, and nobody answers when they are asked for again."""
        self.gate.mute = set(cameras)
        for camera in cameras:
            self.gate.sources[camera] = once(self.walkers[camera], Cut(b""))
        self.wait_for_attempts_on(cameras)

    def wait_for_attempts_on(self, cameras):
        for camera in cameras:
            self.gate.muted.wait_for(lambda channel, camera=camera: channel == camera,
                                     f"an attempt on camera {camera}")

    def watch(self, what, seen=None):
        """The API, and what the daemon makes of the frames of a camera that is seen."""
        if seen is not None:
            self.web.call("startVisualConfirmation", {"profile": seen})
            drawings = Journal()
            drawings.follow(drawing_times(self.web.port))
            drawings.wait_for(lambda _: True, "a drawing")
        client = Client(self.web, seen or 1)
        client.start()
        time.sleep(WATCH)  # what is measured is of this length
        client.end()
        self.assertEqual({200}, {status for status, _, _ in client.answers})
        longest, method = max((seconds, method) for _, seconds, method in client.answers)
        print(f"measured: {what}: {len(client.answers)} answers, the longest after {longest:.3f} s "
              f"({method})")
        self.assertLess(longest, LONGEST_ANSWER)
        if seen is not None:
            times = [*drawings.entries(), time.monotonic()]
            gap = max(later - earlier for earlier, later in zip(times, times[1:]))
            print(f"measured: {what}: {len(times)} frames, the longest gap {gap:.3f} s")
            self.assertLess(gap, LONGEST_GAP)

    def configure(self, cameras):
        since = time.monotonic()
        self.web.call("setConfiguration", document(cameras)["params"])
        self.tell(f"setConfiguration with {cameras} cameras answered after", since)
        self.assertLess(time.monotonic() - since, LONGEST_ANSWER)

    def end_in_time(self):
        since = time.monotonic()
        self.assertEqual(0, self.daemon.end())
        self.tell("SIGTERM to the end", since)
        self.assertLess(time.monotonic() - since, LONGEST_END)

    def test_one_channel_that_is_mute_at_the_start(self):
        self.start_scenes("module")
        self.gate.mute = {1}
        self.serve()
        self.wait_for_alarm(2, True)
        self.watch("one mute channel at the start", seen=2)
        self.end_in_time()

    def test_one_channel_that_falls_mute_later(self):
        self.start_scenes("module")
        self.start_following()
        position = len(self.bus.journal)
        self.lose_streams_to_silence([1])
        position = self.wait_for_alarm(1, False, start=position)
        self.watch("one mute channel later", seen=2)
        since = time.monotonic()
        self.gate.mute = set()
        self.wait_for_alarm(1, True, start=position)
        self.tell("the service answers again: alarm raised again after", since)
        self.lose_streams_to_silence([1])
        self.end_in_time()

    def test_four_channels_that_are_mute_at_the_start(self):
        self.watched = 4
        self.start_scenes("module")
        self.gate.mute = {1, 2, 3, 4}
        self.serve()
        self.wait_for_attempts_on(self.gate.mute)
        self.watch("four mute channels at the start")
        self.end_in_time()

    def test_four_channels_that_fall_mute_later(self):
        self.watched = 4
        self.start_scenes("module")
        self.start_following()
        self.lose_streams_to_silence([1, 2, 3, 4])
        self.watch("four mute channels later")
        self.end_in_time()

    def test_cameras_go_and_come_while_their_channels_are_mute(self):
        self.watched = 4
        self.start_scenes("module")
        self.gate.mute = {2, 3, 4}
        self.serve()
        self.wait_for_attempts_on(self.gate.mute)
        self.configure(1)
        attempts = len(self.gate.muted)
        self.watch("three cameras with mute channels that are gone", seen=1)
        self.assertEqual(attempts, len(self.gate.muted), "somebody still asks")
        self.configure(4)
        self.gate.muted.wait_for(lambda channel: channel == 4, "a new attempt", start=attempts)
        self.gate.mute = set()
        self.configure(1)
        self.configure(4)
        self.wait_for_alarm(4, True)
        self.end_in_time()
