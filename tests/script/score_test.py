"""script/score: what its figures are made of, and what it writes.

The environment names the build folder that holds the program: SCORE_BUILD.
"""

import contextlib
import importlib.machinery
import importlib.util
import io
import json
import math
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

REPOSITORY = pathlib.Path(__file__).resolve().parent.parent.parent
SCRIPT = REPOSITORY / "script" / "score"
BUILD = os.environ.get("SCORE_BUILD", str(REPOSITORY / "build" / "release"))

ROW_KEYS = {"model", "run", "following", "baseline", "people", "seeds", "rms_deg", "p95_deg",
            "acquisition_s", "never_acquired", "in_picture", "share_20", "share_40", "detected",
            "recognised", "identified", "starts_per_s", "reversals_per_s", "acceleration_rms",
            "each_rms_deg", "each_in_picture", "each_recognised"}
PAIRS = {"rms_deg", "p95_deg", "acquisition_s", "in_picture", "starts_per_s", "reversals_per_s",
         "acceleration_rms", "each_rms_deg", "each_in_picture", "each_recognised"}
SHARES = {"share_20", "share_40", "detected", "recognised", "identified"}


def load():
    loader = importlib.machinery.SourceFileLoader("score", str(SCRIPT))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("score", loader))
    loader.exec_module(module)
    return module


score = load()


class FigureTest(unittest.TestCase):
    def test_quantile_is_the_least_value_that_the_share_does_not_exceed(self):
        values = [5, 1, 4, 2, 3]
        self.assertEqual(3, score.quantile(values, 0.5))
        self.assertEqual(5, score.quantile(values, 0.9))
        self.assertEqual(1, score.quantile(values, 0.1))
        self.assertEqual(4, score.quantile([4], 0.9))

    def test_the_worst_tenth_of_what_is_better_the_more_it_is(self):
        heads = [{"rms_deg": i, "in_picture": i / 10} for i in range(1, 11)]
        self.assertEqual([5, 9], score.pair(heads, "rms_deg"))
        self.assertEqual([0.5, 0.1], score.pair(heads, "in_picture"))

    def test_who_has_no_figure_is_left_out(self):
        heads = [{"rms_deg": None}, {"rms_deg": 7}]
        self.assertEqual([7, 7], score.pair(heads, "rms_deg"))
        self.assertEqual([None, None], score.pair(heads[:1], "rms_deg"))

    def test_pairs_of_each_are_of_all_people_of_all_runs(self):
        heads = [{"each": {"rms_deg": [1, 2, 3, 4], "recognised": [0, 1, 1, 1]}},
                 {"each": {"rms_deg": [9, None, 8, 7, 6, 5, 10], "recognised": [1] * 6}}]
        self.assertEqual([5, 9], score.pair_of_each(heads, "rms_deg"))
        self.assertEqual([1, 0], score.pair_of_each(heads[:1], "recognised"))

    def test_shares_are_of_all_time(self):
        heads = [{"share_40": 1, "seconds": 30}, {"share_40": 0, "seconds": 10}]
        self.assertEqual(0.75, score.share(heads, "share_40"))
        self.assertIsNone(score.share([], "share_40"))


class OptionTest(unittest.TestCase):
    def refused(self, *options):
        with contextlib.redirect_stderr(io.StringIO()), self.assertRaises(SystemExit):
            score.read_arguments(options)

    def test_a_place_belongs_to_the_recording_before_it(self):
        read = score.read_arguments(["--tracks", "a", "--mast", "1,2", "--home", "3,4",
                                     "--tracks", "b", "--home", "7,8", "--mast=-5,-6"])
        self.assertEqual([{"file": "a", "mast": "1,2", "home": "3,4"},
                          {"file": "b", "mast": "-5,-6", "home": "7,8"}], read.tracks)

    def test_what_cannot_be_used_is_refused(self):
        self.refused("--mast", "1,2")
        self.refused("--tracks", "a", "--mast", "1,2")
        self.refused("--tracks", "a", "--mast", "1", "--home", "3,4")
        self.refused("--tracks", "a", "--mast", "nan,1", "--home", "3,4")
        self.refused("--seeds", "5-1")
        self.refused("--following", "guessed")

    def test_seeds_are_a_range(self):
        self.assertEqual([1, 2, 3], score.read_arguments(["--seeds", "1-3"]).seeds)
        self.assertEqual([4], score.read_arguments(["--seeds", "4"]).seeds)
        self.assertEqual([1], score.read_arguments([]).seeds)


