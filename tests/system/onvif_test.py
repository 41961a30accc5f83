"""The virtual device as an ONVIF camera, seen by clients that others have written."""

import json
import math
import os
import re
import subprocess
import sys
import time

import namespace
from journal import Journal
from namespace import REPOSITORY
from onvif_client import cam, check, envelope, modules, node, port_of, post, results
from run_script import RunTest

LONG_ENOUGH = 180  # seconds until the first people have come and gone
HEAD = "<tptz:ProfileToken>head</tptz:ProfileToken>"
DEGREE = 1 / 180  # of a generic position over a whole turn

# Of each service: its prefix, and each operation with what it needs beside the profile.
CONFIGURATION = {
    "trt": {"GetVideoSourceConfiguration": "picture_head", "GetVideoEncoderConfiguration": "video_head",
            "GetVideoAnalyticsConfiguration": "analytics_overview1",
            "GetMetadataConfiguration": "metadata_head", "GetMetadataConfigurationOptions": "metadata_head"},
    "tr2": {"GetMetadataConfigurationOptions": "metadata_overview1"},
    "tptz": {"GetConfigurationOptions": "head_ptz"},
    "tan": dict.fromkeys(("GetSupportedAnalyticsModules", "GetAnalyticsModules", "GetSupportedRules",
                          "GetRules"), "analytics_overview1"),
}
OF_A_PROFILE = {
    "trt": ("GetProfile", "GetStreamUri", "GetSnapshotUri", "SetSynchronizationPoint"),
    "tr2": ("GetStreamUri", "GetSnapshotUri", "SetSynchronizationPoint"),
    "tptz": ("GetCompatibleConfigurations", "GetStatus", "SetPreset", "GetPresets", "GotoPreset",
             "ContinuousMove", "AbsoluteMove", "RelativeMove", "Stop", "GotoHomePosition",
             "RemovePreset"),
}
PLACE = '<tt:PanTilt x="0.1" y="0"/><tt:Zoom x="0"/>'
CONTENT = {
    "tds:GetServices": "<tds:IncludeCapability>false</tds:IncludeCapability>",
    "tds:GetCapabilities": "<tds:Category>All</tds:Category>",
    "tr2:GetProfiles": "<tr2:Type>All</tr2:Type>",
    "tptz:GetNode": "<tptz:NodeToken>head_node</tptz:NodeToken>",
    "tptz:GetConfiguration": "<tptz:PTZConfigurationToken>head_ptz</tptz:PTZConfigurationToken>",
    "tptz:SetPreset": "<tptz:PresetName>&lt;door&gt;</tptz:PresetName>",
    "tptz:GotoPreset": "<tptz:PresetToken>1</tptz:PresetToken>",
    "tptz:RemovePreset": "<tptz:PresetToken>1</tptz:PresetToken>",
    "tptz:ContinuousMove": f"<tptz:Velocity>{PLACE}</tptz:Velocity>",
    "tptz:AbsoluteMove": f"<tptz:Position>{PLACE}</tptz:Position>",
    "tptz:RelativeMove": f"<tptz:Translation>{PLACE}</tptz:Translation>",
}
SERVICES = {"Device": "tds", "Media": "trt", "Media 2": "tr2", "PTZ": "tptz", "Events": "tev",
            "Analytics": "tan"}
# Those of a pull point, in an order in which there is one.
OF_A_POINT = {
    "tev:PullMessages": "<tev:Timeout>PT1S</tev:Timeout><tev:MessageLimit>100</tev:MessageLimit>",
    "tev:SetSynchronizationPoint": "", "wsnt:Renew": "", "wsnt:Unsubscribe": ""}


def element(name, content=""):
    return f"<{name}>{content}</{name}>"


def operations():
    """All that docs/onvif.md says is offered, by prefix."""
    text = (REPOSITORY / "docs" / "onvif.md").read_text(encoding="utf-8")
    for service, prefix in SERVICES.items():
        row, = re.findall(rf"^\| {service} \| (.*) \|$", text, re.MULTILINE)
        for name, plural in re.findall(r"\b([A-Z][A-Za-z]+)(\(s\))?", row.replace("these without a user", "")):
            yield prefix, name
            if plural:
                yield prefix, name + "s"


