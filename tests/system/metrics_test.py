"""What a scraper reads of a running device: a parser, promtool and a Prometheus."""

import http.client
import json
import os
import re
import signal
import socket
import subprocess
import sys
import urllib.parse

from broker import HOST, Broker
from journal import PATIENCE, wait_until
from namespace import PACKAGES, REPOSITORY
from run_script import RunTest
from through_onvif import process_of
from web import PAGE

# Debian's module, also for a Python that is not Debian's.
sys.path.append("/usr/lib/python3/dist-packages")
from prometheus_client import parser  # noqa: E402
from prometheus_client.openmetrics import parser as openmetrics  # noqa: E402

OPEN = "application/openmetrics-text;version=1.0.0,text/plain;version=0.0.4;q=0.5"
VIEWS = REPOSITORY / "packaging" / "metrics"
OWN = re.compile(r"\bsentrelvideo_[a-z_]+\b")


IN_NAMESPACE = PACKAGES + "/sentrelvideo/localdata"  # the state's folder
TOKEN = "a-word-of-a-test"
STATE = "MiruPlatform/SentrelVideo/state"

CONFIGURATION = """
global: {{scrape_interval: 1s, evaluation_interval: 1s}}
rule_files: [{rules}]
scrape_configs:
  - job_name: sentrelvideo
    {authorization}
    static_configs:
      - {{targets: ["{device}"], labels: {{site: north}}}}
"""


def free_port():
    with socket.socket() as probe:
        probe.bind((HOST, 0))
        return probe.getsockname()[1]


class Prometheus:
    """One that reads the device's metrics, with the token or without."""

    def __init__(self, test, port, token_file=None):
        folder = test.folder / f"prometheus-{token_file is not None}"
        folder.mkdir()
        authorization = f"authorization: {{credentials_file: {token_file}}}" if token_file else ""
        configuration = folder / "prometheus.yml"
        configuration.write_text(CONFIGURATION.format(
            rules=VIEWS / "sentrelvideo.rules.yml", authorization=authorization,
            device=f"{HOST}:{port}"), encoding="utf-8")
        self.port = free_port()
        process = subprocess.Popen(
            ["prometheus", f"--config.file={configuration}", f"--storage.tsdb.path={folder}/data",
             f"--web.listen-address={HOST}:{self.port}"], stderr=subprocess.DEVNULL)
        test.addCleanup(process.wait, PATIENCE)
        test.addCleanup(process.kill)

    def ask(self, path):
        connection = http.client.HTTPConnection(HOST, self.port, timeout=60)
        try:
            connection.request("GET", "/api/v1/" + path)
            response = connection.getresponse()
            return json.loads(response.read())["data"] if response.status == 200 else {}
        except ConnectionError:
            return {}
        finally:
            connection.close()

    def values(self, expression):
        return self.ask("query?query=" + urllib.parse.quote(expression)).get("result", [])

    def target(self):
        """Of the device; None before it was asked."""
        targets = self.ask("targets").get("activeTargets", [])
        return targets[0] if targets and targets[0]["health"] != "unknown" else None


