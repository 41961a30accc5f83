"""The daemon's folder cannot be written, or the daemon dies while it writes."""

import errno
import json
import os
import pathlib
import random
import signal
import threading
import time

from camera import CONFIGURATION, ENABLED, LOCALDATA, SETTINGS, TUNED, CameraTest
from web import Web, document

NESTED = ("bwrap", "--dev-bind", "/", "/")
READ_ONLY = (*NESTED, "--ro-bind", str(LOCALDATA), str(LOCALDATA))
SMALL = 65536  # bytes, room for both files many times

REFUSED = CONFIGURATION.with_name("config.json.refused")
CUT_OFF = b'{"apiVersion":"1.0","method":"setConfiguration","params":{"cameras":[{"id":1,'

INTERNAL_ERROR = "1000"
INVALID_PARAMETER = "2004"

SQUARE = [[-0.9, -0.9], [-0.9, 0.9], [0.9, 0.9], [0.9, -0.9]]


def configuration(uid):
    return {"cameras": [{"id": 1, "active": True, "rotation": 0}],
            "profiles": [{"name": f"Profile {uid}", "uid": uid, "camera": 1, "priority": 1,
                          "triggers": [{"type": "includeArea", "data": SQUARE}], "filters": []}]}


class StorageCase(CameraTest):
    settings = TUNED

    def serve(self, *sandbox):
        self.start_device("--head-boot", "0")
        self.start_again(*sandbox)

    def start_again(self, *sandbox):
        self.start_daemon(*sandbox)
        self.wait_until_serving()
        self.web = Web(self.device)

    def error(self, method, params=None):
        """The code of the answer; nothing for one with data."""
        answer = self.web.post(json.dumps(document(method, params)))
        self.assertEqual(200, answer.status)
        return answer.document.get("error", {}).get("code")

    def assert_runs(self, uid, other):
        """The profile with the one uid is in force, and none with the other."""
        self.assertIsNone(self.error("sendAlarmEvent", {"profile": uid}))
        self.assertEqual(INVALID_PARAMETER, self.error("sendAlarmEvent", {"profile": other}))

    def assert_changes_are_refused_or_not_kept(self, settings, reason):
        """With the profile 1 in force; settings: the file as the daemon sees it, if there is one;
        reason: of the system, for which nothing can be written."""
        before = settings and settings.read_bytes()
        self.assertEqual(INTERNAL_ERROR, self.error("setConfiguration", configuration(2)))
        self.assert_runs(1, 2)
        self.assertIsNone(self.error("setSentrel", {"timePerObject": 17}))
        self.assertEqual(17, self.web.call("getSentrel")["timePerObject"])
        self.device.wait_for_log("Error writing config file")
        for path in (CONFIGURATION, SETTINGS):
            self.device.output.wait_for(
                lambda line, path=path: f"Failed to write {path} to disk (" in line and
                line.endswith(f"{os.strerror(reason)})"), f"why {path} was not written")
        if settings:
            self.assertEqual(before, settings.read_bytes())

    def assert_changes_are_kept(self):
        self.assertIsNone(self.error("setConfiguration", configuration(3)))
        self.assert_runs(3, 1)
        self.assertIsNone(self.error("setSentrel", {"timePerObject": 19}))
        self.assertEqual(0, self.daemon.end())
        self.start_again()
        self.assert_runs(3, 1)
        self.assertEqual(19, self.web.call("getSentrel")["timePerObject"])


