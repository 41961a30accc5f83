"""Request by request: what the daemon answers over HTTP, and what it says about it in its log."""

import json

from journal import wait_until
from run_script import RunTest
from web import Web, document

MESSAGES = {
    "1000": "An error occurred inside the application.",
    "2000": "The requested version of the application is not supported.",
    "2001": "The configuration was not formatted correctly, i.e. does not follow json-scheme",
    "2002": "Parts of the configuration contradict each other, e.g several profiles have the same "
            "id",
    "2003": "A mandatory parameter is missing",
    "2004": "The configuration contains an invalid parameter",
    "2005": "The requested CGI method was not found",
}
MEBIBYTE = 1 << 20
DAY = 86_400_000_000  # microseconds

SQUARE = [[-0.9, -0.9], [-0.9, 0.9], [0.9, 0.9], [0.9, -0.9]]
AREA = {"type": "includeArea", "data": SQUARE}
FENCE = {"type": "fence", "data": SQUARE[:2], "alarmDirection": "both"}
LOITERING = {"type": "loiteringArea", "data": SQUARE, "conditions": []}
EXCLUDED = {"type": "excludeArea", "data": SQUARE[:3]}
SIZE = {"type": "sizePercentage", "data": [5, 5], "active": True}
LIFETIME = {"type": "timeShortLivedLimit", "data": 1, "active": True}
SWAYING = {"type": "distanceSwayingObject", "data": 5, "active": True}
PERSPECTIVE = {"type": "sizePerspective", "data": [5, 5], "active": True}
BAR = {"type": "bar", "height": 180, "data": [[0.0, -0.5], [0.0, 0.0]]}
CAMERA = {"id": 1, "active": True, "rotation": 0}
PROFILE = {"name": "Profile", "uid": 1, "camera": 1, "priority": 1, "triggers": [AREA],
           "filters": [SIZE, LIFETIME, SWAYING]}

MISSING = object()  # the value of a key that is left out


def changed(original, **changes):
    return {key: value for key, value in (original | changes).items() if value is not MISSING}


def profiles(count):
    return [changed(PROFILE, uid=uid) for uid in range(1, count + 1)]


def params(**changes):
    return changed({"cameras": [CAMERA], "profiles": [PROFILE]}, **changes)


def of_camera(**changes):
    return params(cameras=[changed(CAMERA, **changes)])


def of_profile(**changes):
    return params(profiles=[changed(PROFILE, **changes)])


def of_area(data):
    return of_profile(triggers=[changed(AREA, data=data)])


def of_vertex(vertex):
    return of_area([vertex, *SQUARE[1:]])


def of_filters(*filters):
    return of_profile(filters=list(filters))


def of_filter(original, **changes):
    return of_filters(changed(original, **changes))


