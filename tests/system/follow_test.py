"""script/run shows a head that follows people, with every model, transport and recording."""

import json
import pathlib
import sys

from camera import TUNED
from journal import PATIENCE
from namespace import REPOSITORY
from run_script import RunTest

sys.path.append(str(REPOSITORY / "tests" / "script"))
import json_schema  # noqa: E402  (the path has to be known first)
from recompute_score import recompute  # noqa: E402

SCHEMA = REPOSITORY / "docs" / "report.schema.json"

RECORDINGS = REPOSITORY.parent / "shared" / "data" / "pedestrians"

# What following has to earn in front of a square: somebody is recognised (125 pixels a metre) for so much
# of the time in which somebody is there, and half of the time the followed one is nearer to the axis
# than that. A head that is parked at home recognises nobody at all there, and is 16 degrees off and more;
# one that is parked at the best pose holds the whole square and passes. So the models of the square tell
# that a head turns to people and zooms, with whatever it speaks; how well it follows is told around a mast.
LEAST_RECOGNISED = 0.08
LEAST_RECOGNISED_BY_PREDICTION = 0.45
MOST_MEDIAN_ERROR = 8  # degrees
# The same on a device without a flaw.
LEAST_RECOGNISED_PERFECTLY = 0.60
LEAST_RECOGNISED_OF_RECORDINGS = 0.45  # whose people come close to each other
MOST_MEDIAN_ERROR_PERFECTLY = 2.5
# On a realistic device around which people walk at 3 to 30 m no picture holds them all, and a head that is parked
# at the best pose fails. The limits lie half-way between what the tables of docs/following.md say of the head
# that follows and of that one, in 300 s of five seeds: detected 79 and 29 % of the time with the specified way,
# 93 and 29 % by prediction, recognised 85 and 28 % by prediction. At 40 % of the height, where they are 59 and 2 %,
# it is half-way in ratio, as little of a short run is so near.
AROUND = {"detected": 0.54}
AROUND_BY_PREDICTION = {"detected": 0.61, "recognised": 0.56, "large": 0.11}
# With the specified way 59 and 28 %, too near to each other for a short run: no more than a sign of life.
LEAST_RECOGNISED_AROUND = 0.30
MOST_SECONDS_TO_RUNNING = 60
# Seconds; a tuning that has to be done twice still leaves time for people who come and go.
LONG_ENOUGH = 75
LONG_ENOUGH_AROUND = 115  # in which no single pose holds those who come
TUNING_IN_VAIN = 100  # seconds; three attempts take some 85
# Nothing raises an alarm, and yet people stand in the area.
NOBODY_IS_LARGE_ENOUGH = {
    "apiVersion": "1.0", "context": "", "method": "setConfiguration", "params": {
        "cameras": [{"id": 1, "active": True, "rotation": 0}],
        "profiles": [{
            "uid": 1, "camera": 1, "name": "Profile 1", "priority": 1, "perspective": [],
            "triggers": [{"type": "includeArea", "data": [[-0.97, -0.97], [-0.97, 0.97],
                                                          [0.97, 0.97], [0.97, -0.97]]}],
            "filters": [{"type": "sizePercentage", "data": [100, 100], "active": True},
                        {"type": "timeShortLivedLimit", "data": 1, "active": True},
                        {"type": "distanceSwayingObject", "data": 5, "active": True}]}],
        "configurationStatus": 0}}
DOUBT = "The head moves otherwise than was identified"  # once a day at most
HOME = (0.0, -3.6, 1.0)  # pan, tilt and zoom of every model's head at the square
PLAY = 0.15  # degrees, and how the status lines round


def faults_of(score, recognised=LEAST_RECOGNISED, error=MOST_MEDIAN_ERROR):
    """What keeps a score from being that of a head that follows."""
    found = []
    if score["density"]["recognised"]["share"] < recognised:
        found.append("nobody is recognised")
    if score["error_deg"]["median"] > error:
        found.append("the head looks elsewhere")
    return found


def states_from_the_start(states):
    """Without what was told before the daemon told anything: "connecting", too, may have passed by then."""
    known = states[states[0] == "-":]
    known = known[known[0] == "stopped":]
    return known if states[0] != "-" or known[0] == "connecting" else ["connecting", *known]


def is_home(head):
    return all(abs(float(told) - wanted) <= PLAY for told, wanted in zip(head, HOME))


def shares_around(score):
    return {"detected": score["density"]["detected"]["share"],
            "recognised": score["density"]["recognised"]["share"], "large": score["share_40"]}


def faults_around(score, limits):
    """The same, where people walk all around."""
    shares = shares_around(score)
    return [name for name, least in limits.items() if shares[name] < least]