class FaultStorageTest(StorageCase):
    def test_read_only_folder_leaves_the_daemon_serving_and_refuses_a_configuration(self):
        self.serve(*READ_ONLY)
        # The default that could not be stored is in force.
        self.assert_changes_are_refused_or_not_kept(SETTINGS, errno.EROFS)
        self.assertEqual(INTERNAL_ERROR, self.error("getConfiguration"))
        self.bus.wait_for("sent", "state", "running")
        self.assertEqual([SETTINGS], list(LOCALDATA.iterdir()))
        self.assertEqual(0, self.daemon.end())
        self.start_again()
        self.assert_runs(1, 2)
        self.assert_changes_are_kept()

    def test_full_folder_keeps_what_is_stored_and_takes_changes_once_there_is_room(self):
        self.serve(*NESTED, "--size", str(SMALL), "--tmpfs", str(LOCALDATA))
        seen = self.as_the_daemon_sees(LOCALDATA)
        self.assertIsNone(self.error("setConfiguration", configuration(1)))
        self.assertIsNone(self.error("setSentrel", {"enable": True}))
        stored = (seen / CONFIGURATION.name).read_bytes()
        filler = seen / "filler"
        fill(filler)
        self.assert_changes_are_refused_or_not_kept(seen / SETTINGS.name, errno.ENOSPC)
        self.assertEqual(configuration(1)["profiles"],
                         self.web.call("getConfiguration")["profiles"])
        self.assertEqual(stored, (seen / CONFIGURATION.name).read_bytes())
        self.assertEqual({CONFIGURATION.name, SETTINGS.name, filler.name},
                         {path.name for path in seen.iterdir()})
        filler.unlink()
        self.assertIsNone(self.error("setConfiguration", configuration(3)))
        self.assert_runs(3, 1)
        self.assertIsNone(self.error("setSentrel", {"timePerObject": 19}))
        self.assertEqual(19, read(seen / SETTINGS.name)["time_per_object"])
        self.assertEqual(configuration(3)["profiles"],
                         read(seen / CONFIGURATION.name)["params"]["profiles"])

    def test_folder_that_goes_away_and_comes_back(self):
        self.serve()
        self.assert_runs(1, 2)
        away = LOCALDATA.with_name("away")
        LOCALDATA.rename(away)
        self.assert_changes_are_refused_or_not_kept(None, errno.ENOENT)
        self.assertEqual(INTERNAL_ERROR, self.error("getConfiguration"))
        self.assertFalse(LOCALDATA.exists())
        away.rename(LOCALDATA)
        self.assert_changes_are_kept()

    def test_daemon_without_a_folder_serves_with_defaults(self):
        away = LOCALDATA.with_name("away")
        LOCALDATA.rename(away)
        self.serve()
        self.assert_changes_are_refused_or_not_kept(None, errno.ENOENT)
        self.assertEqual(INTERNAL_ERROR, self.error("getConfiguration"))
        self.assertEqual("stopped", self.web.call("getSentrel")["state"])
        self.assertFalse(LOCALDATA.exists())
        away.rename(LOCALDATA)
        self.assert_changes_are_kept()

    def test_corrupt_configuration_is_kept_aside_and_outlives_a_new_one(self):
        CONFIGURATION.write_bytes(CUT_OFF)
        self.serve()
        said = f"The configuration in {CONFIGURATION} was refused, a copy is kept in {REFUSED}"
        self.device.output.wait_for(lambda line: "Unable to decode Json: " in line, "what is wrong")
        self.device.wait_for_log(said)
        self.assertEqual((CUT_OFF, CUT_OFF), (CONFIGURATION.read_bytes(), REFUSED.read_bytes()))
        self.assertEqual(INVALID_PARAMETER, self.error("sendAlarmEvent", {"profile": 1}))
        # Neither is it lost when somebody sets another configuration, nor at the next starts.
        self.assertIsNone(self.error("setConfiguration", configuration(1)))
        self.assert_runs(1, 2)
        self.assertEqual(CUT_OFF, REFUSED.read_bytes())
        self.assertEqual(0, self.daemon.end())
        self.start_again()
        self.assert_runs(1, 2)
        self.assertEqual(CUT_OFF, REFUSED.read_bytes())
        self.assertEqual(1, sum(said in line for line in self.device.log_lines()))

    def test_configuration_of_another_device_is_kept_aside(self):
        stored = document("setConfiguration", configuration(1))
        stored["params"]["cameras"] += [{"id": 2, "active": True, "rotation": 0}]
        CONFIGURATION.write_text(json.dumps(stored), encoding="utf-8")
        self.serve()
        self.device.wait_for_log("The configuration contains more cameras than device supports")
        self.assertEqual((stored, stored), (read(CONFIGURATION), read(REFUSED)))
        self.assertEqual(INVALID_PARAMETER, self.error("sendAlarmEvent", {"profile": 1}))
        self.assertIsNone(self.error("setConfiguration", configuration(1)))
        self.assert_runs(1, 2)
        self.assertEqual(stored, read(REFUSED))

    def test_corrupt_settings_count_as_none_until_a_setting_replaces_them(self):
        corrupt = TUNED[:-1].encode()
        SETTINGS.write_bytes(corrupt)
        self.serve()
        self.assertEqual("stopped", self.web.call("getSentrel")["state"])
        self.assertEqual(corrupt, SETTINGS.read_bytes())
        self.assertIsNone(self.error("setSentrel", {"timePerObject": 17}))
        self.assertEqual({"time_per_object": 17}, read(SETTINGS))
        self.assert_runs(1, 2)
        # The head is not known any more for which it was tuned.
        self.assertIsNone(self.error("setSentrel", {"enable": True}))
        self.bus.wait_for("sent", "state", "autotuning")

    def as_the_daemon_sees(self, path):
        return pathlib.Path(f"/proc/{self.daemon.pid}/root{path}")


def read(path):
    return json.loads(path.read_text(encoding="utf-8"))


def fill(path):
    """Writes until no byte more finds its place."""
    block = 4096
    with open(path, "wb", buffering=0) as filler:
        while block:
            try:
                filler.write(bytes(block))
            except OSError:
                block //= 2


# Temporary files of daemons that were killed.
REMAINS = (LOCALDATA / ".config.json.AbCd12", LOCALDATA / ".sentrelvideo.json.Ef34Gh")

KILLS = 75  # in each test
LONGEST_LIFE = 0.4  # seconds after the first answer
LONGEST_START = 0.1  # seconds after the start, in one of so many lives:
EARLY = 5


