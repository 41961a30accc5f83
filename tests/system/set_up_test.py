"""Cameras and head are set up by the page's requests alone, and somebody is followed by them."""

import base64
import json
import stat
import urllib.request

from camera import TUNED
from journal import PATIENCE, wait_until
from run_script import RunTest
from through_onvif import ADDRESS, somebody_who_stays, wait_until_followed
from web import PAGE

USER = "anna"
PASSWORD = "a secret word"
# Of the model; the angle from bottom to top follows from that across and 1920 x 1080 pixels.
FIELD_ANGLES = [2.5, 63.4]
PRODUCT = "TRK-100"  # whose gains are known: one that is tuned follows nobody meanwhile
MAST = 18
OVERVIEW = {"name": "Square", "pan": 0, "tilt": -20.8, "horizontal_fov": 27, "vertical_fov": 15.38}
CALIBRATED = 0.1  # degrees


class Page:
    """What the set-up's page asks for."""

    def __init__(self, port):
        self.address = f"http://127.0.0.1:{port}/api/setup"
        self.heard = ""

    def call(self, method, **params):
        body = json.dumps({"method": method, "params": params}).encode()
        with urllib.request.urlopen(self.address, body, timeout=PATIENCE) as answer:
            text = answer.read().decode()
        self.heard += text
        return json.loads(text)["data"]

    def wait_for(self, part):
        """The end of what was begun."""
        def ended():
            state = self.call("getSetUp")[part]
            return state is not None and not state["running"]

        wait_until(ended, part)
        return self.call("getSetUp")[part]


class SetUpTest(RunTest):
    def start_without_knowing_anything(self):
        self.state.mkdir()
        (self.state / "sentrelvideo.json").write_text(TUNED, encoding="utf-8")
        password = self.folder / "password"
        password.write_text(PASSWORD + "\n", encoding="utf-8")
        tracks = self.folder / "stays.csv"
        tracks.write_text(somebody_who_stays(), encoding="utf-8")
        self.run_ = self.start("--through-onvif", "--set-up", "--port", "0", "--onvif-user", USER,
                               "--onvif-password-file", str(password), "--tracks", str(tracks),
                               "--as-recorded")
        self.camera = f"127.0.0.1:{self.number_in(ADDRESS, 'the camera')}"
        self.page = Page(self.number_in(PAGE, "the page"))

    def number_in(self, pattern, what):
        position = self.run_.output.wait_for(pattern.match, what)
        return int(pattern.match(self.run_.output.entries()[position - 1])[1])

    def find(self):
        self.page.call("inspect", address=self.camera, user=USER, password=PASSWORD)
        camera = self.page.wait_for("camera")
        self.assertEqual("", camera["trouble"])
        self.assertIn("Its positions are degrees", camera["words"])

    def check_and_use_head(self):
        self.page.call("checkHead", profile="head", zoom=False)
        check = self.page.wait_for("check")
        self.assertEqual("", check["trouble"])
        self.assertIn("It heeds a Stop", check["words"])
        self.assertTrue(any(words.endswith("own numbers; told are 180.0")
                            for words in check["words"]), check["words"])
        self.assertTrue(any(words.startswith("Left alone it stands after")
                            for words in check["words"]), check["words"])
        self.page.call("useHead", profile="head",
                       told={"field_angles": FIELD_ANGLES, "product": PRODUCT})
        self.assertEqual("No camera is set up", self.page.call("getSetUp")["missing"])

    def look_through_overview(self):
        wait_until(lambda: self.page.call("snapshot", profile="overview1")["jpeg"], "a picture")
        jpeg = base64.b64decode(self.page.call("snapshot", profile="overview1")["jpeg"])
        self.assertEqual(b"\xff\xd8", jpeg[:2])

    def assert_passwords_are_apart(self):
        credentials = self.state / "credentials.json"
        self.assertEqual(0o600, stat.S_IMODE(credentials.stat().st_mode))
        self.assertIn(PASSWORD, credentials.read_text(encoding="utf-8"))
        for text in (self.page.heard, self.run_.text(),
                     (self.state / "cameras.json").read_text(encoding="utf-8")):
            self.assertNotIn(PASSWORD, text)

    def test_somebody_is_followed_after_the_set_up_on_the_page(self):
        self.start_without_knowing_anything()
        self.assertEqual("The head is not set up", self.page.call("getSetUp")["missing"])
        self.find()
        self.check_and_use_head()
        self.look_through_overview()
        self.page.call("useGeneral", told={"mast_height": MAST, "following": self.following})
        self.page.call("useCamera", profile="overview1", told=OVERVIEW)
        self.assertEqual("", self.page.call("getSetUp")["missing"])
        wait_until_followed(self.run_)
        # What the daemon is not told goes without a new start of it.
        start = len(self.run_.output.entries())
        self.page.call("useCamera", number=1, told={"likelihood": 0.4})
        wait_until_followed(self.run_, start)
        # Where the camera looks is a thing of the daemon's start.
        self.page.call("useCamera", number=1, told={"pan": CALIBRATED})
        self.run_.output.wait_for(lambda line: "started again" in line, "a new start", start=start)
        self.assertEqual(1, self.run_.text().count("The daemon is started again"))
        self.assert_passwords_are_apart()
