"""What script/fleet-trial counts as arrived and as told rightly."""

import http.server
import importlib.machinery
import importlib.util
import pathlib
import sys
import tempfile
import threading
import types
import unittest
import unittest.mock

sys.dont_write_bytecode = True
REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
ALARM = "sites/site-00001/MiruPlatform/SentrelVideo/Camera1ProfileANY"


def load():
    loader = importlib.machinery.SourceFileLoader("trial", str(REPOSITORY / "script" / "fleet-trial"))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("trial", loader))
    loader.exec_module(module)
    return module


trial = load()


class FleetTrialTest(unittest.TestCase):
    def viewer(self):
        viewer = trial.Viewer.__new__(trial.Viewer)
        viewer.arrived, viewer.messages = {}, 0
        return viewer

    def test_value_has_arrived_when_it_first_came(self):
        viewer = self.viewer()
        for when in (b"10.25", b"70.5"):
            viewer.take(when + b" " + ALARM.encode() + b' {"start":"S","seq":3}')
        viewer.take(b"71.0 sites/site-00001/SentrelVideo/device online")
        viewer.take(b"72.0 " + ALARM.encode() + b" ")
        self.assertEqual({(ALARM, "S", 3): 10.25}, viewer.arrived)
        self.assertEqual(4, viewer.messages)

    def test_page_has_shown_what_it_has_told_once(self):
        shown = trial.Shown.__new__(trial.Shown)
        shown.arrived = {}
        told = {"site": "site-00001", "alarm": "Camera1ProfileANY", "start": "S", "seq": 3}
        shown.take(b"event: changes\n")
        shown.take(b'data: {"sites":[],"alarms":[' + trial.json.dumps(told).encode() + b"]}\n")
        shown.take(b"data: {}\n")
        self.assertEqual([(ALARM, "S", 3)], list(shown.arrived))
        shown.arrived[(ALARM, "S", 3)] = 12.5
        self.assertEqual(2.5, trial.longest([(True, 10.0, ALARM, "S", 3), (True, 0.0, ALARM, "S", 4)],
                                            shown.arrived))

    def test_heap_is_what_is_held_by_who_has_asked_for_it(self):
        def profile(kept, stores):
            return trial.Heap(
                f"heap profile: 3: {kept} [9: 90] @ heap/1048576\n"
                f"1: {kept} [4: 40] @ 0x1 0x2\n"
                "#\t0x1\truntime.malg+0x1\t\t/go/proc.go:1\n"
                "#\t0x2\tgithub.com/a/b.(*Store).keep+0x2\t/b/store.go:2\n"
                "#\t0x3\tgithub.com/a/b.(*Node).run+0x3\t/b/node.go:3\n\n"
                f"{stores}: {stores * 524288} [4: 40] @ 0x3\n"
                "#\t0x3\truntime.gc+0x3\t\t/go/gc.go:3\n\n"
                "0: 0 [4: 40] @ 0x4\n"
                "#\t0x4\tmain.main+0x3\t\t/m.go:3\n\n"
                f"# runtime.MemStats\n# Alloc = 1\n# HeapAlloc = {kept + 7}\n")
        before, after = profile(2**24, 1), profile(2**25, 3)
        self.assertEqual(2**24 + 7, before.total)
        grown = after.growth(before, 2)
        # Who is large is sampled whole; of sizes like the rate, 1 - 1/e of them are.
        self.assertEqual("b.(*Store).keep < b.(*Node).run", grown[0][0])
        self.assertAlmostEqual(2**24, grown[0][1], delta=1)
        self.assertEqual("runtime.gc", grown[1][0])
        self.assertAlmostEqual(2 * 524288 / 0.632120558, grown[1][1], delta=1)

    def test_journal_is_read_without_the_line_at_which_it_was_cut_off(self):
        with tempfile.TemporaryDirectory() as folder:
            sites = trial.Sites.__new__(trial.Sites)
            sites.journal = pathlib.Path(folder) / "journal"
            self.assertEqual([], list(sites.values()))
            sites.journal.write_text(f"alarm 1970-01-01T00:00:01.500Z {ALARM} S 1\n"
                                     f"state 1970-01-01T00:01:00.000Z t S 2\nalarm 1970-01-")
            self.assertEqual([(True, 1.5, ALARM, "S", 1), (False, 60.0, "t", "S", 2)],
                             list(sites.values()))

    def test_node_is_right_with_the_last_value_or_a_later_one(self):
        tried = types.SimpleNamespace(names=["site-00001"])
        wanted = {"a": (9.0, "2026-01-01T00:00:00.000Z", 5)}

        def right(start, seq, **others):
            told = {"a": {"start": start, "seq": seq}, **others}
            return trial.Trial.count_right(tried, wanted, told)

        self.assertEqual(1, right("2026-01-01T00:00:00.000Z", 5))
        self.assertEqual(1, right("2026-01-01T00:00:00.000Z", 6))
        self.assertEqual(1, right("2026-01-01T00:00:01.000Z", 1))
        self.assertEqual(0, right("2026-01-01T00:00:00.000Z", 4))
        self.assertEqual(0, trial.Trial.count_right(tried, wanted, {}))
        device, about = ("sites/site-00001/SentrelVideo/" + name for name in ("device", "about"))
        self.assertEqual(3, right("2026-01-01T00:00:00.000Z", 5, **{device: "online", about: {}}))
        self.assertEqual(1, right("2026-01-01T00:00:00.000Z", 5, **{device: "offline", about: ""}))

    def test_node_that_does_not_become_healthy_ends_the_trial(self):
        class Node(http.server.BaseHTTPRequestHandler):
            status = 503

            def do_GET(self):
                self.send_response(self.status if self.path == "/healthz" else 404)
                self.end_headers()

            def log_message(self, *_):
                """Nothing."""

        server = http.server.HTTPServer((trial.LOOPBACK, 0), Node)
        self.addCleanup(server.server_close)
        thread = threading.Thread(target=server.serve_forever, daemon=True)
        thread.start()
        self.addCleanup(server.shutdown)
        node = types.SimpleNamespace(name="n2", monitor=server.server_port)
        nodes = trial.Nodes.__new__(trial.Nodes)
        with unittest.mock.patch.object(trial.fleet, "PATIENCE", 0.1):
            with self.assertRaisesRegex(trial.fleet.Fault, "n2 is not healthy"):
                nodes.wait_until_healthy(node)
        Node.status = 200
        nodes.wait_until_healthy(node)

    def test_delays_are_told_in_milliseconds(self):
        # Of 1 to 100 ms the median is 50.5, and 99 are below 100.
        self.assertEqual("50.5, 100, 100",
                         trial.delays([number / 1000 for number in range(100, 0, -1)]))
        self.assertEqual("", trial.delays([]))


if __name__ == "__main__":
    unittest.main()