class FaultKillTest(StorageCase):
    """The daemon dies at any moment of a stream of changes; each of them is whole or not there."""

    settings = ENABLED

    def kill_again_and_again(self, seed):
        chance = random.Random(seed)
        self.start_device("--head-boot", "1000000", "--quiet")
        self.start_again()
        for path in REMAINS:
            path.write_bytes(CUT_OFF)
        self.changes = Changes(self.web)
        self.changes.make_all()
        self.assertEqual({CONFIGURATION, SETTINGS}, set(LOCALDATA.iterdir()))
        self.daemon.send(signal.SIGKILL)
        self.daemon.wait()
        for count in range(KILLS):
            with self.subTest(seed=seed, count=count):
                files = [Untouched(path) for path in (CONFIGURATION, SETTINGS)]
                self.start_daemon()
                if chance.randrange(EARLY) == 0:
                    time.sleep(chance.uniform(0, LONGEST_START))
                else:
                    self.wait_until_serving()
                    self.changes.begin()
                    time.sleep(chance.uniform(0, LONGEST_LIFE))
                self.daemon.send(signal.SIGKILL)
                self.assertEqual(-signal.SIGKILL, self.daemon.wait())
                self.changes.end()
                for file in files:
                    self.assertEqual(file.before, file.read())
                self.assertIn(read(CONFIGURATION)["params"], self.changes.configurations())
                self.assertIn(read(SETTINGS), self.changes.settings())
                self.assertLessEqual(len(list(LOCALDATA.iterdir())), 4)
        self.assertGreater(self.changes.done, KILLS)
        # What stands there now is taken by the next start.
        self.start_again()
        stored = self.web.call("getConfiguration")
        self.assert_runs(stored["profiles"][0]["uid"], 0)

    def test_killed_in_the_midst_of_changes_1(self):
        self.kill_again_and_again(1)

    def test_killed_in_the_midst_of_changes_2(self):
        self.kill_again_and_again(2)

    def test_killed_in_the_midst_of_changes_3(self):
        self.kill_again_and_again(3)

    def test_killed_in_the_midst_of_changes_4(self):
        self.kill_again_and_again(4)


class Untouched:
    """A file as it is now: it is replaced by another one, and never written to itself. A write that
    a kill cuts short is too rare to be waited for."""

    def __init__(self, path):
        self._file = path.open("rb")
        self.before = path.read_bytes()

    def read(self):
        with self._file:
            return self._file.read()


class Changes:
    """Sends changes one after the other, and knows what the files may hold."""

    KEYS = {"timePerObject": "time_per_object", "returnToHomeTimeout": "return_to_home_timeout"}

    def __init__(self, web):
        self._web = web
        self._thread = None
        self._running = False
        self._number = 0
        self._stored = {}  # by kind of file, the last that was answered
        self._pending = {}  # the one that is under way
        self.done = 0

    def make_all(self):
        """One of each kind, from where on all contents are known."""
        status = self._web.call("getConfiguration")["configurationStatus"]
        self._stored = {"configuration": {"configurationStatus": status},
                        "settings": json.loads(ENABLED)}
        for _ in range(1 + len(self.KEYS)):
            self._make_one()

    def begin(self):
        self._running = True
        self._thread = threading.Thread(target=self._make_many, daemon=True)
        self._thread.start()

    def end(self):
        """Once the daemon has died."""
        self._running = False
        if self._thread:
            self._thread.join()
            self._thread = None

    def configurations(self):
        return self._alternatives("configuration")

    def settings(self):
        return self._alternatives("settings")

    def _alternatives(self, kind):
        """And settles on what the test finds in the file, as the daemon will go on from there."""
        alternatives = [self._stored[kind]]
        if kind in self._pending:
            alternatives.append(self._pending.pop(kind))
            path = CONFIGURATION if kind == "configuration" else SETTINGS
            found = read(path).get("params") if kind == "configuration" else read(path)
            if found == alternatives[1]:
                self._stored[kind] = found
        return alternatives

    def _make_many(self):
        while self._running and self._make_one():
            self.done += 1

    def _make_one(self):
        """True when the change was answered with success."""
        self._number += 1
        kinds = ["configuration", *self.KEYS]
        kind = kinds[self._number % len(kinds)]
        if kind == "configuration":
            params = configuration(1 + self._number % 1000)
            status = self._stored[kind]["configurationStatus"] + 1
            return self._send(kind, params | {"configurationStatus": status},
                              document("setConfiguration", params))
        value = 1 + self._number % 60
        settings = self._stored["settings"] | {self.KEYS[kind]: value}
        return self._send("settings", settings, document("setSentrel", {kind: value}))

    def _send(self, kind, expected, request):
        self._pending = {kind: expected}
        answer = self._web.post(json.dumps(request))
        if answer.status != 200:
            return False
        assert "data" in answer.document, answer
        self._stored |= self._pending
        self._pending = {}
        return True