def reading(prefix, name):
    """A message that calls the operation."""
    content = ""
    if name in OF_A_PROFILE.get(prefix, ()):
        content += element(f"{prefix}:ProfileToken", "head")
    if token := CONFIGURATION.get(prefix, {}).get(name):
        content += element(f"{prefix}:ConfigurationToken", token)
    return element(f"{prefix}:{name}", content + CONTENT.get(f"{prefix}:{name}", ""))


BOMB = ('<!DOCTYPE a [<!ENTITY a "aaaaaaaaaa"><!ENTITY b "&a;&a;&a;&a;&a;&a;&a;&a;">'
        '<!ENTITY c "&b;&b;&b;&b;&b;&b;&b;&b;">]>')
STRANGE = [
    b"", b"no XML", b"<a/>", b"\xff\xfe\x00", (BOMB + "<a>&c;</a>").encode(),
    b'<!DOCTYPE a [<!ENTITY x SYSTEM "file:///etc/passwd">]><a>&x;</a>',
    b"<a>" * 50000 + b"</a>" * 50000, envelope("<tds:Nonsense/>"), envelope(""),
    envelope("<tptz:GetStatus><tptz:ProfileToken>nobody</tptz:ProfileToken></tptz:GetStatus>"),
    envelope(f'<tptz:AbsoluteMove>{HEAD}<tptz:Position><tt:PanTilt x="NaN" y="0"/></tptz:Position>'
             "</tptz:AbsoluteMove>"),
    envelope("<tds:GetDeviceInformation/>").replace(b"2003/05/soap-envelope", b"2001/soap"),
]


def size_of_jpeg(data):
    """Of the frame's header, which is a segment of its own."""
    assert data[:2] == b"\xff\xd8", data[:20]
    position = 2
    while data[position + 1] != 0xC0:
        position += 2 + int.from_bytes(data[position + 2:position + 4], "big")
    return (int.from_bytes(data[position + 7:position + 9], "big"),
            int.from_bytes(data[position + 5:position + 7], "big"))


def walk():
    """Somebody who goes round the mast once and leaves, as a recording."""
    steps = [f"{i / 5:.1f},1,{6 * math.cos(i / 30):.3f},{6 * math.sin(i / 30):.3f}" for i in range(190)]
    return "\n".join(["time_s,id,x_m,y_m", *steps]) + "\n"