# Code, message in the log, and the "params" that have them.
REFUSED = [
    ("2003", "Could not get 'params': ", None),
    ("2003", "Could not get 'cameras': ", params(cameras=MISSING)),
    ("2003", "Could not get 'cameras': ", params(cameras=CAMERA)),
    ("2004", "The configuration contains more cameras than device supports",
     params(cameras=[CAMERA, changed(CAMERA, id=2)])),
    ("2003", "No cameras found", params(cameras=[])),
    *[("2003", "Could not unpack data for the camera", of_camera(**changes))
      for changes in ({"active": MISSING}, {"id": MISSING}, {"rotation": MISSING}, {"active": 1},
                      {"id": "1"}, {"rotation": 90.0})],
    ("2003", "Could not unpack data for the camera", params(cameras=[None])),
    *[("2004", "Invalid rotation parameter in configuration file", of_camera(rotation=rotation))
      for rotation in (45, -90, 360, 1 << 32)],
    *[("2004", "Invalid camera id parameter in configuration file", of_camera(id=number))
      for number in (2, -1, (1 << 32) + 1)],
    ("2003", "Could not get 'profiles': ", params(profiles=MISSING)),
    ("2003", "Could not get 'profiles': ", params(profiles={})),
    ("2003", "Missing camera id paramter", of_profile(camera=MISSING)),
    ("2003", "Missing camera id paramter", of_profile(camera="1")),
    ("2003", "Missing camera id paramter", params(profiles=[None])),
    ("2002", "Found invalid rotation for a camera", of_profile(camera=2)),
    *[("2003", "Could not unpack data for the guard", of_profile(**changes))
      for changes in ({"name": MISSING}, {"uid": MISSING}, {"priority": MISSING}, {"name": 7},
                      {"uid": "1"}, {"priority": "high"}, {"xinternalEventDuration": "long"})],
    *[("2004", "Incorrect parameter value for the guard", of_profile(**{key: number}))
      for key in ("uid", "priority") for number in (1 << 31, -(1 << 31) - 1, (1 << 32) + 1)],
    *[("2004", "Incorrect parameter value for the guard",
       of_profile(xinternalEventDuration=duration)) for duration in (DAY + 1, -DAY - 1)],
    *[("2004", "The name of the profile is not valid", of_profile(name=name))
      for name in ("", "   ", "sixteen letters.", 16 * "\u00fc", "a<b", "a>b")],
    ("2003", "Could not find the 'triggers' tag", of_profile(triggers=MISSING)),
    ("2003", "Could not find the 'triggers' tag", of_profile(triggers=AREA)),
    ("2002", "Could not find any triggers", of_profile(triggers=[])),
    *[("2003", "Could not unpack trigger name", of_profile(triggers=[trigger]))
      for trigger in ({}, None, 5, {"type": 5})],
    *[("2002", "The configuration contains too many include area triggers",
       of_profile(triggers=[AREA, second])) for second in (AREA, FENCE, {})],
    ("2002", "The configuration contains too many fence triggers", of_profile(triggers=[FENCE])),
    ("2002", "The configuration contains too many fence triggers",
     of_profile(triggers=[FENCE, AREA])),
    ("2002", "The configuration contains too many loitering area triggers",
     of_profile(triggers=[LOITERING])),
    ("2003", "Unknown trigger tripwire", of_profile(triggers=[changed(AREA, type="tripwire")])),
    ("2003", "Could not get the data for an include area", of_area(MISSING)),
    ("2004", "Too few verticies in a trigger", of_area(SQUARE[:2])),
    ("2004", "Too few verticies in a trigger", of_area("square")),
    ("2004", "Too many verticies in a trigger", of_area(21 * [[0.0, 0.0]])),
    *[("2003", "Could not unpack a point for a trigger", of_vertex(vertex))
      for vertex in ([0.5], [0.5, 0.5, 0.5], ["a", 0.5], None, {"x": 0.5, "y": 0.5})],
    *[("2004", "Trigger values out of bounds", of_vertex(vertex))
      for vertex in ([1.0001, 0], [0, 1.0001], [-1.0001, 0], [0, -1.0001], [1e300, 0])],
    ("2003", "Could not find the 'filters' tag", of_profile(filters=MISSING)),
    ("2003", "Could not find the 'filters' tag", of_profile(filters=SIZE)),
    *[("2003", "Could not unpack exclusion filter name", of_filters(element))
      for element in ({}, None, 5, {"type": 5})],
    ("2004", "Unknown exclusion filter: colour", of_filter(SIZE, type="colour")),
    *[("2003", "Could not unpack a size filter percent", of_filter(SIZE, **changes))
      for changes in ({"data": MISSING}, {"data": [5]}, {"data": [5, 5, 5]}, {"data": [5.5, 5]},
                      {"active": MISSING}, {"active": 1})],
    *[("2004", "Incorrect parameter value for size filter percent", of_filter(SIZE, data=data))
      for data in ([2, 5], [5, 2], [101, 5], [5, 101], [(1 << 32) + 5, 5])],
    *[("2003", "Could not unpack an object lifetime filter", of_filter(LIFETIME, **changes))
      for changes in ({"data": MISSING}, {"data": [1]}, {"active": MISSING})],
    *[("2004", "Incorrect parameter value for object lifetime filter", of_filter(LIFETIME, data=n))
      for n in (0, 6, -1)],
    *[("2003", "Could not unpack a swaying filter", of_filter(SWAYING, **changes))
      for changes in ({"data": MISSING}, {"data": "5"}, {"active": MISSING})],
    *[("2004", "Incorrect parameter value for swaying filter percent", of_filter(SWAYING, data=n))
      for n in (2, 21)],
    *[("2003", "Could not unpack a size filter perspective", of_filter(PERSPECTIVE, **changes))
      for changes in ({"data": MISSING}, {"data": 5}, {"active": MISSING})],
    *[("2004", "Incorrect parameter value for size filter perspective",
       of_filter(PERSPECTIVE, data=data)) for data in ([-1, 5], [5, -1])],
    ("2002", "Only one type of size filter can be active", of_filters(SIZE, PERSPECTIVE)),
    ("2002", "A valid perspective is required too use the size perspective filter",
     of_filters(PERSPECTIVE)),
    ("2004", "The configuration contains too many exclude areas", of_filters(*4 * [EXCLUDED])),
    ("2004", "Could not get the data for an exclude area", of_filter(EXCLUDED, data=MISSING)),
    ("2004", "Too few verticies in a trigger", of_filter(EXCLUDED, data=SQUARE[:2])),
    ("2004", "Trigger values out of bounds", of_filter(EXCLUDED, data=[[2, 0], *SQUARE[:2]])),
    ("2002", "This device is a non-ptz device and the configuration should not contain any presets",
     of_profile(presets=[1])),
    *[("2002", "The guard contains 'perspective' tag, the json data is incoherent",
       of_profile(perspective=perspective)) for perspective in ([BAR, BAR], {}, "none")],
    ("2002", "Found profiles with the same uid", params(profiles=[PROFILE, PROFILE])),
    ("2002", "A camera has too many profiles attached to it", params(profiles=profiles(4))),
]