class FollowRun(RunTest):
    """What every way of following is held to."""

    model = "fixed"
    seconds = LONG_ENOUGH

    def follow(self, *options):
        """Runs and checks what holds with every head; returns the run and its report."""
        run = self.run_for(self.seconds, *options)
        report = self.read_report()
        self.assertRegex(run.text(), r"The daemon ended with status 0 after \d+ ms")
        self.assertIsNotNone(report["state_running_after_s"], report)
        self.assertLessEqual(report["state_running_after_s"], MOST_SECONDS_TO_RUNNING)
        states = states_from_the_start(run.states())
        # On a machine that holds processes up, a head may seem to be another one than was identified.
        doubts = (self.report / "syslog.txt").read_text(encoding="utf-8").count(DOUBT)
        self.assertEqual(["connecting", "autotuning", "running"] * (1 + doubts), states)
        self.assertGreaterEqual(report["alarms_started"], 1, report)
        self.assertEqual(report["alarms_started"], report["alarms_ended"], report)
        self.assertGreater(report["followed_s"], 0, report)
        self.assertGreater(report["score"]["seconds_with_somebody"], 20, report)
        self.assertTrue(report["tuning"]["succeeded"], report["tuning"])
        self.assertEqual([], recompute(self.report))
        schema = json.loads(SCHEMA.read_text(encoding="utf-8"))
        self.assertEqual([], list(json_schema.faults_of(report, schema)))
        return run, report

    def follow_well(self, *options, recognised=LEAST_RECOGNISED, error=MOST_MEDIAN_ERROR):
        """As a head has to, and as one that stays at home does not."""
        run, report = self.follow(*options)
        self.assertEqual([], faults_of(report["score"], recognised, error), report["score"])
        home = report["baselines"]["home"]
        self.assertEqual(["nobody is recognised", "the head looks elsewhere"],
                         faults_of(home, recognised, error), home)
        return run, report

    def follow_perfectly(self, *options, recognised=LEAST_RECOGNISED_PERFECTLY):
        return self.follow_well("--model", "perfect", *options, recognised=recognised,
                                error=MOST_MEDIAN_ERROR_PERFECTLY)

    def follow_around(self, limits):
        """On the device that runs when none is named. Wherever a head is parked, it fails in all."""
        self.model = None
        self.seconds = LONG_ENOUGH_AROUND
        _, report = self.follow()
        self.assertEqual(("default", "wide"), (report["model"], report["scene"]))
        parked = [report["baselines"][name] for name in ("home", "fixed")]
        shares = [shares_around(score) for score in (report["score"], *parked)]
        print(f"measured: the head, parked at home, parked at its best: {shares}", flush=True)
        self.assertEqual([], faults_around(report["score"], limits), report["score"])
        for score in parked:
            self.assertEqual(list(limits), faults_around(score, limits), score)
        return report

    def follow_recording(self, name):
        path = pathlib.Path(RECORDINGS / name)
        if not path.is_file():
            self.skipTest(f"The recording {name} is not on this machine")
        _, report = self.follow_perfectly("--tracks", path,
                                          recognised=LEAST_RECOGNISED_OF_RECORDINGS)
        self.assertEqual(str(path.resolve()), report["tracks"])

    def assert_goes_home(self, run):
        """Nobody is left, and the head goes to its home after having looked at somebody."""
        heads = [status.group(5, 6, 7) for status in run.statuses()
                 if status[2] == "running" and status[3] == "-"]
        self.assertTrue(any(map(is_home, heads)), heads)
        self.assertFalse(is_home(heads[0]))


