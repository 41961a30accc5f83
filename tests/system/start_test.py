"""How the daemon finds, makes and keeps its configuration when it starts."""

import json

from camera import CONFIGURATION, HTTP_SOCKET, CameraTest

CORNERS = [[-0.97, -0.97], [-0.97, 0.97], [0.97, 0.97], [0.97, -0.97]]
FILTERS = [
    {"active": True, "data": [5, 5], "type": "sizePercentage"},
    {"active": True, "data": 1, "type": "timeShortLivedLimit"},
    {"active": True, "data": 5, "type": "distanceSwayingObject"},
]


def default_profile(number):
    return {"uid": number, "camera": number, "name": "Profile 1", "priority": 1,
            "triggers": [{"type": "includeArea", "data": CORNERS}], "filters": FILTERS,
            "perspective": []}


def default_document(cameras):
    numbers = range(1, cameras + 1)
    return {
        "apiVersion": "1.0", "context": "", "method": "setConfiguration",
        "params": {
            "cameras": [{"id": n, "active": n == 1, "rotation": 0} for n in numbers],
            "profiles": [default_profile(n) for n in numbers],
            "configurationStatus": 0,
        },
    }


def identity(path):
    """Changes with every writing of a file."""
    status = path.stat()
    return status.st_ino, status.st_mtime_ns, path.read_bytes()


class StartTest(CameraTest):
    def start(self, *options):
        self.start_device(*options)
        self.start_daemon()
        self.wait_until_serving()

    def assert_default_is_made_and_kept(self):
        self.assertEqual(default_document(1), json.loads(CONFIGURATION.read_text(encoding="utf-8")))
        applied = self.bus.wait_for("declared", "Camera1Profile1", False)
        before = identity(CONFIGURATION)
        self.assertEqual(0, self.daemon.end())
        self.start_daemon()
        self.wait_until_serving()
        self.assertEqual(before, identity(CONFIGURATION))
        self.bus.wait_for("declared", "Camera1Profile1", False, start=applied)

    def test_missing_configuration_is_created_and_a_second_start_does_not_rewrite_it(self):
        self.start()
        self.assert_default_is_made_and_kept()

    def test_empty_configuration_is_created_and_a_second_start_does_not_rewrite_it(self):
        CONFIGURATION.write_bytes(b"")
        self.start()
        self.assert_default_is_made_and_kept()

    def test_default_configuration_knows_every_channel_and_uses_the_first(self):
        self.start("--model", "perfect-compass")
        self.assertEqual(default_document(4), json.loads(CONFIGURATION.read_text(encoding="utf-8")))
        self.bus.wait_for("declared", "Camera1Profile1", False)
        declared = {happening.name for happening in self.bus.journal.entries()
                    if happening.what == "declared"}
        self.assertFalse(declared & {f"Camera{n}Profile{n}" for n in (2, 3, 4)}, declared)

    def test_configuration_that_does_not_parse_is_left_alone_and_the_daemon_serves(self):
        CONFIGURATION.write_bytes(b'{"params": {')
        before = identity(CONFIGURATION)
        self.start()
        self.assertEqual(before, identity(CONFIGURATION))
        self.assertEqual(0, self.daemon.end())
        self.bus.wait_for("undeclared", "state")
        names = {happening.name for happening in self.bus.journal.entries()}
        self.assertNotIn("Camera1Profile1", names)
        self.device.output.wait_for(lambda line: "SentrelVideo: Unable to decode Json: " in line,
                                    "the parser's message")

    def test_own_configuration_is_applied(self):
        document = default_document(1)
        document["params"]["profiles"][0]["uid"] = 7
        CONFIGURATION.write_text(json.dumps(document), encoding="utf-8")
        before = identity(CONFIGURATION)
        self.start()
        self.bus.wait_for("declared", "Camera1Profile7", False)
        self.assertEqual(before, identity(CONFIGURATION))

    def test_daemon_waits_for_a_scene_socket_that_comes_later(self):
        self.start_daemon()
        self.wait_for_attempts()
        self.assertFalse(HTTP_SOCKET.exists())
        self.start_device("--transport", "socket")
        self.wait_until_serving()
        self.bus.wait_for("sent", "Camera1Profile1", True)

    def test_daemon_waits_for_a_scene_module_whose_service_comes_later(self):
        self.start_daemon()
        self.wait_for_attempts()
        self.assertFalse(HTTP_SOCKET.exists())
        self.start_device("--transport", "module")
        self.wait_until_serving()
        self.bus.wait_for("sent", "Camera1Profile1", True)
