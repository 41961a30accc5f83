"""What the daemon keeps of the memory that a large request took."""

import json
import os
import pathlib
import re
import time

from camera import CONFIGURATION, CameraTest
from journal import wait_until
from web import Web, document

MEBIBYTE = 1 << 20
LARGEST = MEBIBYTE - 1024  # characters of a request's filling; the web server takes 1 MiB
LIMIT = 16 * MEBIBYTE
PATIENCE = 1.0  # seconds
LATE = "The application did not answer in time"

SQUARE = [[-0.9, -0.9], [-0.9, 0.9], [0.9, 0.9], [0.9, -0.9]]
PARAMS = {
    "cameras": [{"id": 1, "active": True, "rotation": 0}],
    "profiles": [{"name": "Gate", "uid": 1, "camera": 1, "priority": 1,
                  "triggers": [{"type": "includeArea", "data": SQUARE}], "filters": []}]}


def repeated(element):
    """A list as text that fills a request."""
    return "[" + ",".join([element] * (LARGEST // (len(element) + 1))) + "]"


# Of the shapes that a document may have, those that take the most of the parser for their length.
FILLINGS = {
    "one text": '"' + "x" * LARGEST + '"',
    "numbers": repeated("1"),
    "empty lists": repeated("[]"),
    "empty objects": repeated("{}"),
    "objects": repeated('{"a":1}'),
    "keys": "{" + ",".join(f'"{number}":1' for number in range(LARGEST // 10)) + "}",
    "texts": repeated('"text"'),
}


def filled(method, filling, params=None):
    """A request whose "params" hold the filling under a key that nobody looks at."""
    text = json.dumps(document(method, (params or {}) | {"filling": 0}))
    return text.replace('"filling": 0', '"filling":' + filling)


class MemoryTest(CameraTest):
    def setUp(self):
        if "SENTREL_SANITIZER_REPORTS" in os.environ:
            self.skipTest("a sanitizer has an allocator of its own")
        super().setUp()
        self.start_device("--model", "perfect-compass")

    def serve(self):
        self.start_daemon()
        self.web = Web(self.device)

    def resident(self):
        """In bytes."""
        text = pathlib.Path(f"/proc/{self.daemon.pid}/smaps_rollup").read_text(encoding="ascii")
        return int(re.search(r"^Rss: +(\d+) kB$", text, re.MULTILINE)[1]) * 1024

    def post_filled(self, *request):
        return self.web.post(filled(*request)).document

    def set_filled(self, filling):
        """The web server waits so long as a user does, which is not enough on a machine that is held up."""
        answers = []

        def is_answered():
            answers.append(self.post_filled("setConfiguration", filling, PARAMS))
            return answers[-1].get("error", {}).get("message") != LATE

        wait_until(is_answered, "an answer in time")
        self.assertIn("data", answers[-1])

    def assert_memory_is_given_back(self, what):
        deadline = time.monotonic() + PATIENCE
        highest = found = self.resident()
        while found >= LIMIT and time.monotonic() < deadline:
            time.sleep(0.02)
            found = self.resident()
        print(f"measured: {what}: {highest / MEBIBYTE:.1f} MiB, then {found / MEBIBYTE:.1f} MiB",
              flush=True)
        self.assertLess(found, LIMIT)

    def test_large_requests_leave_no_memory_behind(self):
        self.serve()
        for name, filling in FILLINGS.items():
            with self.subTest(name):
                for method in ("getSentrel", "setSentrel", "noSuchMethod", "sendAlarmEvent"):
                    self.post_filled(method, filling)
                    self.assert_memory_is_given_back(f"{name} to {method}")

    def test_large_configurations_leave_no_memory_behind(self):
        self.serve()
        for name, filling in FILLINGS.items():
            with self.subTest(name):
                self.set_filled(filling)
                self.assert_memory_is_given_back(f"{name} set")
                self.web.call("getConfiguration")
                self.assert_memory_is_given_back(f"{name} read")
                self.assertIn("error", self.post_filled("setConfiguration", filling))
                self.assert_memory_is_given_back(f"{name} refused")

    def test_start_with_a_large_configuration_leaves_no_memory_behind(self):
        for name, filling in FILLINGS.items():
            with self.subTest(name):
                CONFIGURATION.write_text(filled("setConfiguration", filling, PARAMS),
                                         encoding="utf-8")
                self.serve()
                self.assert_memory_is_given_back(f"start with {name}")
                self.assertEqual(0, self.daemon.end())