class OnvifTest(RunTest):
    def start_still(self, *options):
        """A camera whose head nobody else moves; returns the run and its port."""
        self.state.mkdir()
        (self.state / "sentrelvideo.json").write_text('{"sentrel_enabled":false}',
                                                      encoding="utf-8")
        run = self.start("--port", "0", "--model", "ideal", "--onvif", "0", *options)
        return run, port_of(run)

    def with_user(self):
        password = self.folder / "password"
        password.write_text("pass word\n", encoding="utf-8")
        return "--onvif-user", "anna", "--onvif-password-file", password

    def test_client_moves_the_head_by_ten_degrees_and_reads_it_back(self):
        run, port = self.start_still()
        at_first, _, at_last = cam(port, [
            ["stand"], ["getStatus", {}],
            ["relativeMove", {"x": 10 * DEGREE, "y": 0, "zoom": 0}], ["stand"], ["getStatus", {}]])
        moved = (at_last["position"]["x"] - at_first["position"]["x"]) / DEGREE
        self.assertAlmostEqual(10, moved, delta=0.05)
        # The truth, as the device itself tells it.
        run.output.wait_for(lambda line: "head   10.0 -35.0" in line, "a head at 10 degrees")

    def test_motion_without_another_command_ends_by_itself(self):
        _, port = self.start_still()
        at_first, _, at_last = cam(port, [
            ["stand"], ["getStatus", {}],
            ["continuousMove", {"x": 0.1, "y": 0, "zoom": 0, "timeout": 2000}], ["stand"],
            ["getStatus", {}]])
        # 10 degrees per second for 2 s.
        moved = (at_last["position"]["x"] - at_first["position"]["x"]) / DEGREE
        self.assertAlmostEqual(20, moved, delta=0.5)

    def test_presets_are_kept_and_found(self):
        _, port = self.start_still()
        *_, presets, removed = cam(port, [
            ["stand"], ["setPreset", {"presetName": "gate"}],
            ["gotoPreset", {"preset": "1"}], ["gotoHomePosition", {}], ["stop", {}],
            ["getPresets", {}], ["removePreset", {"presetToken": "1"}]])
        self.assertEqual(["gate"], list(presets))
        self.assertIsNotNone(removed)

    def ask_everything(self, port, *login):
        """What a client reads of a camera, is told by it, and has its head do; that has to stand."""
        (scopes, stream, nodes, configurations, options, encoders, properties, topic, _, status, _, _,
         stopped, _, moved, _, presets, _, at_home, _) = cam(port, [
             ["getScopes"], ["getStreamUri", {"protocol": "UDP"}], ["getNodes"], ["getConfigurations"],
             ["getConfigurationOptions", "head_ptz"], ["getVideoEncoderConfigurations"],
             ["getEventProperties"], ["event"],
             ["absoluteMove", {"x": 25 * DEGREE, "y": 0.5, "zoom": 0.25}], ["stand"], ["getStatus", {}],
             ["continuousMove", {"x": 0.1, "y": 0, "zoom": 0, "timeout": 30000}], ["turn"],
             ["stop", {}], ["stand"], ["getStatus", {}],
             ["relativeMove", {"x": 10 * DEGREE, "y": 0, "zoom": 0}], ["stand"], ["getStatus", {}],
             ["setPreset", {"presetName": "gate"}], ["getPresets", {}],
             ["gotoHomePosition", {}], ["stand"], ["getStatus", {}],
             ["removePreset", {"presetToken": "1"}]], *login)
        self.assertIn("onvif://www.onvif.org/type/ptz", [each["scopeItem"] for each in scopes])
        self.assertRegex(stream["uri"], r"^rtsp://127\.0\.0\.1:\d+/head$")
        self.assertEqual(["head_node"], list(nodes))
        self.assertEqual("head_ptz", configurations["Head"]["token"])
        self.assertEqual((-1, 1), tuple(options["spaces"]["absolute"]["x"][k] for k in ("min", "max")))
        self.assertEqual(10, len(encoders))
        self.assertIn("videoSource", properties["topicSet"])
        self.assertRegex(topic, "^(tns1|sv):")
        position = status["position"]
        self.assertAlmostEqual(25, position["x"] / DEGREE, delta=0.05)
        self.assertAlmostEqual(0.5, position["y"], delta=0.002)
        self.assertAlmostEqual(0.25, position["zoom"], delta=0.002)
        pans = [each["position"]["x"] / DEGREE for each in (stopped, moved, at_home)]
        # At 10 degrees per second; for 30 s without Stop.
        self.assertTrue(25 < pans[0] < 125, pans)
        self.assertAlmostEqual(10, pans[1] - pans[0], delta=0.05)
        self.assertAlmostEqual(0, pans[2], delta=0.05)
        self.assertIn("gate", presets)

    def test_every_kind_of_client_logs_in(self):
        _, port = self.start_still(*self.with_user())
        self.ask_everything(port, "anna", "pass word")
        self.ask_everything(port, "anna", "pass word", "digest")
        information, = cam(port, [["getDeviceInformation"]], "anna", "pass word")
        self.assertEqual("SentrelVideo", information["manufacturer"])
        told = results(node("device.js", port, "anna", "pass word"))
        self.assertEqual("head", told["profiles"][0])
        self.assertEqual(10, len(told["profiles"]))
        self.assertEqual("200", self.curl_status(port, "--digest", "--user", "anna:pass word"))

    def test_every_kind_of_client_is_refused_without_the_password(self):
        _, port = self.start_still(*self.with_user())
        for password in ("guess", ""):
            for login in ("", "digest"):
                with self.assertRaises(AssertionError):
                    cam(port, [["getDeviceInformation"]], "anna", password, login)
            with self.assertRaises(AssertionError):
                results(node("device.js", port, "anna", password))
        self.assertEqual("401", self.curl_status(port, "--digest", "--user", "anna:guess"))
        self.assertEqual("401", self.curl_status(port))

    def test_clients_need_no_user_where_there_is_none(self):
        _, port = self.start_still()
        self.ask_everything(port)
        self.assertEqual(10, len(results(node("device.js", port, "", ""))["profiles"]))
        self.assertEqual("200", self.curl_status(port))

    def test_pictures_are_where_the_camera_says(self):
        _, port = self.start_still(*self.with_user())
        for profile in ("head", "overview3"):
            address, = cam(port, [["getSnapshotUri", {"profileToken": profile}]], "anna", "pass word")
            picture = subprocess.run(["curl", "--silent", "--fail", "--digest", "--user",
                                      "anna:pass word", address["uri"]],
                                     capture_output=True, check=True).stdout
            self.assertEqual((1280, 720), size_of_jpeg(picture), profile)
        address, = cam(port, [["getStreamUri", {"protocol": "UDP"}]], "anna", "pass word")
        # No transport is named: it tries UDP, is refused and takes its own connection.
        streams = subprocess.run(
            ["ffprobe", "-loglevel", "error", "-fpsprobesize", "0", "-probesize", "32768",
             "-analyzeduration", "1", "-show_entries", "stream=codec_type", "-of", "csv=print_section=0",
             address["uri"].replace("//", "//anna:pass%20word@")],
            capture_output=True, text=True, timeout=60, check=True)
        self.assertEqual(["data", "video"], sorted(streams.stdout.split()))

    @staticmethod
    def curl_status(port, *options):
        return subprocess.run(
            ["curl", "--silent", "--output", "/dev/null", "--write-out", "%{http_code}", *options,
             "--header", "Content-Type: application/soap+xml", "--data-binary",
             envelope("<tptz:GetNodes/>"), f"http://127.0.0.1:{port}/onvif/ptz_service"],
            capture_output=True, text=True, check=True).stdout

    def test_client_sees_an_alarm_start_and_end(self):
        tracks = self.folder / "walk.csv"
        tracks.write_text(walk(), encoding="utf-8")
        run = self.start("--port", "0", "--onvif", "0", "--tracks", tracks)
        client = node("cam.js", port_of(run), "", "", '[["events"]]')
        self.addCleanup(client.communicate)
        self.addCleanup(client.kill)
        seen = Journal()
        seen.follow(map(json.loads, client.stdout))
        begun = self.wait_for_alarm(seen, True)
        self.wait_for_alarm(seen, False, begun)

    @staticmethod
    def wait_for_alarm(seen, state, start=0):
        def matches(event):
            message = event["message"]["message"]
            return (event["topic"]["_"] == "tns1:VideoSource/MotionAlarm" and
                    message["$"]["PropertyOperation"] == "Changed" and
                    message["source"]["simpleItem"]["$"]["Value"] == "source_overview1" and
                    message["data"]["simpleItem"]["$"]["Value"] is state)

        return seen.wait_for(matches, f"the alarm {state}", start, patience=LONG_ENOUGH)

    @staticmethod
    def post_until_it_stands(port, body, path):
        """The daemon moves the head once when it starts, and presets are of a head that stands."""
        end = time.monotonic() + 30
        while True:
            status, answer = post(port, body, path)
            if b"ter:MovingPTZ" not in answer or time.monotonic() > end:
                return status, answer
            time.sleep(0.1)

    def test_every_answer_is_well_formed(self):
        _, port = self.start_still()
        of_events = {name.split(":")[1] for name in OF_A_POINT}  # wherever their vocabulary is
        offered = [each for each in operations() if each[0] != "tev" or each[1] not in of_events]
        self.assertLess(50, len(offered))
        # A preset is of a head that stands.
        offered.sort(key=lambda each: "Move" in each[1] or each[1] == "GotoHomePosition")
        bodies = [(reading(*each), "/onvif/device_service") for each in offered]
        bodies += [(element(name, content), "/onvif/event_service/1")
                   for name, content in OF_A_POINT.items()]
        for body, path in bodies:
            status, answer = self.post_until_it_stands(port, envelope(body), path)
            self.assertEqual(200, status, (body, answer))
            check(answer)

    def test_strange_requests_are_faults_and_harm_nobody(self):
        _, port = self.start_still()
        for body in STRANGE:
            status, answer = post(port, body)
            self.assertIn(status, (400, 500), body[:80])
            check(answer)
            self.assertIn(b"Fault>", answer)
        status, _ = post(port, envelope("<tds:GetDeviceInformation/>"))
        self.assertEqual(200, status)

    def in_a_network_of_its_own(self, *command):
        options = ["--unshare-net", "--unshare-user", "--uid", "0", "--gid", "0", "--cap-add",
                   "CAP_NET_ADMIN"]
        command = ["bwrap", *namespace.arguments(os.environ["SENTREL_BUILD"]), *options, "--",
                   *command, os.environ["SENTREL_BUILD"], modules()]
        result = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                                timeout=120)
        self.assertEqual(0, result.returncode, result.stdout + result.stderr)
        return result

    def test_bridge_finds_and_checks_a_camera_by_others(self):
        if not (modules() / "onvif-camera" / "test" / "serverMockup.coffee").exists():
            self.skipTest("The camera by others is not on this machine")
        told = json.loads(self.in_a_network_of_its_own(
            sys.executable, "-B", REPOSITORY / "tests/system/onvif/beside_another.py").stdout)
        self.assertTrue(told["found"].startswith("http://127.0.0.1:10101/onvif/device_service "))
        camera = told["camera"]
        self.assertEqual("", camera["trouble"])
        for words in ("It moves a head, by the profile main",
                      "It does not tell degrees: enter its pan and its tilt range",
                      "It does not tell its field angle: enter it, fully in and fully out"):
            self.assertIn(words, camera["words"])
        profile = camera["profiles"][0]
        self.assertEqual(("main", True, True, 1920, 1080),
                         tuple(profile[key] for key in ("token", "head", "picture", "width", "height")))
        # It tells one and the same place for ever.
        self.assertEqual("", told["check"]["trouble"])
        self.assertIn("Its pan does not move", told["check"]["words"])
        self.assertIn("Its tilt does not move", told["check"]["words"])

    def test_camera_is_found_on_the_network(self):
        result = self.in_a_network_of_its_own(REPOSITORY / "tests/system/onvif/in_network")
        found = json.loads(result.stdout.splitlines()[0])
        address = "http://127.0.0.1:8081/onvif/device_service"
        self.assertEqual({"onvif": [address], "nodeOnvif": [address]}, found)
        for text in ("Found 1 cameras", "successfully connected to host", "OV-4000",
                     "Profile set to head", "Timezone:    UTC0", "Resolution: 1280 x 720",
                     "rtsp://127.0.0.1:8554/head"):
            self.assertIn(text, result.stdout)
        self.assertNotIn("ERROR", result.stdout)
        heard = json.loads(result.stdout.splitlines()[-1])
        endpoint = heard["Hello"]["endpoint"]
        self.assertRegex(endpoint, r"^urn:uuid:[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}$")
        everybody = {"endpoint": endpoint, "to": "urn:schemas-xmlsoap-org:ws:2005:04:discovery",
                     "answers": None}
        self.assertEqual({
            "Hello": {**everybody, "address": address}, "Bye": {**everybody, "address": None},
            "ResolveMatch": {"endpoint": endpoint, "address": address, "answers": "urn:uuid:7", "to":
                             "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous"}}, heard)