class HoldTest(unittest.TestCase):
    def test_without_it_no_profile_holds_back_who_came_just_now(self):
        with tempfile.TemporaryDirectory() as folder:
            models = score.without_hold(score.MODELS, folder)
            text = (models / "configurations" / "far.json").read_text()
            kinds = [(entry["type"], entry["active"])
                     for profile in json.loads(text)["params"]["profiles"]
                     for entry in profile["filters"]]
        self.assertIn(("timeShortLivedLimit", False), kinds)
        self.assertNotIn(("timeShortLivedLimit", True), kinds)
        self.assertIn(("sizePercentage", True), kinds)

    def test_recordings_may_be_run_alone(self):
        where = score.Where("alone", tracks={"file": "a", "mast": "1,2", "home": "3,4"})
        self.assertEqual("--alone", where.options()[-1])
        self.assertEqual(["person", "whole"], score.read_arguments([]).run)
        self.assertEqual(["alone"], score.read_arguments(["--run", "alone"]).run)


class PlaceTest(unittest.TestCase):
    RECORDING = ("--tracks", "a", "--mast", "1,2", "--home", "3,4")

    def places(self, *options):
        return score.places(score.read_arguments(options), "ideal")

    def test_a_scene_by_itself_is_run_as_a_whole(self):
        self.assertEqual([["--scene", "far"], ["--scene", "crowd"]],
                         [where.options() for where in self.places("--scene", "far", "--scene", "crowd")])
        self.assertEqual([{"scene": "wide"}], [where.named() for where in self.places()])

    def test_a_recording_is_played_in_each_scene_that_is_named(self):
        found = self.places(*self.RECORDING, "--run", "whole", "--scene", "far", "--scene", "hiding")
        self.assertEqual([["--scene", scene, "--tracks=a", "--mast=1,2", "--home=3,4", "--whole"]
                          for scene in ("far", "hiding")], [where.options() for where in found])
        self.assertEqual({"scene": "hiding", "tracks": "a"}, found[1].named())
        own = self.places(*self.RECORDING, "--run", "whole")
        self.assertEqual([["--tracks=a", "--mast=1,2", "--home=3,4", "--whole"]],
                         [where.options() for where in own])

    def test_recordings_of_one_scene_are_told_together(self):
        found = self.places(*self.RECORDING, "--tracks", "b", "--mast", "1,2", "--home", "3,4",
                            "--run", "person", "--scene", "far", "--scene", "hiding")
        asked = [("ideal", where, {}) for where in found]
        self.assertEqual([{"scene": scene, "tracks": "a + b"} for scene in ("far", "hiding")],
                         [where.named() for _, where, _ in list(score.told_together(asked))[4:]])


class RunTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_score(self, *options):
        """The table and the rows."""
        file = self.folder / "rows.json"
        run = subprocess.run([sys.executable, "-B", SCRIPT, "--build", BUILD, "--json", file,
                              *options], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                             check=False)
        self.assertEqual(0, run.returncode, run.stderr)
        return run.stdout, file.read_text()

    def write_tracks(self):
        """Two who walk one after another, 5 m in front of the mast."""
        rows = ["time_s,id,x_m,y_m"]
        for person in (1, 2):
            for i in range(31):
                rows.append(f"{15 * (person - 1) + 0.4 * i:.1f},{person},{0.4 * i - 6:.2f},5")
        file = self.folder / "walk.csv"
        file.write_text("\n".join(rows) + "\n")
        return str(file)

    def check_row(self, row, where):
        self.assertEqual(ROW_KEYS | {where}, set(row))
        for key in PAIRS:
            self.assertEqual(2, len(row[key]), key)
            for value in row[key]:
                self.assertTrue(value is None or math.isfinite(value) and value >= 0, (key, row))
        for key in SHARES:
            self.assertTrue(0 <= row[key] <= 1, (key, row))
        self.assertGreaterEqual(row["share_20"], row["share_40"])
        self.assertGreaterEqual(row["detected"], row["recognised"])
        self.assertGreaterEqual(row["recognised"], row["identified"])

    def test_a_scene_gives_the_way_of_following_and_three_other_heads(self):
        table, text = self.run_score("--model", "ideal", "--scene", "wide", "--seconds", "25",
                                     "--seeds", "1-2")
        rows = json.loads(text)["rows"]
        self.assertEqual([None, "home", "fixed", "bound"], [row["baseline"] for row in rows])
        for row in rows:
            self.check_row(row, "scene")
            self.assertEqual(("ideal", "wide", "whole", "specified", [1, 2]),
                             (row["model"], row["scene"], row["run"], row["following"],
                              row["seeds"]))
            self.assertGreaterEqual(row["people"], 2)
        self.assertEqual(2 + len(rows), len(table.splitlines()))
        self.assertIn("| 2 of 2 |", table)

    def test_a_recording_is_run_person_by_person_and_as_a_whole(self):
        tracks = self.write_tracks()
        _, text = self.run_score("--model", "ideal", "--tracks", tracks, "--mast", "0,0",
                                 "--home", "0,5", "--seeds", "1-2")
        rows = json.loads(text)["rows"]
        self.assertEqual(["person"] * 4 + ["whole"] * 4, [row["run"] for row in rows])
        for row in rows:
            self.check_row(row, "tracks")
            self.assertEqual(tracks, row["tracks"])
        # One person for each seed; as a whole both, twice.
        self.assertEqual([2] * 4 + [4] * 4, [row["people"] for row in rows])
        # They walk one after another, so that it is the same whether both are there or one.
        one_by_one, whole = rows[3], rows[7]
        self.assertEqual(one_by_one["rms_deg"], one_by_one["each_rms_deg"])
        self.assertEqual(one_by_one["in_picture"], one_by_one["each_in_picture"])
        for one, both in zip(one_by_one["each_in_picture"], whole["each_in_picture"]):
            self.assertAlmostEqual(one, both, delta=0.1)
        parked = rows[1]
        self.assertEqual([0, 0], parked["starts_per_s"])
        self.assertLess(rows[3]["rms_deg"][0], rows[0]["rms_deg"][0])
        self.assertLess(rows[0]["rms_deg"][0], parked["rms_deg"][0])

    def test_recordings_are_told_together_too(self):
        tracks = self.write_tracks()
        place = ("--mast", "0,0", "--home", "0,5")
        _, text = self.run_score("--model", "ideal", "--tracks", tracks, *place, "--tracks", tracks,
                                 *place)
        rows = [row for row in json.loads(text)["rows"] if row["baseline"] is None]
        self.assertEqual([tracks, tracks, tracks, tracks, f"{tracks} + {tracks}"],
                         [row["tracks"] for row in rows])
        self.assertEqual(4, rows[4]["people"])
        self.assertEqual(rows[0]["share_20"], rows[4]["share_20"])

    def test_the_same_command_writes_the_same_bytes(self):
        options = ("--model", "harsh", "--seconds", "25", "--seeds", "3")
        self.assertEqual(self.run_score(*options), self.run_score(*options))

    def test_a_model_that_is_not_there_is_told_with_those_that_are(self):
        run = subprocess.run([sys.executable, "-B", SCRIPT, "--build", BUILD, "--model", "none"],
                             capture_output=True, text=True, check=False)
        self.assertNotEqual(0, run.returncode)
        self.assertIn("no model 'none'", run.stderr)
        self.assertIn("realistic", run.stderr)

    def test_a_recording_that_cannot_be_read_is_told(self):
        run = subprocess.run([sys.executable, "-B", SCRIPT, "--build", BUILD, "--model", "ideal",
                              "--tracks", "none.csv", "--mast", "0,0", "--home", "0,5"],
                             capture_output=True, text=True, check=False)
        self.assertNotEqual(0, run.returncode)
        self.assertIn("none.csv", run.stderr)


if __name__ == "__main__":
    unittest.main()
