"""SIGTERM at every step of the start, and at any moment under load."""

import contextlib
import errno
import json
import os
import pathlib
import random
import signal
import socket
import threading
import time

from camera import (BUS_SOCKET, CONFIGURATION, HTTP_SOCKET, SCENE_SOCKET, SETTINGS, TUNED,
                    CameraTest)
from journal import wait_until
from web import Web, document

LOG_SOCKET = "/dev/log"
VERSION = "root.Properties.EmbeddedDevelopment.Version"
# Seconds that the daemon has for its end on a machine whose processors are all busy: it takes back
# its events one by one. How long an end takes on an idle one is measured where nothing else runs.
PATIENCE = 30
SHORTEST_START = 0.06  # seconds from the daemon's start to its first answer

SQUARE = [[-0.9, -0.9], [-0.9, 0.9], [0.9, 0.9], [0.9, -0.9]]


def configuration(cameras=1, first_uid=1):
    numbers = range(1, cameras + 1)
    return {"cameras": [{"id": number, "active": True, "rotation": 0} for number in numbers],
            "profiles": [{"name": f"Profile {number}", "uid": first_uid + number - 1,
                          "camera": number, "priority": 1, "filters": [],
                          "triggers": [{"type": "includeArea", "data": SQUARE}]}
                         for number in numbers]}


def configuration_text():
    return json.dumps(document("setConfiguration", configuration()))


class Pipe:
    """Takes the place of a file whose reader is to wait."""

    def __init__(self, path):
        self._path = path
        path.unlink(missing_ok=True)
        os.mkfifo(path)
        self._end = None

    def wait_for_reader(self):
        """From then on the reader waits for what is written."""
        wait_until(self._has_reader, f"a reader of {self._path}")

    def write(self, text):
        """The file of this text lies there from now on; the reader gets it first."""
        beside = self._path.with_suffix(".new")
        beside.write_text(text, encoding="utf-8")
        beside.rename(self._path)
        with self._end:
            self._end.write(text.encode())

    def _has_reader(self):
        try:
            self._end = os.fdopen(os.open(self._path, os.O_WRONLY | os.O_NONBLOCK), "wb")
            return True
        except OSError as error:
            if error.errno != errno.ENXIO:
                raise
            return False


class FaultStartTest(CameraTest):
    """What holds the start at a step is a stand-in that does not answer."""

    settings = TUNED

    def terminate(self):
        """The signal has been taken, yet it may have to wait."""
        self.daemon.send(signal.SIGTERM)
        wait_until(lambda: not self.daemon.has_pending(signal.SIGTERM), "the signal's delivery")

    def assert_ends_in_order(self):
        self.assertEqual(0, self.daemon.wait(PATIENCE))
        self.assertFalse(HTTP_SOCKET.exists())
        # The device's end is the last thing to be seen.
        self.device.end()
        self.bus.wait_for("undeclared", "state")
        names = {what: {happening.name for happening in self.bus.journal.entries()
                        if happening.what == what and happening.name}
                 for what in ("declaring", "undeclared")}
        self.assertIn("Camera1Profile1", names["declaring"])
        self.assertLessEqual(names["declaring"], names["undeclared"])

    def test_before_the_handler_is_there_the_signal_has_its_default_action(self):
        with blocked_log():
            self.start_daemon()
            wait_until(lambda: is_asleep(self.daemon.pid), "the daemon's wait for the log")
            self.daemon.send(signal.SIGTERM)
            self.assertEqual(-signal.SIGTERM, self.daemon.wait(PATIENCE))

    def test_while_the_message_bus_does_not_answer(self):
        BUS_SOCKET.unlink()
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as mute:
            mute.bind(str(BUS_SOCKET))
            mute.listen()
            self.start_daemon()
            with mute.accept()[0]:
                self.daemon.send(signal.SIGTERM)
                self.assertEqual(1, self.daemon.wait(PATIENCE))

    def test_while_the_services_are_not_there(self):
        self.start_daemon()
        self.bus.wait_for("sought", "com.orva.EventService")
        self.daemon.send(signal.SIGTERM)
        self.assertEqual(1, self.daemon.wait(PATIENCE))

    def test_while_the_services_do_not_answer(self):
        self.start_device("--head-boot", "0")
        self.device.process.send_signal(signal.SIGSTOP)
        self.start_daemon()
        self.bus.wait_for("asked", VERSION)
        self.daemon.send(signal.SIGTERM)
        self.assertEqual(1, self.daemon.wait(PATIENCE))
        self.device.process.send_signal(signal.SIGCONT)

    def test_while_the_scene_source_is_not_there(self):
        self.start_device("--head-boot", "0", "--transport", "socket")
        SCENE_SOCKET.unlink()
        self.start_daemon()
        self.bus.wait_for("asked", VERSION)
        self.daemon.send(signal.SIGTERM)
        self.assertEqual(1, self.daemon.wait(PATIENCE))

    def test_while_the_configuration_is_read(self):
        self.start_device("--head-boot", "0")
        pipe = Pipe(CONFIGURATION)
        self.start_daemon()
        pipe.wait_for_reader()
        self.terminate()
        self.assertFalse(HTTP_SOCKET.exists())
        pipe.write(configuration_text())
        self.assert_ends_in_order()

    def test_while_the_cameras_are_built(self):
        self.start_device("--head-boot", "0")
        pipe = Pipe(CONFIGURATION)
        self.start_daemon()
        pipe.wait_for_reader()
        self.device.process.send_signal(signal.SIGSTOP)
        position = len(self.bus.journal)
        pipe.write(configuration_text())
        self.bus.wait_for("asked", start=position, name="root.Properties.EmbeddedDevelopment."
                                                        "RuleEngine.MultiConfiguration")
        self.terminate()
        self.device.process.send_signal(signal.SIGCONT)
        self.assert_ends_in_order()

    def test_while_the_tracker_is_built(self):
        self.start_device("--head-boot", "0")
        CONFIGURATION.write_text(configuration_text(), encoding="utf-8")
        pipe = Pipe(SETTINGS)
        self.start_daemon()
        pipe.wait_for_reader()
        self.terminate()
        self.assertFalse(HTTP_SOCKET.exists())
        pipe.write(TUNED)
        self.assert_ends_in_order()

    def measure_start(self):
        """In seconds: a busy machine takes its time."""
        self.start_daemon()
        begun = time.monotonic()
        self.wait_until_serving()
        duration = time.monotonic() - begun
        self.assertEqual(0, self.daemon.end())
        return duration

    def test_at_any_moment_of_the_start(self):
        """Nothing but the ends of the steps above, and none of them late."""
        chance = random.Random(4)
        self.start_device("--head-boot", "0")
        longest = max(SHORTEST_START, self.measure_start())
        ends = set()
        for count in range(60):
            with self.subTest(count=count):
                self.start_daemon()
                time.sleep(chance.uniform(0, longest))
                self.daemon.send(signal.SIGTERM)
                end = self.daemon.wait(PATIENCE)
                self.assertIn(end, (-signal.SIGTERM, 1, 0))
                ends.add(end)
        self.assertIn(0, ends)
        # The files that such starts leave are good ones.
        json.loads(CONFIGURATION.read_text(encoding="utf-8"))
        self.assertEqual(TUNED, SETTINGS.read_text(encoding="utf-8"))


