"""One configuration for several sites with Ansible, given to real daemons."""

import json
import os
import re
import shutil
import subprocess
import unittest
import urllib.error
import urllib.request

from journal import PATIENCE, wait_until
from namespace import PACKAGES, REPOSITORY
from run_script import RunTest
from web import API, PAGE, document

PLAYBOOK = REPOSITORY / "fleet" / "provision" / "configure.yml"
PASSWORD = "a-word-of-a-test"
IN_NAMESPACE = PACKAGES + "/sentrelvideo/localdata"  # the state's folder
AREA = [[-0.9, -1], [-0.9, 0.85], [0.9, 0.85], [0.9, -1]]


def profile(name, **more):
    return {"name": name, "uid": 1, "camera": 1, "priority": 1,
            "triggers": [{"type": "includeArea", "data": AREA}],
            "filters": [{"type": "sizePercentage", "active": True, "data": [5, 5]}]} | more


@unittest.skipUnless(shutil.which("ansible-playbook"), "ansible-core is not on this machine")
class ProvisionTest(RunTest):
    def start_device(self, model):
        state = self.folder / model
        state.mkdir()
        (state / "password").write_text(PASSWORD + "\n", encoding="utf-8")
        return self.start("--model", model, "--state", state, "--port", "0", "--", "--user", "anna",
                          "--password-file", f"{IN_NAMESPACE}/password")

    @staticmethod
    def url_of(run):
        position = run.output.wait_for(PAGE.match, "the page")
        return PAGE.match(run.output.entries()[position - 1])[0].split(": ")[1]

    def play(self, sites, *options):
        """sites: profiles by name, in their order. Returns the status, all that was printed, and of each site what was
        changed and what failed."""
        password = self.folder / "password"
        password.write_text(PASSWORD + "\n", encoding="utf-8")
        hosts = {name: {"sentrelvideo_url": self.urls[name],
                        "sentrelvideo_common_profiles": [profiles]}
                 for name, profiles in sites.items()}
        inventory = self.folder / "sites.yml"
        inventory.write_text(json.dumps({"all": {"hosts": hosts, "vars": {
            "sentrelvideo_user": "anna", "sentrelvideo_password_file": str(password),
            "sentrelvideo_cameras": [{"id": 1, "active": True, "rotation": 0}]}}}), encoding="utf-8")
        result = subprocess.run(
            ["ansible-playbook", "-i", inventory, PLAYBOOK, *options], text=True,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=5 * PATIENCE, check=False,
            env=os.environ | {"HOME": str(self.folder), "ANSIBLE_NOCOLOR": "1", "LC_ALL": "C.UTF-8"})
        self.assertNotIn(PASSWORD, result.stdout)
        told = {name: (int(changed), int(failed)) for name, changed, failed in re.findall(
            r"^(\w+) +: ok=\d+ +changed=(\d+) +unreachable=0 +failed=(\d+)", result.stdout, re.M)}
        return result.returncode, result.stdout, told

    def configuration(self, name):
        passwords = urllib.request.HTTPPasswordMgrWithDefaultRealm()
        passwords.add_password(None, self.urls[name], "anna", PASSWORD)
        opener = urllib.request.build_opener(urllib.request.HTTPDigestAuthHandler(passwords))
        body = json.dumps(document("getConfiguration")).encode()
        try:
            with opener.open(self.urls[name] + API[1:], body, PATIENCE) as answer:
                return json.load(answer)["data"]
        except urllib.error.HTTPError:
            return None  # the web server is there before the daemon is

    def before(self, name):
        """What the playbook has kept of a site: its profiles' names, or None."""
        path = self.folder / f"{name}.before.json"
        if not path.exists():
            return None
        return [profile["name"] for profile in json.loads(path.read_text("utf-8"))["profiles"]]

    def names(self, name):
        return [profile["name"] for profile in self.configuration(name)["profiles"]]

    def test_sites_get_what_they_are_to_have_one_after_the_other(self):
        devices = {"plain": self.start_device("perfect"), "motor": self.start_device("mechanical")}
        self.urls = {name: self.url_of(device) for name, device in devices.items()}
        self.urls["again"] = self.urls["plain"]
        for name in devices:
            wait_until(lambda: self.configuration(name), "the daemon's first answer")

        wanted = {"plain": profile("Gate"), "motor": profile("Yard")}
        status, text, told = self.play(wanted, "--check", "--diff", "-vvv")
        self.assertEqual((0, {"plain": (1, 0), "motor": (1, 0)}), (status, told), text)
        self.assertIn('+            "name": "Gate"', text)
        first = self.names("plain")
        self.assertNotIn("Gate", first)
        self.assertIsNone(self.before("plain"))

        status, text, told = self.play(wanted)
        self.assertEqual((0, {"plain": (1, 0), "motor": (1, 0)}), (status, told), text)
        self.assertEqual(["Gate"], self.names("plain"))
        self.assertEqual([], self.configuration("motor")["profiles"][0]["presets"])
        self.assertEqual(first, self.before("plain"))
        motor_first = self.before("motor")
        self.assertNotIn("Yard", motor_first)

        # What is there already stays; a refusal ends it before the next site.
        status, text, told = self.play({"motor": profile("Yard"), "plain": profile("Gate", camera=7),
                                        "again": profile("Later")})
        self.assertEqual((2, {"motor": (0, 0), "plain": (1, 1)}), (status, told), text)
        self.assertIn("2002", text)
        self.assertEqual(["Gate"], self.names("plain"))
        self.assertEqual(["Yard"], self.names("motor"))
        self.assertEqual(motor_first, self.before("motor"))  # it was not changed


if __name__ == "__main__":
    unittest.main()