class MetricsTest(RunTest):
    def start_device(self):
        """Its port once the device follows; only who knows the word may read the metrics."""
        self.state.mkdir()
        for name, text in (("password", "of-the-user"), ("token", TOKEN)):
            (self.state / name).write_text(text, encoding="utf-8")
        broker = Broker(self)
        seen = broker.subscribe()
        self.run_ = self.start("--port", "0", "--mqtt", f"{HOST}:{broker.port}", "--", "--user", "anna",
                               "--password-file", f"{IN_NAMESPACE}/password",
                               "--metrics-token-file", f"{IN_NAMESPACE}/token")
        seen.wait_for(lambda publication: publication.topic == STATE and publication.event and
                      publication.event["data"] == {"value": "running"}, "the tracker")
        position = self.run_.output.wait_for(PAGE.match, "the page's address")
        return int(PAGE.match(self.run_.output.entries()[position - 1])[1])

    def scrape(self, port, accept):
        connection = http.client.HTTPConnection(HOST, port, timeout=60)
        try:
            connection.request("GET", "/metrics", headers={
                "Accept": accept, "Authorization": "Bearer " + TOKEN})
            response = connection.getresponse()
            self.assertEqual(200, response.status)
            return response.headers["Content-Type"], response.read().decode()
        finally:
            connection.close()

    def test_programs_that_read_metrics_understand_them(self):
        port = self.start_device()
        scraped = Prometheus(self, port, self.state / "token")
        refused = Prometheus(self, port)
        content_type, text = self.scrape(port, OPEN)
        self.assertTrue(content_type.startswith("application/openmetrics-text"))
        families = {family.name: family
                    for family in openmetrics.text_string_to_metric_families(text)}
        [running] = families["sentrelvideo_build"].samples
        self.assertEqual({"version": "1.0.0", "api": "1.0"}, running.labels)
        self.assertEqual("stateset", families["sentrelvideo_state"].type)
        states = {sample.labels["sentrelvideo_state"]: sample.value
                  for sample in families["sentrelvideo_state"].samples}
        self.assertEqual(1, sum(states.values()))
        self.assertEqual(1, states["running"])
        content_type, text = self.scrape(port, "text/plain")
        self.assertTrue(content_type.startswith("text/plain"))
        self.check("check", "metrics", input=text)
        older = list(parser.text_string_to_metric_families(text))
        samples = {sample.name for family in older for sample in family.samples}
        # There may be more by now: some begin with the first one who is followed.
        self.assertEqual(set(), {sample.name for family in families.values()
                                 for sample in family.samples} - samples)
        values = {sample.name: sample.value for family in older for sample in family.samples}
        self.assertGreater(values["sentrelvideo_frames_total"], 10)
        # The head was tuned: it was told to move, and asked where it is.
        self.assertGreater(values["sentrelvideo_control_step_seconds_count"], 10)
        for name in ("process_resident_memory_bytes", "process_cpu_seconds_total",
                     "process_start_time_seconds", "process_open_fds"):
            self.assertIn(name, samples)
        expressions = self.check_views(samples)
        self.check("check", "rules", VIEWS / "sentrelvideo.rules.yml")
        self.check("test", "rules", VIEWS / "sentrelvideo.rules.test.yml")
        self.check_scrapes(scraped, refused, expressions)
        self.check_daemon_that_hangs(port)

    def check_daemon_that_hangs(self, port):
        def is_up():
            return re.search(r"^sentrelvideo_up (\d)$", self.scrape(port, "text/plain")[1], re.M)[1] == "1"

        daemon = process_of(self.run_, "sentrelvideo")
        self.assertTrue(is_up())
        os.kill(daemon, signal.SIGSTOP)
        try:
            wait_until(lambda: not is_up(), "the daemon's silence")
        finally:
            os.kill(daemon, signal.SIGCONT)
        wait_until(is_up, "the daemon's answer")

    def check(self, *words, **options):
        result = subprocess.run(["promtool", *map(str, words)], capture_output=True, text=True,
                                timeout=PATIENCE, check=False, **options)
        self.assertEqual((0, ""), (result.returncode, result.stderr), result.stdout)

    def check_scrapes(self, scraped, refused, expressions):
        wait_until(lambda: len(scraped.values("sentrelvideo_frames_total[1m]")) > 0 and
                   len(scraped.values("sentrelvideo_frames_total[1m]")[0]["values"]) > 1,
                   "two readings")
        self.assertEqual("up", scraped.target()["health"], scraped.target())
        for expression in expressions:
            # What the dashboard itself fills in.
            filled = re.sub(r"\$__\w+", "1m", expression).replace("$site", ".*")
            self.assertIn("result", scraped.ask("query?query=" + urllib.parse.quote(filled)), filled)
        rules = [rule for group in scraped.ask("rules")["groups"] for rule in group["rules"]]
        wait_until(lambda: all(rule["health"] == "ok" for group in scraped.ask("rules")["groups"]
                               for rule in group["rules"]), "all rules")
        self.assertGreater(len(rules), 5)
        self.assertEqual([{"site": "north", "state": "running"}],
                         [{"site": value["metric"]["site"],
                           "state": value["metric"]["sentrelvideo_state"]}
                          for value in scraped.values("sentrelvideo_state == 1")])
        wait_until(refused.target, "the reader without the word")
        self.assertIn("401", refused.target()["lastError"])

    def check_views(self, samples):
        dashboard = json.loads((VIEWS / "sentrelvideo.dashboard.json").read_text(encoding="utf-8"))
        ids = [panel["id"] for panel in dashboard["panels"]]
        self.assertEqual(len(ids), len(set(ids)))
        places = [tuple(panel["gridPos"].values()) for panel in dashboard["panels"]]
        self.assertEqual(len(places), len(set(places)))
        expressions = [target["expr"] for panel in dashboard["panels"]
                       for target in panel["targets"]]
        rules = (VIEWS / "sentrelvideo.rules.yml").read_text(encoding="utf-8")
        expressions += re.findall(r"expr: (.*)", rules)
        used = {name for expression in expressions for name in OWN.findall(expression)}
        self.assertGreater(len(used), 8)
        self.assertEqual(set(), used - samples)
        return expressions