def is_asleep(process):
    """True while its main thread waits for something."""
    status = pathlib.Path(f"/proc/{process}/stat").read_text(encoding="utf-8")
    return status.rpartition(") ")[2].startswith("S")


@contextlib.contextmanager
def blocked_log():
    """Whoever connects to the system log waits."""
    with contextlib.ExitStack() as sockets:
        log = sockets.enter_context(socket.socket(socket.AF_UNIX, socket.SOCK_STREAM))
        log.bind(LOG_SOCKET)
        log.listen(0)
        while True:
            client = sockets.enter_context(socket.socket(socket.AF_UNIX, socket.SOCK_STREAM))
            client.setblocking(False)
            if client.connect_ex(LOG_SOCKET) == errno.EAGAIN:
                break
        yield


ENDS = 50  # in each test
LONGEST_LIFE = 0.3  # seconds after the first answer
CLIENTS = 2


class FaultTerminationTest(CameraTest):
    """The scene threads, the visual confirmation's timer and the API are all at work."""

    settings = TUNED

    def terminate_again_and_again(self, seed, transport):
        chance = random.Random(seed)
        CONFIGURATION.write_text(json.dumps(document("setConfiguration", configuration(4))),
                                 encoding="utf-8")
        self.start_device("--model", "perfect-compass", "--head-boot", "0", "--fps", "25", "--quiet",
                          "--transport", transport)
        self.start_daemon()
        self.wait_until_serving()
        busy, slowest = 0, 0.0
        with Clients(Web(self.device)) as clients:
            for count in range(ENDS):
                self.wait_until_serving()
                answered = clients.answered
                time.sleep(chance.uniform(0, LONGEST_LIFE))
                start = time.monotonic()
                self.daemon.send(signal.SIGTERM)
                self.assertEqual(0, self.daemon.wait(PATIENCE), f"end {count}")
                slowest = max(slowest, time.monotonic() - start)
                self.assertFalse(HTTP_SOCKET.exists())
                busy += clients.answered > answered
                self.start_daemon()
        print(f"the slowest end took {slowest:.3f} s")
        self.assertGreater(busy, ENDS // 2)
        self.wait_until_serving()
        self.assertEqual(0, self.daemon.end())

    def test_terminated_under_load_with_scene_sockets_1(self):
        self.terminate_again_and_again(1, "socket")

    def test_terminated_under_load_with_scene_sockets_2(self):
        self.terminate_again_and_again(2, "socket")

    def test_terminated_under_load_with_the_scene_module_1(self):
        self.terminate_again_and_again(3, "module")

    def test_terminated_under_load_with_the_scene_module_2(self):
        self.terminate_again_and_again(4, "module")


class Clients:
    """Send requests without pause, also while the daemon is not there."""

    REQUESTS = [("startVisualConfirmation", {"profile": 1}), ("getSentrel", None),
                ("setSentrel", {"enable": True, "timePerObject": 5}),
                ("setConfiguration", configuration(4)), ("startVisualConfirmation", {"profile": 2}),
                ("setSentrel", {"timePerObject": 6}), ("sendAlarmEvent", {"profile": 3}),
                ("getConfiguration", None)]

    def __init__(self, web):
        self._web = web
        self._running = True
        self.answered = 0
        self._threads = [threading.Thread(target=self._send, args=(number,), daemon=True)
                         for number in range(CLIENTS)]

    def __enter__(self):
        for thread in self._threads:
            thread.start()
        return self

    def __exit__(self, *_):
        self._running = False
        for thread in self._threads:
            thread.join()

    def _send(self, number):
        while self._running:
            method, params = self.REQUESTS[number % len(self.REQUESTS)]
            number += 1
            answer = self._web.post(json.dumps(document(method, params)))
            if answer.status == 200:
                assert "data" in answer.document, answer
                self.answered += 1
            else:
                assert answer.status == 503, answer
