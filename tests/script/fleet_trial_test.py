"""What script/fleet-trial counts as arrived and as told rightly."""

import importlib.machinery
import importlib.util
import pathlib
import sys
import tempfile
import types
import unittest

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

    def test_delays_are_told_in_milliseconds(self):
        # Of 1 to 100 ms the median is 50.5, and 99 are below 100.
        self.assertEqual("50.5, 100, 100",
                         trial.delays([number / 1000 for number in range(100, 0, -1)]))
        self.assertEqual("", trial.delays([]))


if __name__ == "__main__":
    unittest.main()
