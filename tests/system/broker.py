"""An MQTT broker of a test's own, and what its subscribers see."""

import collections
import json
import socket
import subprocess

from journal import PATIENCE, Journal, wait_until

HOST = "127.0.0.1"
READY = "test/ready"

# event: the payload as JSON; None for an empty one, the text itself where it is no JSON.
Publication = collections.namedtuple("Publication", "retained qos topic event")


class Broker:
    def __init__(self, test):
        self._test = test
        # Bound to the port, it keeps other tests from it; the broker's socket may be bound as well.
        reserving = socket.socket()
        test.addCleanup(reserving.close)
        reserving.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        reserving.bind((HOST, 0))
        self.port = reserving.getsockname()[1]
        self.start()

    def start(self):
        self._broker = self._start(["mosquitto", "-p", str(self.port)], stdout=subprocess.DEVNULL)
        wait_until(self._is_listening, "the broker")
        subprocess.run(["mosquitto_pub", *self._address(), "-t", READY, "-r", "-m", "ready"],
                       check=True, timeout=PATIENCE)

    def kill(self):
        """It forgets everything, its subscribers included."""
        self._broker.kill()
        self._broker.wait(PATIENCE)

    def subscribe(self):
        """A journal of publications: first those retained, then what comes."""
        process = self._start(["mosquitto_sub", *self._address(), "-t", "#", "-q", "1",
                               "-F", "%r %q %t %p"], stdout=subprocess.PIPE, text=True)
        journal = Journal()
        journal.follow(read(line.rstrip("\n")) for line in process.stdout)
        journal.wait_for(lambda publication: publication.topic == READY, "the subscription")
        return journal

    def _start(self, command, **options):
        process = subprocess.Popen(command, stderr=subprocess.DEVNULL, **options)
        self._test.addCleanup(process.wait, PATIENCE)
        self._test.addCleanup(process.terminate)
        return process

    def _address(self):
        return ["-h", HOST, "-p", str(self.port)]

    def _is_listening(self):
        with socket.socket() as probe:
            return probe.connect_ex((HOST, self.port)) == 0


def read(line):
    retained, qos, topic, payload = line.split(" ", 3)
    return Publication(retained == "1", int(qos), topic, parse(payload))


def parse(payload):
    try:
        return json.loads(payload) if payload else None
    except json.JSONDecodeError:
        return payload