# The last values that are within their bounds.
ACCEPTED = [
    *[of_camera(rotation=rotation) for rotation in (0, 90, 180, 270)],
    of_camera(active=False),
    params(cameras=[changed(CAMERA, id=0)], profiles=[]),
    params(profiles=[]),
    params(profiles=profiles(3)),
    *[of_profile(name=name) for name in ("x", 15 * "y", 15 * "\u00fc", "  " + 15 * "z" + "  ")],
    of_profile(uid=-5, priority=-1),
    of_profile(uid=(1 << 31) - 1, priority=-(1 << 31)),
    *[of_profile(xinternalEventDuration=duration) for duration in (DAY // 24, DAY, -DAY)],
    of_profile(presets=[], perspective=[], xinternalEventDuration=1000000),
    of_area(SQUARE[:3]),
    of_area(20 * [[0.0, 0.0]]),
    of_vertex([-1, 1.0]),
    of_filters(),
    of_filters(*3 * [EXCLUDED]),
    *[of_filter(SIZE, data=data) for data in ([3, 3], [100, 100])],
    *[of_filter(LIFETIME, data=seconds) for seconds in (1, 5)],
    *[of_filter(SWAYING, data=percent) for percent in (3, 20)],
    of_filters(SIZE, changed(PERSPECTIVE, active=False)),
]

# Method, code, message in the log, and the "params" that have them.
REFUSED_BY_METHOD = [
    ("missingMethod", "2003", None, {}),
    ("noSuchMethod", "2005", None, {}),
    ("SetSentrel", "2005", None, {}),
    ("", "2005", None, {}),
    *[(method, code, message + method, values)
      for method in ("startVisualConfirmation", "sendAlarmEvent")
      for code, message, values in (
          ("2001", "Could not decode the params for ", None),
          ("2003", "Could not unpack data for profile uid for ", {}),
          ("2003", "Could not unpack data for profile uid for ", {"profile": "1"}),
          ("2004", "Incorrect profile uid for ", {"profile": 1 << 40}),
          ("2004", "Incorrect profile uid for ", {"profile": -(1 << 31) - 1}))],
    ("startVisualConfirmation", "2002", "Could not enable visual confirmation", {"profile": 99}),
    ("sendAlarmEvent", "2004", "Profile does not exist", {"profile": 99}),
    ("setSentrel", "2001", "Could not decode the params for setSentrel", None),
    *[("setSentrel", "2004", f"Invalid value for parameter '{key}'", {key: value})
      for key in ("timePerObject", "returnToHomeTimeout") for value in (0, 61, -1, 1 << 40)],
]

NOT_A_VERSION = ("1", "", "one.zero", "1.", ".0", "1.0.0", "-1.0", " 1.0", 1.0, None, MISSING)

CAPABILITIES_OF_AREAS = {"min": [-1.0, -1.0], "max": [1.0, 1.0], "minNbrVertices": 3,
                         "maxNbrVertices": 20}
SMALL_RECTANGLE = [[-0.2, -0.2], [-0.2, 0.2], [0.2, 0.2], [0.2, -0.2]]
NO_CONDITION = {"defaultActive": False, "default": 0, "max": 0, "min": 0}
CAPABILITIES = {
    "profiles": {"minNbrProfilesPerCamera": 0, "maxNbrProfilesPerCamera": 3, "minLengthName": 1,
                 "maxLengthName": 15},
    "presets": {"maxNbrPresetsPerProfile": 1, "defaultPreset": -2},
    "triggers": [
        CAPABILITIES_OF_AREAS | {
            "type": "includeArea", "minNbrInstances": 1, "maxNbrInstances": 1, "defaultInstance": 1,
            "default": [[-0.97, -0.97], [-0.97, 0.97], [0.97, 0.97], [0.97, -0.97]]},
        CAPABILITIES_OF_AREAS | {
            "type": "loiteringArea", "minNbrInstances": 0, "maxNbrInstances": 0,
            "defaultInstance": 0, "default": SMALL_RECTANGLE,
            "conditions": [NO_CONDITION | {"type": kind} for kind in ("individual", "group")]},
        CAPABILITIES_OF_AREAS | {
            "type": "fence", "minNbrInstances": 0, "maxNbrInstances": 0, "defaultInstance": 0,
            "default": [[-0.2, -0.2], [0.2, 0.2]], "defaultAlarmDirection": "leftToRight"},
    ],
    "filters": [
        {"type": "timeShortLivedLimit", "min": 1, "max": 5, "default": 1, "defaultActive": True},
        {"type": "distanceSwayingObject", "min": 3, "max": 20, "default": 5, "defaultActive": True},
        {"type": "sizePercentage", "min": [3, 3], "max": [100, 100], "default": [5, 5],
         "defaultActive": True},
        CAPABILITIES_OF_AREAS | {
            "type": "excludeArea", "minNbrInstances": 0, "maxNbrInstances": 3, "defaultInstance": 0,
            "default": SMALL_RECTANGLE},
    ],
}


class ApiCase(RunTest):
    def serve(self, *options):
        self.camera = self.start("--port", "0", *options)
        self.web = Web(self.camera)
        self.requests = 0

    def send(self, method, values, **header):
        """Returns the answer, the request's text and the position of the log before it."""
        self.requests += 1
        request = document(method, values, f"request {self.requests}") | header
        text = json.dumps(changed(request))
        position = len(self.camera.output)
        answer = self.web.post(text)
        self.assertEqual(200, answer.status, answer)
        self.assertEqual({"apiVersion": "1.0", "context": request["context"],
                          "method": request["method"]},
                         {key: answer.document[key] for key in ("apiVersion", "context", "method")})
        return answer.document, text, position

    def assert_done(self, method, values, data=None):
        answer, _, _ = self.send(method, values)
        self.assertEqual({"apiVersion", "context", "method", "data"}, set(answer), answer)
        self.assertEqual({} if data is None else data, answer["data"])

    def assert_refused(self, code, message, method, values, **header):
        answer, text, position = self.send(method, values, **header)
        self.assert_error(code, answer)
        if message is not None:
            position = self.wait_for_log(message, position)
            self.wait_for_log(text, position)

    def assert_error(self, code, answer):
        self.assertNotIn("data", answer)
        self.assertEqual({"code": code, "message": MESSAGES[code]}, answer["error"])

    def wait_for_log(self, text, position):
        return self.camera.output.wait_for(lambda line: line.endswith("  SentrelVideo: " + text),
                                         text, start=position)

    def status(self):
        return self.web.call("getConfiguration")["configurationStatus"]


class ApiErrorTest(ApiCase):
    def test_every_fault_of_a_configuration_has_its_code_and_message_and_changes_nothing(self):
        self.serve()
        before = (self.state / "config.json").read_bytes()
        for code, message, values in REFUSED:
            with self.subTest(message=message, values=values):
                self.assert_refused(code, message, "setConfiguration", values)
        self.assertEqual(before, (self.state / "config.json").read_bytes())

    def test_every_fault_of_other_methods_has_its_code_and_message(self):
        self.serve()
        for method, code, message, values in REFUSED_BY_METHOD:
            with self.subTest(method=method, values=values):
                self.assert_refused(code, message, method, values)

    def test_header_is_checked_first_and_logged(self):
        self.serve()
        self.assert_header_refused("2000", "1.1", "1.1")
        self.assert_header_refused("2000", "2.0", "2.0")
        for version in NOT_A_VERSION:
            with self.subTest(version=version):
                self.assert_header_refused("2003", version)

    def assert_header_refused(self, code, version, logged=None):
        answer, text, position = self.send("getSentrel", None, apiVersion=version)
        self.assert_error(code, answer)
        position = self.wait_for_log("The request header is not ok.", position)
        parsed, supported, received = self.wait_for_lines(3, position)
        context = answer["context"]
        self.assertRegex(parsed, rf"^  Parsed request: \[version: .*, method: getSentrel, "
                                 rf"context: {context}\]$")
        if logged is not None:
            self.assertIn(f"[version: {logged}, ", parsed)
        self.assertTrue(supported.startswith("  Supported version matching request: "), supported)
        self.assertEqual("  Received request: " + text, received)

    def wait_for_lines(self, count, position):
        wait_until(lambda: len(self.camera.output) >= position + count,
                   "the rest of the log message")
        return self.camera.output.entries(position)[:count]

    def test_missing_method_is_a_missing_parameter(self):
        self.serve()
        answer = self.web.post('{"apiVersion": "1.0"}').document
        self.assert_error("2003", answer)
        self.assertEqual(("missingMethod", ""), (answer["method"], answer["context"]))

    def test_body_that_cannot_be_repaired_is_no_json(self):
        self.serve()
        for body in ("{", "", "}", "}{", "nonsense", '{"apiVersion": "1.0"', "\x00",
                     '{"apiVersion": "1.0", "method": "\udcff"}'.encode(errors="surrogateescape")):
            with self.subTest(body=body):
                position = len(self.camera.output)
                answer = self.web.post(body)
                self.assertEqual(200, answer.status)
                self.assert_error("2001", answer.document)
                self.wait_for_log("The request header is not ok.", position)

    def test_stray_bytes_after_the_last_brace_are_ignored(self):
        self.serve()
        text = json.dumps(document("getSupportedVersions"))
        for tail in ("\r\n", "x", "}", "}}}", "} stray } bytes }", " \x01\x02", "\n--boundary--"):
            with self.subTest(tail=tail):
                answer = self.web.post(text + tail).document
                self.assertEqual({"apiVersions": ["1.0"]}, answer.get("data"), answer)

    def test_stored_configuration_that_is_lost_or_broken_is_an_inner_error(self):
        self.serve()
        path = self.state / "config.json"
        path.unlink()
        self.assert_refused("1000", "Could not read the configuration file", "getConfiguration",
                            None)
        path.write_text("{", encoding="utf-8")
        self.assert_refused("1000", "Could not decode the json from the configuration file",
                            "getConfiguration", None)
        path.write_text("{}", encoding="utf-8")
        self.assert_refused("1000", "Could not get 'params' from the decoded json",
                            "getConfiguration", None)

    def test_configuration_that_cannot_be_stored_is_not_applied(self):
        self.serve()
        # No file can take the place of a folder, whoever wants it.
        path = self.state / "config.json"
        path.unlink()
        path.mkdir()
        answer, _, position = self.send("setConfiguration", of_profile(uid=7))
        self.assert_error("1000", answer)
        self.camera.output.wait_for(lambda line: "  SentrelVideo: Failed to write " in line,
                                  "the reason", start=position)
        self.assert_refused("2004", "Profile does not exist", "sendAlarmEvent", {"profile": 7})
        self.assert_done("sendAlarmEvent", {"profile": 1})

    def test_web_server_refuses_what_the_daemon_never_sees(self):
        self.serve()
        request = json.dumps(document("getSupportedVersions"))
        too_long = MEBIBYTE + 1
        for status, answer in (
                *[(405, self.web.request(method, request)) for method in ("GET", "PUT", "DELETE")],
                (413, self.web.post(request + " " * (too_long - len(request)))),
                (403, self.web.post(request, Origin="http://elsewhere.example")),
                (403, self.web.post(request, Host="elsewhere.example"))):
            with self.subTest(status=status, answer=answer):
                self.assertEqual(status, answer.status)
                self.assertEqual("HTTP", answer.document["error"]["code"])
                self.assertTrue(answer.document["error"]["message"])

    def test_faults_that_need_several_cameras(self):
        self.serve("--model", "compass")
        self.assert_refused("2002", "Duplicate cameras found", "setConfiguration",
                            params(cameras=[CAMERA, CAMERA]))
        self.assert_refused("2002", "A camera has too many profiles attached to it",
                            "setConfiguration", params(profiles=profiles(4)))

    def test_faults_that_need_a_mechanical_head(self):
        self.serve("--model", "mechanical")
        self.assert_refused("2002", "The configuration contains too many presets",
                            "setConfiguration", of_profile(presets=[1, 2]))
        self.assert_refused("2003", "Could not unpack preset number", "setConfiguration",
                            of_profile(presets=["1"]))
        self.assert_refused("2002", "A camera has too many profiles attached to it",
                            "setConfiguration", params(profiles=profiles(11)))
        self.assert_done("setConfiguration", params(profiles=profiles(10)))
        stored = self.web.call("getConfiguration")["profiles"]
        self.assertEqual(10 * [[]], [profile["presets"] for profile in stored])
        self.assert_done("setConfiguration", of_profile(presets=[1]))


class ApiMethodTest(ApiCase):
    def test_every_value_within_its_bounds_is_accepted_and_stored(self):
        self.serve()
        status = self.status()
        for count, values in enumerate(ACCEPTED, 1):
            with self.subTest(values=values):
                self.assert_done("setConfiguration", values)
                self.assertEqual(values | {"configurationStatus": status + count},
                                 self.web.call("getConfiguration"))

    def test_two_configurations_raise_the_status_by_two(self):
        self.serve()
        before = self.status()
        # What a client hands in does not count.
        for _ in range(2):
            self.assert_done("setConfiguration", params(configurationStatus=77))
        self.assertEqual(before + 2, self.status())

    def test_status_begins_again_after_the_largest_number(self):
        self.serve()
        path = self.state / "config.json"
        stored = json.loads(path.read_text(encoding="utf-8"))
        stored["params"]["configurationStatus"] = (1 << 31) - 1
        path.write_text(json.dumps(stored), encoding="utf-8")
        position = len(self.camera.output)
        self.assert_done("setConfiguration", params())
        self.wait_for_log("Configuration status was reset to 1 as it exceeded int max", position)
        self.assertEqual(1, self.status())

    def test_what_is_read_can_be_set_again(self):
        self.serve()
        before = self.web.call("getConfiguration")
        self.assert_done("setConfiguration", before)
        after = self.web.call("getConfiguration")
        self.assertEqual(before["configurationStatus"] + 1, after.pop("configurationStatus"))
        self.assertEqual({"cameras": before["cameras"], "profiles": before["profiles"]}, after)

    def test_versions_capabilities_and_context(self):
        self.serve()
        self.assert_done("getSupportedVersions", None, {"apiVersions": ["1.0"]})
        self.assert_done("getConfigurationCapabilities", None, CAPABILITIES)
        for context in ("", "a \"quoted\" \\ line\nand another", "T\u00fcr \u2713 \U0001f6aa",
                        1000 * "long "):
            request = document("getSupportedVersions", context=context)
            for text in (json.dumps(request), json.dumps(request, ensure_ascii=False)):
                self.assertEqual(context, self.web.post(text).document["context"])

    def test_longest_body_is_taken(self):
        self.serve()
        request = json.dumps(document("getSupportedVersions"))
        answer = self.web.post(request + " " * (MEBIBYTE - len(request)))
        self.assertEqual(200, answer.status)
        self.assertEqual({"apiVersions": ["1.0"]}, answer.document["data"])

    def test_settings_of_the_tracker_are_read_back(self):
        self.serve()
        bounds = {"minTimePerObject": 1, "maxTimePerObject": 60, "minReturnToHomeTimeout": 1,
                  "maxReturnToHomeTimeout": 60}
        expected = {"switchObject": False, "timePerObject": 5, "returnToHome": True,
                    "returnToHomeTimeout": 5} | bounds
        self.assertEqual(expected, self.settings())
        for change in ({"timePerObject": 1}, {"timePerObject": 60}, {"returnToHomeTimeout": 1},
                       {"returnToHomeTimeout": 60}, {"switchObject": True}, {"returnToHome": False},
                       {}):
            with self.subTest(change=change):
                self.assert_done("setSentrel", change)
                expected |= change
                self.assertEqual(expected, self.settings())
        for ignored in ({"timePerObject": "7"}, {"switchObject": 0}, {"other": 7}):
            self.assert_done("setSentrel", ignored)
        self.assertEqual(expected, self.settings())

    def settings(self):
        data = self.web.call("getSentrel")
        self.assertIn(data.pop("state"), ("stopped", "connecting", "autotuning", "running"))
        return data

    def test_refused_setting_keeps_those_before_it_and_drops_those_behind_it(self):
        self.serve()
        before = self.settings()
        self.assert_refused("2004", "Invalid value for parameter 'timePerObject'", "setSentrel",
                            {"returnToHome": False, "timePerObject": 61, "switchObject": True})
        self.assertEqual(before | {"switchObject": True}, self.settings())

    def test_tracking_is_switched_off_and_on(self):
        self.serve()
        events = self.web.follow()
        for enable, state in ((False, "stopped"), (True, "connecting")):
            position = len(events.journal)
            self.assert_done("setSentrel", {"enable": enable})
            events.wait_for_event("MiruPlatform/SentrelVideo/state", {"value": state},
                                  start=position)
            stored = json.loads((self.state / "sentrelvideo.json").read_text(encoding="utf-8"))
            self.assertEqual(enable, stored["sentrel_enabled"])


class ApiEventTest(ApiCase):
    # Nothing in the picture is as large as the picture, so that only a test alarm is raised.
    QUIET = of_profile(uid=7, filters=[changed(SIZE, data=[100, 100])],
                       xinternalEventDuration=1000000)

    def serve_quietly(self):
        self.serve()
        self.assert_done("setConfiguration", self.QUIET)
        self.events = self.web.follow()

    def test_test_alarm_begins_and_ends_by_itself(self):
        self.serve_quietly()
        topics = [f"MiruPlatform/SentrelVideo/Camera1Profile{name}" for name in ("7", "ANY")]
        for topic in topics:
            self.events.wait_for_event(topic, {"active": False})
        position = len(self.events.journal)
        self.assert_done("sendAlarmEvent", {"profile": 7})
        for topic in topics:
            begun = self.events.wait_for_event(topic, {"active": True}, start=position)
            self.events.wait_for_event(topic, {"active": False}, start=begun)
        begun = self.events.wait_for_event("VideoSource/MotionAlarm", {"State": True},
                                           start=position)
        self.events.wait_for_event("VideoSource/MotionAlarm", {"State": False}, start=begun)

    def test_visual_confirmation_draws_until_it_is_stopped(self):
        self.serve_quietly()
        topic = "MiruPlatform/SentrelVideo/xinternal_data"
        self.assert_done("startVisualConfirmation", {"profile": 7})

        def is_drawing(message):
            frame = message.data.get("data", {}).get("svgframe", "")
            return message.kind == "event" and frame.startswith("<svg")

        drawn = 0
        for _ in range(3):
            drawn = self.events.journal.wait_for(is_drawing, "a drawing", start=drawn)
        self.assertNotIn(True, [event["stateful"] for event in self.events.events(topic)])
        self.assert_done("stopVisualConfirmation", None)
        self.events.wait_for_event(topic, {"svgframe": ""}, start=drawn)
