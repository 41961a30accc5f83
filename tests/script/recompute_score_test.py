"""The second computation of scores knows right from wrong, and so does the check of the schema."""

import json
import math
import pathlib
import tempfile
import unittest

import json_schema
import recompute_score

PAN = {"speed_deg_per_s": 100, "acceleration_deg_per_s2": 300, "low_deg": -180, "high_deg": 180}
HEAD = {"pan": PAN, "tilt": {**PAN, "low_deg": -90, "high_deg": 20},
        "narrowest_field_deg": 2.5, "widest_field_deg": 60}
SETUP = {"mast_height_m": 5.0, "picture_width_px": 1920, "picture_height_px": 1080, "head": HEAD}
TILT = math.degrees(math.atan2(-4.15, 10))  # to the middle of somebody of 1.7 m, 10 m away
PERSON = {"id": 1, "x": 0.0, "y": 10.0, "height": 1.7}
HEADING = ("time_s,scored,pan_deg,tilt_deg,field_deg,bound_pan_deg,bound_tilt_deg,bound_field_deg,"
           "person,x_m,y_m,height_m,counts")
SCHEMA = pathlib.Path(__file__).parents[2] / "docs" / "report.schema.json"


def samples_of(poses, people):
    return [{"time": 0.05 * number, "head": pose, "bound": pose, "people": people}
            for number, pose in enumerate(poses)]


def score_of(poses, people=(PERSON,)):
    return recompute_score.score(samples_of(poses, list(people)), poses, SETUP)


