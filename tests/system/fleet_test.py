"""A fleet on this machine (script/fleet --try): brokers, virtual sites and the page, all real."""

import http.client
import json
import os
import pathlib
import re
import signal
import subprocess
import tempfile
import unittest
import urllib.parse

from journal import PATIENCE, Journal, wait_until
from namespace import REPOSITORY

SITES = 6
PAGE = re.compile(r"The fleet's page: http://127\.0\.0\.1:(\d+)/$")
NODE = re.compile(r"(\w+): 127\.0\.0\.1:(\d+), process (\d+)$")
FLEET = REPOSITORY / "script" / "fleet"
OWN = "MiruPlatform/SentrelVideo/"
NOT_AUTHORISED = 5  # a broker's answer to who connects
ALARM = {"data": {"active": True}, "time": "2026-01-01T12:00:00.000Z", "start": "S", "seq": 1}


class FleetTest(unittest.TestCase):
    def start(self, brokers, *options):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        process = subprocess.Popen(
            [FLEET, "--try", "--sites", str(SITES), "--brokers", brokers, "--folder", self.folder,
             "--alarm-seconds", "3", "--build", os.environ["SENTREL_BUILD"], *options],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait, PATIENCE)
        self.addCleanup(process.terminate)
        self.output = Journal()
        self.output.follow(line.rstrip("\n") for line in process.stdout)
        position = self.output.wait_for(PAGE.match, "the page")
        self.port = int(PAGE.match(self.output.entries()[position - 1])[1])
        self.nodes = [node.groups() for node in map(NODE.match, self.output.entries()) if node]

    def told(self, path="/sites"):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        try:
            connection.request("GET", path)
            return json.loads(connection.getresponse().read())
        finally:
            connection.close()

    def site(self, name):
        return {site["name"]: site for site in self.told()["sites"]}[name]

    def all_are_online(self):
        return [site["online"] for site in self.told()["sites"]] == ["online"] * SITES

    def publish(self, user, topic):
        """As a site that has a certificate; user None: without one."""
        own = ["--cert", self.folder / "sites" / f"{user}.crt",
               "--key", self.folder / "sites" / f"{user}.key"] if user else []
        return subprocess.run(
            ["mosquitto_pub", "-h", "127.0.0.1", "-p", self.nodes[-1][1], "-q", "1", "--cafile",
             self.folder / "ca.crt", *own, "-t", topic, "-m", json.dumps(ALARM)],
            capture_output=True, timeout=PATIENCE, check=False).returncode

    def check_rights(self):
        foreign, own = ("sites/site-00002/" + OWN + "CameraForged",
                        "sites/site-00001/" + OWN + "CameraOwn")
        self.assertNotEqual(0, self.publish(None, own))
        self.publish("site-00001", foreign)
        self.assertEqual(0, self.publish("site-00001", own))
        wait_until(lambda: "CameraOwn" in self.site("site-00001")["alarms"], "its own alarm")
        self.assertNotIn("CameraForged", json.dumps(self.told()))

    def check_loss_of_a_node(self):
        os.kill(int(self.nodes[0][2]), signal.SIGKILL)
        latest = self.told()["alarms"][-1]["time"]
        wait_until(self.all_are_online, "all sites at the other nodes")
        for number in range(2, SITES + 1):
            name = f"site-{number:05}"
            wait_until(lambda: any(alarm["site"] == name and alarm["time"] > latest
                                   for alarm in self.told()["alarms"]), f"an alarm of {name}")

    def test_three_nodes(self):
        self.start("nats", "--devices", "1")
        wait_until(self.all_are_online, "all sites")
        self.check_rights()
        self.check_device("site-00001")
        wait_until(lambda: len(self.told_of_one()) > 2, "alarms of one site")
        shown = self.told_of_one()
        wait_until(lambda: set(shown) <= set(self.kept()), "the node's copy of what was told")
        self.check_loss_of_a_node()
        self.check_history(shown)
        self.withdraw("sites.conf", "user: \"CN=site-00006,O=fleet\", ",
                      'user: "CN=site-00006,O=fleet", allowed_connection_types: ["LEAFNODE"], ')
        own = "sites/{}/" + OWN + "CameraLate"
        wait_until(lambda: self.publish("site-00006", own.format("site-00006")) == NOT_AUTHORISED,
                   "its refusal")
        # The nodes live: a list without the site may end them.
        wait_until(lambda: self.publish("site-00005", own.format("site-00005")) == 0, "another site")

    def test_two_brokers_that_know_nothing_of_each_other(self):
        self.start("mosquitto")
        wait_until(self.all_are_online, "all sites")
        self.check_rights()
        self.check_loss_of_a_node()
        self.withdraw("sites.acl", "user site-00006\ntopic write sites/site-00006/#\n", "")
        wait_until(self.nobody_is_told_of_the_withdrawn, "its end")

    def withdraw(self, file, line, other):
        """As script/fleet makes it of a list without the last site, at the nodes that are left."""
        for name, _, process in self.nodes[1:]:
            path = self.folder / name / file
            text = path.read_text(encoding="utf-8")
            self.assertIn(line, text)
            path.write_text(text.replace(line, other), encoding="utf-8")
            os.kill(int(process), signal.SIGHUP)

    def nobody_is_told_of_the_withdrawn(self):
        self.tries = getattr(self, "tries", 0) + 1
        late = f"CameraLate{self.tries}"
        self.publish("site-00006", f"sites/site-00006/{OWN}{late}")
        self.publish("site-00001", f"sites/site-00001/{OWN}{late}")
        wait_until(lambda: late in self.site("site-00001")["alarms"], "what is told afterwards")
        return late not in self.site("site-00006")["alarms"]

    def check_device(self, name):
        """A whole one: what its daemon does is told, and its page is where it says."""
        wait_until(lambda: self.site(name)["state"] in ("autotuning", "running"), "the tracker")
        url = urllib.parse.urlsplit(self.site(name)["url"])
        connection = http.client.HTTPConnection(url.hostname, url.port, timeout=PATIENCE)
        connection.request("GET", "/")
        self.assertIn("SentrelVideo", connection.getresponse().read().decode())
        connection.close()

    def told_of_one(self):
        return self.of_one(self.told()["alarms"])

    @staticmethod
    def of_one(alarms):
        return [(alarm["site"], alarm["alarm"], alarm["time"], alarm["active"])
                for alarm in alarms if alarm["site"] == "site-00003"]

    def kept(self):
        """Told by a node that is left; nothing while it agrees with the other on who keeps the history."""
        result = subprocess.run([FLEET, "history", "--folder", self.folder / "n2"],
                                capture_output=True, text=True, timeout=PATIENCE, check=False)
        return [(site, alarm, when, word == "begins")
                for when, site, alarm, word in map(str.split, result.stdout.splitlines())]

    def check_history(self, shown):
        """What was in it before the loss is, in its order, and it goes on. What is told while the nodes agree on
        a new keeper may be missing."""
        wait_until(lambda: shown == [alarm for alarm in self.kept() if alarm in shown], "what was told")
        latest = self.told_of_one()[-1][2]
        wait_until(lambda: any(site == "site-00003" and when > latest for site, _, when, _ in self.kept()),
                   "what is told afterwards")
        # The page stands beside a node that is left, and reads it there.
        history = self.of_one(self.told("/history?site=site-00003")["alarms"])
        self.assertEqual(shown, [alarm for alarm in history if alarm in shown])
        of_all = {alarm["site"] for alarm in self.told("/history")["alarms"]}
        self.assertLessEqual({f"site-{number:05}" for number in range(2, SITES + 1)}, of_all)