class FollowTest(FollowRun):
    def test_generated_people_are_followed_and_the_head_goes_home(self):
        run, report = self.follow_well()
        self.assert_goes_home(run)
        self.assertGreater(report["followed_s"], 20)
        self.assertEqual(("fixed", "generated", "socket"),
                         (report["model"], report["tracks"], report["transport"]))
        self.assertTrue(0.9 <= report["frames"] / (10 * LONG_ENOUGH) <= 1.1, report)
        for name in ("plot.svg", "plot.png", "samples.csv", "syslog.txt"):
            self.assertGreater((self.report / name).stat().st_size, 0, name)

    def test_realistic_device_runs_when_none_is_named_and_follows_people_all_around(self):
        report = self.follow_around(AROUND)
        self.assertGreaterEqual(report["score"]["density"]["recognised"]["share"],
                                LEAST_RECOGNISED_AROUND)

    def test_parked_head_fails(self):
        """Zoomed out and turned to where people walk, it stays there: no object is large enough."""
        model = json.loads((REPOSITORY / "device" / "models" / "perfect.json").read_text("utf-8"))
        model["head"]["home"]["tilt"] = -20.8
        parked = self.folder / "parked.json"
        parked.write_text(json.dumps(model), encoding="utf-8")
        self.state.mkdir()
        (self.state / "sentrelvideo.json").write_text(TUNED, encoding="utf-8")
        (self.state / "config.json").write_text(json.dumps(NOBODY_IS_LARGE_ENOUGH),
                                                encoding="utf-8")
        run = self.run_for(LONG_ENOUGH, "--model", parked)
        heads = {status.group(5, 6, 7) for status in run.statuses() if status[2] == "running"}
        self.assertEqual({("0.0", "-20.8", "1.0")}, heads)
        score = self.read_report()["score"]
        self.assertGreater(score["seconds_with_somebody"], 20)
        self.assertGreater(score["in_picture"], 0.9, "somebody is always in so wide a picture")
        self.assertIn("nobody is recognised", faults_of(score), score)
        self.assertEqual(0, score["share_20"])
        self.assertEqual([], recompute(self.report))

    def test_unsuccessful_tuning_is_told_and_counted(self):
        """Commands take too long for the head to swing evenly."""
        run = self.start("--model", "slow-link", "--duration", str(TUNING_IN_VAIN))
        self.assertEqual(0, run.wait(TUNING_IN_VAIN + PATIENCE), run.text())
        for words in ("Autotuning: attempt 1 of 3 failed, trying again",
                      "Autotuning: attempt 2 of 3 failed, trying again",
                      "Autotuning: attempt 3 of 3 failed. The head keeps the gains it had and may "
                      "lag behind or swing; it is tuned again at the next start"):
            self.assertIn(words, run.text())
        tuning = self.read_report()["tuning"]
        self.assertEqual((1, 3, 3, 1, False, None), tuple(
            tuning[key] for key in ("count", "attempts", "failed_attempts", "unsuccessful",
                                    "succeeded", "pan_gains")), tuning)
        self.assertGreater(tuning["seconds"], 60, "three times the relay's 25 s, but for its rests")
        self.assertNotIn("TRK-100L",
                         (self.state / "sentrelvideo.json").read_text(encoding="utf-8"))

    def test_other_people_are_followed(self):
        self.follow_perfectly("--seed", "2")

    def test_scene_module_serves_as_well(self):
        _, report = self.follow_perfectly("--transport", "module")
        self.assertEqual("module", report["transport"])

    def test_four_channels(self):
        self.follow_well("--model", "compass")

    def test_head_with_zoom_positions(self):
        run, _ = self.follow_well("--model", "k47")
        zooms = {status[7] for status in run.statuses() if status[2] == "running"}
        self.assertGreater(len(zooms), 2)

    def test_slow_head(self):
        self.follow_well("--model", "slow-head")

    def test_fast_head(self):
        """Which swings when processes are held up."""
        self.measured(lambda: self.follow_well("--model", "fast-head"))

    def test_mechanical_head_follows_in_its_own_picture(self):
        """Whose picture holds everybody when it looks at the middle of a group, far from each."""
        _, report = self.follow("--model", "mechanical")
        shares = [score["density"]["recognised"]["share"]
                  for score in (report["score"], report["baselines"]["home"])]
        self.assertGreaterEqual(shares[0], LEAST_RECOGNISED, report["score"])
        self.assertEqual(0, shares[1], "a parked head recognises nobody")

    def test_recording_eth(self):
        self.follow_recording("eth.csv")

    def test_recording_zara01(self):
        self.follow_recording("zara01.csv")


class PredictiveFollowTest(FollowRun):
    """The same people, with a head that is led by what was identified of it."""

    following = "predictive"
    seconds = LONG_ENOUGH + 40  # the head is identified, too

    def test_head_is_identified_and_follows_by_prediction(self):
        run, report = self.follow()
        self.assert_goes_home(run)
        # Of several people it frames all, so that how far it is off one of them says little.
        recognised = report["score"]["density"]["recognised"]["share"]
        self.assertGreaterEqual(recognised, LEAST_RECOGNISED_BY_PREDICTION, report["score"])
        print(f"measured: recognised for {recognised:.2f} of the time", flush=True)
        self.assertIs(True, report["tuning"]["identified"])
        self.assertEqual(["head.json"], [file.name for file in self.state.glob("head*")])
        self.assertIn("The head answers after", (self.report / "syslog.txt").read_text())

    def test_realistic_device_runs_when_none_is_named_and_shows_people_large(self):
        self.follow_around(AROUND_BY_PREDICTION)

    def test_recording_zara01(self):
        self.follow_recording("zara01.csv")