class RecomputeScoreTest(unittest.TestCase):
    def test_figures_are_those_worked_out_by_hand(self):
        # Half a second at 60 degrees (153.6 pixels a metre, 22 % of the height), half a second away.
        score = score_of([[0, TILT, 60]] * 11 + [[0, TILT + 50, 60]] * 10)
        self.assertAlmostEqual(1.0, score["seconds"])
        self.assertAlmostEqual(0.5, score["density"]["recognised"]["share"])
        self.assertEqual(0.0, score["density"]["identified"]["share"])
        self.assertAlmostEqual(0.5, score["share_20"])
        self.assertAlmostEqual(50 / math.sqrt(2), score["error_deg"]["rms"])
        self.assertAlmostEqual(50 / 60, score["error_width"]["p95"])

    def test_who_is_there_from_the_first_sample_on_is_not_acquired(self):
        pose, elsewhere = [0, TILT, 60], [0, TILT + 50, 60]
        poses = [pose] * 10 + [elsewhere] * 10 + [pose] * 5
        samples = samples_of(poses[:5], [PERSON]) + samples_of(poses[5:10], [])
        samples += samples_of(poses[10:], [PERSON])
        for number, sample in enumerate(samples):
            sample["time"] = 0.05 * number
        found = recompute_score.score(samples, poses, SETUP)["acquisition"]
        self.assertEqual((1, 0), (found["count"], found["never"]))
        self.assertAlmostEqual(0.5, found["median_s"])

    def test_covered_height_is_that_of_the_tangents(self):
        camera = recompute_score.Camera([0, TILT, 60], SETUP)
        crown = math.atan2(-3.3, 10) - math.radians(TILT)
        feet = math.radians(TILT) - math.atan2(-5, 10)
        half = math.tan(math.radians(30)) * 9 / 16
        self.assertAlmostEqual((math.tan(crown) + math.tan(feet)) / (2 * half),
                               recompute_score.Look(camera, PERSON).cover)

    def test_motion_is_counted(self):
        pans = [0, 0, 0.1, 0.2, 0.2, 0.1, 0.1]  # 2 degrees a second, rest, and back
        score = score_of([[pan, 0, 60] for pan in pans], ())
        self.assertAlmostEqual(2 / 0.3, score["starts_per_s"])
        self.assertAlmostEqual(1 / 0.3, score["reversals_per_s"])
        self.assertAlmostEqual(math.sqrt(4 * 40 ** 2 * 0.05 / 0.3), score["acceleration_rms"])

    def test_everybody_is_told_by_name(self):
        # Who comes when the other one has gone, 2.1 s in front of a head that looks 3 degrees beside.
        second = {**PERSON, "id": 2}
        poses = [[0, TILT, 60]] * 11 + [[3, TILT, 60]] * 43
        samples = samples_of(poses[:11], [PERSON]) + samples_of(poses[11:], [second])
        for number, sample in enumerate(samples):
            sample["time"] = 0.05 * number
        first, other = recompute_score.score_and_people(samples, poses, SETUP)[1]
        self.assertEqual((1, 2), (first["id"], other["id"]))
        self.assertAlmostEqual(0.5, first["seconds"])
        self.assertAlmostEqual(2.15, other["followed_seconds"])
        self.assertEqual((1, 1, 0), (other["share_20"], other["recognised"], other["identified"]))
        self.assertTrue(other["recognised_at_first"])
        self.assertIsNone(first["late_error_deg"])
        beside = math.degrees(2 * math.asin(math.sin(math.radians(1.5)) * math.cos(math.radians(TILT))))
        self.assertAlmostEqual(beside, other["late_error_deg"]["rms"])

    def moves(self, pans, head=None):
        """What is found of a clairvoyant head that looks there, 20 times a second."""
        poses = [[pan, -20, 60] for pan in pans]
        return list(recompute_score.beyond(samples_of(poses, []), poses, head or HEAD))

    def test_a_clairvoyant_head_that_can_more_than_the_head_is_found(self):
        # From sample to sample 0.7 degrees a second more for each before: 280 degrees a second squared.
        faster = [0.7 * i * (i + 1) / 2 for i in range(8)]
        self.assertEqual([], self.moves(faster))
        self.assertEqual([], self.moves([178 + pan - 360 * (178 + pan >= 180) for pan in faster]))
        found = self.moves([1.1 * pan for pan in faster[:7]])
        self.assertEqual(["bound: pan reaches 308.0, acceleration_deg_per_s2 is 300"], found)
        slow = {**HEAD, "pan": {**PAN, "speed_deg_per_s": 90}}
        self.assertEqual(["bound: pan reaches 98.0, speed_deg_per_s is 90"], self.moves(faster, slow))

    def test_a_better_pose_than_the_best_fixed_one_is_found(self):
        # The one 10 m away covers 22 % of the height at 60 degrees.
        samples = samples_of([[0, TILT, 60]] * 100, [PERSON])
        self.assertEqual([], list(recompute_score.better_poses(samples, 1.0, SETUP)))
        found = list(recompute_score.better_poses(samples, 0.9, SETUP))
        self.assertTrue(found)
        self.assertIn("fixed: share_20 is 0.9, but 1.0 at ", found[0])

    def test_report_that_says_something_else_is_found(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            pose = [0, TILT, 60]
            score, people = recompute_score.score_and_people(samples_of([pose] * 21, [PERSON]),
                                                             [pose] * 21, SETUP)
            parked = {**score, "pose": {"pan_deg": 0, "tilt_deg": TILT, "field_deg": 60}}
            report = {"setup": SETUP, "score": score, "people": people,
                      "baselines": {"home": parked, "fixed": parked, "bound": score}}
            where = ",".join(f"{part:.8f}" for part in pose + pose)
            lines = [HEADING, f"0,0,{where},1,0,10,1.7,1"]  # before the tracker ran
            lines += [f"{1 + 0.05 * number:.2f},1,{where},1,0,10,1.7,1" for number in range(21)]
            (folder / "samples.csv").write_text("\n".join(lines) + "\n", encoding="utf-8")
            (folder / "report.json").write_text(json.dumps(report), encoding="utf-8")
            self.assertEqual([], recompute_score.recompute(folder))

            for place in ("score", "home", "bound"):
                wrong = json.loads(json.dumps(report))
                part = wrong[place] if place == "score" else wrong["baselines"][place]
                part["density"]["recognised"]["share"] = 0.9
                (folder / "report.json").write_text(json.dumps(wrong), encoding="utf-8")
                found = recompute_score.recompute(folder)
                self.assertEqual(1, len(found), found)
                self.assertIn(f"{place}.density.recognised.share", found[0])

            for change in ({"share_20": 0.5}, {"recognised_at_first": False}, {"id": 2},
                           {"late_error_deg": {"median": 3, "rms": 0, "p95": 0}}):
                wrong = json.loads(json.dumps(report))
                wrong["people"][0].update(change)
                (folder / "report.json").write_text(json.dumps(wrong), encoding="utf-8")
                found = recompute_score.recompute(folder)
                self.assertEqual(1, len(found), found)
                self.assertIn(f"people[0].{list(change)[0]}", found[0])
            report["people"] = []
            (folder / "report.json").write_text(json.dumps(report), encoding="utf-8")
            self.assertEqual(["people: 0 are reported, 1 computed"],
                             recompute_score.recompute(folder))


class JsonSchemaTest(unittest.TestCase):
    def setUp(self):
        self.schema = json.loads(SCHEMA.read_text(encoding="utf-8"))

    def test_every_keyword_of_the_schema_is_understood(self):
        def walk(part):
            list(json_schema.faults_of({}, {**part, "$defs": self.schema["$defs"]}))
            for inner in part.get("properties", {}).values():
                walk(inner)

        walk(self.schema)
        for part in self.schema["$defs"].values():
            walk(part)
        with self.assertRaises(ValueError):
            list(json_schema.faults_of(1, {"multipleOf": 2}))

    def test_what_does_not_fit_is_found(self):
        part = {"$defs": self.schema["$defs"], "$ref": "#/$defs/density"}
        good = {"pixels_per_m": 25.0, "share": None, "person_share": 0.5, "seconds": 1,
                "person_seconds": 2.0}
        self.assertEqual([], list(json_schema.faults_of(good, part)))
        for change in ({"share": 1.5}, {"share": "1"}, {"seconds": -1}, {"more": 1},
                       {"pixels_per_m": True}):
            self.assertEqual(1, len(list(json_schema.faults_of({**good, **change}, part))), change)
        del good["seconds"]
        self.assertEqual([".seconds is missing"], list(json_schema.faults_of(good, part)))


if __name__ == "__main__":
    unittest.main()
