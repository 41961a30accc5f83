"""What a scraper reads of a running device."""

import http.client
import json
import re
import sys

from broker import HOST, Broker
from namespace import REPOSITORY
from run_script import RunTest
from web import Web

# Debian's module, also for a Python that is not Debian's.
sys.path.append("/usr/lib/python3/dist-packages")
from prometheus_client import parser  # noqa: E402
from prometheus_client.openmetrics import parser as openmetrics  # noqa: E402

OPEN = "application/openmetrics-text;version=1.0.0,text/plain;version=0.0.4;q=0.5"
VIEWS = REPOSITORY / "packaging" / "metrics"
OWN = re.compile(r"\bsentrelvideo_[a-z_]+\b")


class MetricsTest(RunTest):
    def scrape(self, web, accept):
        connection = http.client.HTTPConnection("127.0.0.1", web.port, timeout=60)
        try:
            connection.request("GET", "/metrics", headers={"Accept": accept})
            response = connection.getresponse()
            self.assertEqual(200, response.status)
            return response.headers["Content-Type"], response.read().decode()
        finally:
            connection.close()

    def test_both_forms_are_read_and_the_views_use_what_is_there(self):
        broker = Broker(self)
        web = Web(self.start("--port", "0", "--mqtt", f"{HOST}:{broker.port}"))
        web.follow().wait_for_event("MiruPlatform/SentrelVideo/state", {"value": "running"})
        content_type, text = self.scrape(web, OPEN)
        self.assertTrue(content_type.startswith("application/openmetrics-text"))
        families = {family.name: family
                    for family in openmetrics.text_string_to_metric_families(text)}
        self.assertEqual("stateset", families["sentrelvideo_state"].type)
        states = {sample.labels["sentrelvideo_state"]: sample.value
                  for sample in families["sentrelvideo_state"].samples}
        self.assertEqual(1, sum(states.values()))
        self.assertEqual(1, states["running"])
        content_type, text = self.scrape(web, "text/plain")
        self.assertTrue(content_type.startswith("text/plain"))
        older = list(parser.text_string_to_metric_families(text))
        samples = {sample.name for family in older for sample in family.samples}
        # There may be more by now: some begin with the first one who is followed.
        self.assertEqual(set(), {sample.name for family in families.values()
                                 for sample in family.samples} - samples)
        frames = [sample.value for family in older for sample in family.samples
                  if sample.name == "sentrelvideo_frames_total"]
        self.assertGreater(frames[0], 10)
        for name in ("process_resident_memory_bytes", "process_cpu_seconds_total",
                     "process_start_time_seconds", "process_open_fds"):
            self.assertIn(name, samples)
        self.check_views(samples)

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
