"""script/walk-picture: whom it draws, and how far a head is off."""

import importlib.machinery
import importlib.util
import math
import pathlib
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parent.parent.parent / "script" / "walk-picture"


def load():
    loader = importlib.machinery.SourceFileLoader("walk_picture", str(SCRIPT))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("walk_picture", loader))
    loader.exec_module(module)
    return module


walk = load()

HEADING = ("time_s,scored,pan_deg,tilt_deg,field_deg,bound_pan_deg,bound_tilt_deg,bound_field_deg,"
           "person,x_m,y_m,height_m,counts")


def samples(*lines):
    """Of lines "time person counts"; "-" is nobody."""
    rows = [HEADING]
    for line in lines:
        time, person, counts = line.split()
        seen = ",,,," if person == "-" else f"{person},3,4,1.8,{counts}"
        rows.append(f"{time},1,10,-20,30,0,0,30,{seen}")
    return walk.read_samples(rows)


class WalkPictureTest(unittest.TestCase):
    def test_samples_hold_the_head_and_everybody(self):
        [(time, head, people), (later, _, nobody)] = samples("1.5 7 1", "1.5 8 0", "2 - 0")
        self.assertEqual((1.5, 2.0), (time, later))
        self.assertEqual({"pan": 10, "tilt": -20, "field": 30}, head)
        self.assertEqual([7, 8], list(people))
        self.assertEqual({}, nobody)

    def test_drawn_is_who_counts_alone_for_longest(self):
        stays = samples("0 1 1", "1 1 1", "2 - 0", "3 1 1", "4 1 1", "5 1 1", "5 2 0", "6 1 1", "6 2 1",
                        "7 2 1", "8 2 1")
        self.assertEqual((1, 3, 5), walk.longest_stay(stays))

    def test_nobody_to_draw_is_told(self):
        with self.assertRaisesRegex(SystemExit, "nobody"):
            walk.longest_stay(samples("0 1 0", "1 - 0"))

    def test_error_is_the_angle_to_the_middle_of_the_body(self):
        # 5 m away on the ground, its middle 4.1 m below a mast of 5 m.
        pan, tilt = walk.direction({"x_m": "3", "y_m": "4", "height_m": "1.8"}, 5)
        self.assertAlmostEqual(36.8699, pan, places=4)
        self.assertAlmostEqual(math.degrees(math.atan(-4.1 / 5)), tilt, places=9)
        self.assertAlmostEqual(0, walk.angle(pan, tilt, pan, tilt), places=5)
        self.assertAlmostEqual(20, walk.angle(-170, 0, 170, 0), places=6)
        self.assertAlmostEqual(60, walk.angle(0, 60, 180, 60), places=6)

    def test_root_mean_square_leaves_out_the_way_there_and_what_comes_after(self):
        lines = [(0, 0, 0, 90.0, 1), (2, 0, 0, 3.0, 1), (3, 0, 0, 4.0, 1), (4, 0, None, None, 1),
                 (9, 0, 0, 50.0, 1)]
        self.assertAlmostEqual(math.sqrt(12.5), walk.rms(lines, 5))

    def test_curves_are_broken_at_the_seam_of_pan(self):
        text = walk.block("way", [(0, 179.0, None, None, 30.0), (1, -179.0, -170.0, 1.0, 30.0),
                                  (2, -178.0, -169.0, 1.0, 30.0)])
        self.assertEqual(["$way << END", "0.000 179.0000 NaN NaN 30.0000",
                          "1.000 NaN -170.0000 1.0000 30.0000",
                          "2.000 -178.0000 -169.0000 1.0000 30.0000", "END"], text.splitlines())


if __name__ == "__main__":
    unittest.main()
