"""What script/fleet makes of hosts and sites."""

import importlib.machinery
import importlib.util
import pathlib
import re
import socket
import subprocess
import sys
import tempfile
import unittest

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
HOSTS = {"nats": "n1=10.0.0.1,n2=10.0.0.2,n3=10.0.0.3", "mosquitto": "m1=10.0.0.1,m2=broker.lan"}


def load():
    sys.dont_write_bytecode = True
    loader = importlib.machinery.SourceFileLoader("fleet", str(REPOSITORY / "script" / "fleet"))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("fleet", loader))
    loader.exec_module(module)
    return module


class FleetTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.out = pathlib.Path(folder.name) / "fleet"

    def call(self, *options):
        return subprocess.run([REPOSITORY / "script" / "fleet", *options], capture_output=True,
                              text=True, check=False, timeout=120)

    def make(self, sites="2", brokers="nats", hosts=None):
        return self.call("make", "--brokers", brokers, "--hosts", hosts or HOSTS[brokers],
                         "--sites", str(sites), "--out", str(self.out))

    def read(self, name):
        return (self.out / name).read_text(encoding="utf-8")

    def everything(self):
        return {path.relative_to(self.out): path.read_bytes()
                for path in self.out.rglob("*") if path.is_file()}

    def sites_file(self, *names):
        path = self.out.parent / f"names-{len(list(self.out.parent.iterdir()))}"
        path.write_text("\n".join(names), encoding="utf-8")
        return path

    def is_taken_by(self, authority, purpose, certificate):
        return subprocess.run(
            ["openssl", "verify", "-purpose", purpose, "-CAfile", self.out / authority,
             self.out / certificate], capture_output=True, check=False).returncode == 0

    def test_each_node_has_its_own_addresses_and_the_others_as_routes(self):
        self.assertEqual(0, self.make().returncode)
        node = self.read("n2/nats-server.conf")
        self.assertIn('server_name: n2\n', node)
        self.assertIn('listen: "10.0.0.2:8883"', node)
        self.assertIn('routes: ["nats://10.0.0.1:6222", "nats://10.0.0.3:6222"]', node)
        self.assertIn("stream_replicas: 3\n", node)
        self.assertIn('consumer_inactive_threshold: "10m"\n', node)
        self.assertIn("verify_and_map: true", node)
        self.assertIn('"/etc/nats/n2.key"', node)
        # Nothing listens on all addresses.
        self.assertEqual(4, len(re.findall(r'(?:listen|http): "(?:10.0.0.2|127.0.0.1):\d+"', node)))
        self.assertEqual(self.read("n1/sites.conf"), self.read("n3/sites.conf"))

    def test_site_writes_below_its_own_name_and_reads_nothing(self):
        self.make(self.sites_file("north", "south_2"))
        self.assertIn('{ user: "CN=south_2,O=fleet", permissions: '
                      '{ publish: ["sites.south_2.>"], subscribe: { deny: ">" } } }',
                      self.read("n1/sites.conf"))
        self.make(self.sites_file("north", "south_2"), brokers="mosquitto")
        self.assertEqual(["user north", "topic write sites/north/#", "user south_2",
                          "topic write sites/south_2/#", "user viewer", "topic read sites/#"],
                         [line for line in self.read("m1/sites.acl").splitlines()
                          if not line.startswith("#")])
        self.make(self.sites_file("north"), brokers="mosquitto")  # one has been withdrawn
        self.assertNotIn("south_2", self.read("m2/sites.acl"))
        self.assertNotIn("anonymous true", self.read("m1/mosquitto.conf"))
        self.assertIn("require_certificate true", self.read("m2/mosquitto.conf"))

    def test_site_that_is_withdrawn_is_let_in_by_no_node_until_it_is_back(self):
        barred = ('{ user: "CN=south_2,O=fleet", allowed_connection_types: ["LEAFNODE"], permissions: '
                  '{ publish: ["sites.south_2.>"], subscribe: { deny: ">" } } }')
        both, one = self.sites_file("north", "south_2"), self.sites_file("north")
        self.assertNotIn("withdrawn", self.make(both).stdout)
        self.assertIn("withdrawn: south_2\n", self.make(one).stdout)
        for node in ("n1", "n2", "n3"):
            self.assertIn(barred, self.read(f"{node}/sites.conf"))
        self.assertIn('"CN=north,O=fleet", permissions', self.read("n1/sites.conf"))
        for end in ("crt", "key"):
            (self.out / f"sites/south_2.{end}").unlink()
        self.assertIn("withdrawn: south_2\n", self.make(one).stdout)
        self.assertIn(barred, self.read("n1/sites.conf"), "nodes would end if it left their list")
        self.make(both)
        self.assertNotIn("allowed_connection_types", self.read("n1/sites.conf"))

    def test_site_can_pretend_to_be_no_node_whatever_its_name_is(self):
        self.make(self.sites_file("n1"))
        self.assertTrue(self.is_taken_by("ca.crt", "sslclient", "sites/n1.crt"))
        self.assertFalse(self.is_taken_by("ca.crt", "sslserver", "sites/n1.crt"))
        self.assertFalse(self.is_taken_by("nodes-ca.crt", "sslclient", "sites/n1.crt"))
        self.assertTrue(self.is_taken_by("ca.crt", "sslserver", "n1/n1.crt"))
        self.assertTrue(self.is_taken_by("nodes-ca.crt", "sslclient", "n1/n1-node.crt"))

    def test_again_changes_nothing_and_new_sites_are_added(self):
        self.make(2)
        before = self.everything()
        self.make(2)
        self.assertEqual(before, self.everything())
        self.make(3)
        after = self.everything()
        changed = {str(path) for path in after if after[path] != before.get(path)}
        self.assertEqual({"ca.srl", "sites/site-00003.crt", "sites/site-00003.key",
                          "n1/sites.conf", "n2/sites.conf", "n3/sites.conf"}, changed)

    def test_node_that_has_moved_gets_a_certificate_of_its_new_address(self):
        self.make(hosts="n1=10.0.0.1,n2=10.0.0.2,n3=broker.lan")
        before = self.everything()
        self.make(hosts="n1=10.0.0.7,n2=10.0.0.2,n3=broker.lan")
        changed = {str(path) for path, text in self.everything().items()
                   if text != before[path] and path.suffix in (".crt", ".key")}
        self.assertEqual({"n1/n1.crt", "n1/n1.key", "n1/n1-node.crt", "n1/n1-node.key"}, changed)
        for address, name in (("10.0.0.7", "n1"), ("10.0.0.2", "n2")):
            told = subprocess.run(["openssl", "x509", "-noout", "-in", self.out / f"{name}/{name}.crt",
                                   "-checkip", address], capture_output=True, text=True, check=True)
            self.assertIn("does match", told.stdout)

    def test_names_and_addresses_that_cannot_be_are_refused(self):
        for hosts in ("n1=10.0.0.1:8883,n2=10.0.0.2,n3=10.0.0.3", "n1=a b,n2=10.0.0.2,n3=10.0.0.3",
                      "sites=10.0.0.1,n2=10.0.0.2,n3=10.0.0.3", "n1=[b],n2=10.0.0.2,n3=10.0.0.3",
                      "viewer=10.0.0.1,n2=10.0.0.2,n3=10.0.0.3", 'n1=a",n2=10.0.0.2,n3=10.0.0.3'):
            result = self.make(hosts=hosts)
            self.assertEqual(1, result.returncode, hosts)
            self.assertIn("--hosts", result.stderr)
        for name in ("ca", "viewer"):
            result = self.make(self.sites_file("north", name))
            self.assertEqual(1, result.returncode)
            self.assertIn(f"--sites: {name} is the ", result.stderr)
        self.assertFalse(self.out.exists())

    def test_what_is_no_alarms_value_is_no_history(self):
        events = {b'{"time":"2026-01-01T12:00:00.000Z","data":{"active":true},"start":"S","seq":2}': True}
        for odd in (b"x", b"[]", b"{}", b"7", b'"a"', b"\xff", b"[" * 100000,
                    b'{"time":"2026-01-01T12:00:00.000Z"}',
                    b'{"time":"2026-01-01T12:00:00.000Z","data":{"active":1}}',
                    b'{"time":"2026-01-01T12:00:00.000Z","data":[]}',
                    b'{"time":"2026-01-01T12:00:00.000Z","data":{"active":true},"seq":[]}',
                    b'{"time":"\\u001b[2J","data":{"active":true}}', b'{"time":7,"data":{"active":true}}'):
            events[odd] = False
        for payload, is_alarm in events.items():
            self.assertEqual(is_alarm, load().event_of(payload) is not None, payload)

    def test_page_has_its_certificate_and_reads_the_history_of_the_node_beside_it(self):
        self.make()
        self.assertTrue(self.is_taken_by("ca.crt", "sslclient", "viewer/viewer.crt"))
        port, password = self.read("viewer/reader").split()
        self.assertIn(f'listen: "127.0.0.1:{port}"', self.read("n2/nats-server.conf"))
        self.assertIn(f'{{ user: "reader", password: "{password}", permissions: '
                      '{ publish: ["$JS.API.DIRECT.GET.ALARMS"], subscribe: ["_INBOX.>"] } }',
                      self.read("n2/sites.conf"))
        self.assertNotEqual(password, self.read("n2/keeper").split()[1])

    def test_page_is_told_where_the_brokers_are(self):
        self.make()
        self.assertIn('\nBROKERS="--mqtt 10.0.0.1,10.0.0.2,10.0.0.3"\n', self.read("viewer/brokers"))
        self.make(hosts="n1=fd00::1,n2=10.0.0.2,n3=broker.lan")
        self.assertIn('"--mqtt [fd00::1],10.0.0.2,broker.lan"', self.read("viewer/brokers"))
        self.make(brokers="mosquitto")
        self.assertIn('"--mqtt 10.0.0.1 --mqtt broker.lan"', self.read("viewer/brokers"))
        # Named in both places they would be refused.
        packaging = REPOSITORY / "packaging" / "fleet"
        self.assertNotIn('--mqtt', (packaging / "sentrelvideo-fleet.default").read_text("utf-8"))
        unit = (packaging / "sentrelvideo-fleet.service").read_text("utf-8")
        self.assertIn("EnvironmentFile=-/etc/sentrelvideo-fleet/brokers\n", unit)
        self.assertRegex(unit, r"(?m)^ExecStart=.* \$BROKERS \$OPTIONS$")

    def test_nodes_files_are_taken_by_the_broker_and_its_unit(self):
        for hosts in (None, "n1=fd00::1,n2=[fd00::2],n3=broker.lan"):
            self.make(hosts=hosts)
            self.assertIn("-c /etc/nats/nats-server.conf", self.read("n1/fleet.conf"))
            configuration = self.out / "n1" / "nats-server.conf"
            configuration.write_text(self.read("n1/nats-server.conf").replace(
                "/etc/nats", str(self.out / "n1")), encoding="utf-8")
            result = subprocess.run(["nats-server", "-c", configuration, "-t"],
                                    capture_output=True, text=True, check=False)
            self.assertEqual(0, result.returncode, result.stderr)
        node = self.read("n2/nats-server.conf")
        self.assertIn('listen: "[fd00::2]:8883"', node)
        self.assertIn('routes: ["nats://[fd00::1]:6222", "nats://broker.lan:6222"]', node)

    def test_history_that_is_kept_already_takes_other_bounds(self):
        node = self.out / "node"
        node.mkdir(parents=True)
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        (node / "keeper").write_text(f"{port} word\n", encoding="utf-8")
        (node / "conf").write_text(
            f'listen: "127.0.0.1:{port}"\njetstream {{ store_dir: "{node}" }}\n'
            'authorization { users: [{ user: "keeper", password: "word" }] }\n', encoding="utf-8")
        server = subprocess.Popen(["nats-server", "-c", node / "conf"], stderr=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        fleet = load()
        fleet.PATIENCE = 10
        for bound in (2**28, 2**28, 2**29):  # new, as it is, and another one
            fleet.ALARMS["max_bytes"] = bound
            fleet.keep_alarms(node, 1)
            with fleet.keeper_of(node) as keeper:
                self.assertEqual(bound, keeper.ask("STREAM.INFO.ALARMS")["config"]["max_bytes"])

    def test_keys_are_for_their_owner_alone(self):
        self.make()
        for path in self.out.rglob("*"):
            self.assertEqual(0, path.stat().st_mode & 0o077, path)

    def test_what_cannot_work_is_refused(self):
        for sites, hosts, word in (
                ("0", None, "--sites"), (self.sites_file("a.b"), None, "a.b"),
                (self.sites_file("a", "a"), None, "--sites"),
                (self.sites_file("viewer"), None, "viewer"), (self.sites_file("x" * 33), None, "x"),
                ("2", "n1=a,n2=b", "3 nodes"), ("2", "n1=a,n1=b,n3=c", "3 nodes"),
                ("2", "n1=a,n2,n3=c", "n2"), ("2", "n1=a,n 2=b,n3=c", "n 2")):
            result = self.make(sites, hosts=hosts)
            self.assertEqual(1, result.returncode, (sites, hosts))
            self.assertIn(word, result.stderr)
        self.assertFalse(self.out.exists())
        self.assertEqual(1, self.call("history", "--folder", str(self.out)).returncode)


if __name__ == "__main__":
    unittest.main()
