#!/usr/bin/env python3
"""Computes a run's score again from its samples and compares it with its report.

  recompute_score.py FOLDER

FOLDER holds report.json and samples.csv. Nothing of the product is used: what the figures mean is written
down here a second time, from docs/following.md. Prints what differs; the exit status is 0 when nothing does.
"""

import csv
import json
import math
import pathlib
import sys

DENSITIES = {"detected": 25.0, "recognised": 125.0, "identified": 250.0}  # pixels a metre
WIDTH = 0.5  # metres, of a person
PATIENCE = 2.0  # seconds
LATE = 2.0  # seconds of a stay, from which on an error is a late one
SETTLED = 0.1  # of the picture's width
MOVES = 0.5  # degrees a second
ZOOMS = 0.05  # of the magnification, a second
EPSILON = 1e-9

# Poses among which the best fixed one is sought: steps of pan and tilt, degrees, and fields of the widest.
GRID = (15, 10)
FIELDS = (1.0, 0.7, 0.5, 0.3)
MOMENTS = 60  # on which a pose is tried
REFINED = 5  # of the grid, tried on all samples
LEFT_OVER = 0.02  # of the time, that a search by another way may find more

# A sample that lies within rounding of a threshold may fall to either side of it.
RELATIVE = 2e-3
ABSOLUTE = 2e-3


class Camera:
    """The head's picture as a pinhole's: rows of a rotation, and the tangents of half its field."""

    def __init__(self, pose, setup):
        pan, tilt = math.radians(pose[0]), math.radians(pose[1])
        sp, cp, st, ct = math.sin(pan), math.cos(pan), math.sin(tilt), math.cos(tilt)
        self.right = (cp, -sp, 0.0)
        self.ahead = (sp * ct, cp * ct, st)
        self.up = (-sp * st, -cp * st, ct)
        self.mast = setup["mast_height_m"]
        self.tan_x = math.tan(math.radians(pose[2]) / 2)
        self.tan_y = self.tan_x * setup["picture_height_px"] / setup["picture_width_px"]
        self.pixels = setup["picture_width_px"]

    def see(self, x, y, z):
        """Right, up and ahead of the lens, metres."""
        ray = (x, y, z - self.mast)
        return tuple(sum(a * b for a, b in zip(axis, ray))
                     for axis in (self.right, self.up, self.ahead))

    def holds(self, seen):
        right, up, ahead = seen
        return (ahead > 0.01 and abs(right) <= ahead * self.tan_x
                and abs(up) <= ahead * self.tan_y)


class Look:
    """One person in one picture."""

    def __init__(self, camera, person):
        x, y, height = person["x"], person["y"], person["height"]
        middle = camera.see(x, y, height / 2)
        length = math.sqrt(sum(part * part for part in middle))
        self.error = math.degrees(math.atan2(math.hypot(middle[0], middle[1]), middle[2]))
        assert length > 0
        self.middle_in = camera.holds(middle)
        away = math.hypot(x, y)
        dx, dy = (y / away * WIDTH / 2, -x / away * WIDTH / 2) if away > 0 else (WIDTH / 2, 0.0)
        self.whole = all(camera.holds(camera.see(x + side * dx, y + side * dy, z))
                         for side in (-1, 1) for z in (0.0, height))
        self.density = camera.pixels / (2 * camera.tan_x * middle[2]) if middle[2] > 0.01 else 0.0
        self.cover = self.covered(camera, x, y, height)

    @staticmethod
    def covered(camera, x, y, height):
        """Cuts the line from feet to crown where it leaves the picture, by what is visible of 2 ends."""
        low, high = camera.see(x, y, 0.0), camera.see(x, y, height)
        start, end = 0.0, 1.0
        for inside in (lambda p: p[2] - 0.01,
                       lambda p: p[2] * camera.tan_x - p[0], lambda p: p[2] * camera.tan_x + p[0],
                       lambda p: p[2] * camera.tan_y - p[1], lambda p: p[2] * camera.tan_y + p[1]):
            a, b = inside(low), inside(high)
            if a < 0 and b < 0:
                return 0.0
            if a < 0:
                start = max(start, a / (a - b))
            elif b < 0:
                end = min(end, a / (a - b))
        if start >= end:
            return 0.0
        ends = [[l + share * (h - l) for l, h in zip(low, high)] for share in (start, end)]
        return (ends[1][1] / ends[1][2] - ends[0][1] / ends[0][2]) / (2 * camera.tan_y)


def read_samples(path):
    """Samples that are scored: time, pose, the clairvoyant head's pose, people."""
    samples = []
    with open(path, newline="", encoding="utf-8") as file:
        for row in csv.DictReader(file):
            if row["scored"] != "1":
                continue
            time = float(row["time_s"])
            if not samples or samples[-1]["time"] != time:
                samples.append({
                    "time": time,
                    "head": [float(row[f"{key}_deg"]) for key in ("pan", "tilt", "field")],
                    "bound": [float(row[f"bound_{key}_deg"]) for key in ("pan", "tilt", "field")],
                    "people": []})
            if row["person"] and row["counts"] == "1":
                samples[-1]["people"].append({
                    "id": int(row["person"]), "x": float(row["x_m"]), "y": float(row["y_m"]),
                    "height": float(row["height_m"])})
    return samples


def over_time(pairs, share):
    """The least value that is not exceeded for a share of the time."""
    total, passed = sum(seconds for _, seconds in pairs), 0.0
    for value, seconds in sorted(pairs):
        passed += seconds
        if passed >= share * total - EPSILON:
            return value
    return max(pairs)[0]


def of_values(values, share):
    return sorted(values)[max(math.ceil(share * len(values) - EPSILON), 1) - 1]


def errors_of(pairs):
    total = sum(seconds for _, seconds in pairs)
    if total <= 0:
        return None
    return {"median": over_time(pairs, 0.5), "p95": over_time(pairs, 0.95),
            "rms": math.sqrt(sum(value ** 2 * seconds for value, seconds in pairs) / total)}


def ratio(part, whole):
    return part / whole if whole > 0 else None


class Following:
    """Whom the head follows."""

    def __init__(self):
        self.who = None
        self.seen = 0.0
        self.other = None
        self.since = 0.0
        self.changes = 0

    def step(self, time, field, looks):
        before = self.who
        if self.who not in looks or self.is_over(time, field, looks):
            self.who = None
        if self.who is None and looks:
            self.who = min(looks, key=lambda who: looks[who].error)
            self.seen = time
            self.other = None
        if before in looks and self.who != before:
            self.changes += 1

    def is_over(self, time, field, looks):
        if looks[self.who].middle_in:
            self.seen = time
        if time - self.seen >= PATIENCE - EPSILON:
            return True
        nearest = min(looks, key=lambda who: looks[who].error)
        if nearest == self.who or looks[nearest].error > SETTLED * field:
            self.other = None
            return False
        if self.other != nearest:
            self.other, self.since = nearest, time
        return time - self.since >= PATIENCE - EPSILON


class Turns:
    """Counts how often a rate changes its sign."""

    def __init__(self, least):
        self.least = least
        self.sign = 0
        self.count = 0

    def step(self, rate):
        if abs(rate) >= self.least:
            sign = 1 if rate > 0 else -1
            self.count += sign == -self.sign
            self.sign = sign


def motion_of(samples, poses):
    pan, tilt, zoom = Turns(MOVES), Turns(MOVES), Turns(ZOOMS)
    total = squares = 0.0
    starts, moved, before = 0, False, None
    for i in range(1, len(samples)):
        dt = samples[i]["time"] - samples[i - 1]["time"]
        way = (poses[i][0] - poses[i - 1][0] + 180) % 360 - 180
        rates = (way / dt, (poses[i][1] - poses[i - 1][1]) / dt)
        pan.step(rates[0])
        tilt.step(rates[1])
        zoom.step(math.log(poses[i - 1][2] / poses[i][2]) / dt)
        moves = math.hypot(*rates) > MOVES
        starts += moves and not moved
        moved = moves
        if before:
            squares += sum(((a - b) / dt) ** 2 for a, b in zip(rates, before)) * dt
        before = rates
        total += dt
    if total <= 0:
        return {"starts_per_s": 0.0, "reversals_per_s": 0.0, "acceleration_rms": 0.0,
                "zoom_reversals_per_s": 0.0}
    return {"starts_per_s": starts / total, "reversals_per_s": (pan.count + tilt.count) / total,
            "acceleration_rms": math.sqrt(squares / total),
            "zoom_reversals_per_s": zoom.count / total}


class Stays:
    """Who counts without a break, and when each was recognised."""

    def __init__(self):
        self.present = None
        self.all = []

    def step(self, time, dt, looks):
        present = {}
        # Who is there at the first sample has entered before.
        is_first = self.present is None
        before = self.present or {}
        for who, look in looks.items():
            stay = before.get(who)
            if stay is None:
                stay = {"who": who, "alone": len(looks) == 1 and not is_first, "since": time, "seconds": 0.0,
                        "after": None}
                self.all.append(stay)
            stay["seconds"] += dt
            if stay["after"] is None and look.whole and look.density >= DENSITIES["recognised"]:
                stay["after"] = time - stay["since"]
            present[who] = stay
        self.present = present

    def time_since_entering(self, who, time):
        return time - self.present[who]["since"]

    def first_of(self, who):
        return next(stay for stay in self.all if stay["who"] == who)

    def figures(self):
        alone = [stay for stay in self.all if stay["alone"]]
        values = [stay["seconds"] if stay["after"] is None else stay["after"] for stay in alone]
        return {"count": len(alone), "never": sum(stay["after"] is None for stay in alone),
                "median_s": of_values(values, 0.5) if values else None,
                "p90_s": of_values(values, 0.9) if values else None}


class People:
    """How everybody who ever counted was shown, and followed."""

    SHARES = {"in_picture": lambda look: look.middle_in,
              "share_20": lambda look: look.cover >= 0.2, "share_40": lambda look: look.cover >= 0.4,
              **{name: lambda look, least=least: look.whole and look.density >= least
                 for name, least in DENSITIES.items()}}

    def __init__(self):
        self.all = {}

    def step(self, dt, looks):
        for who, look in looks.items():
            one = self.all.setdefault(who, {"seconds": 0.0, "errors": [], "late": [],
                                            **{name: 0.0 for name in self.SHARES}})
            one["seconds"] += dt
            for name, is_shown in self.SHARES.items():
                one[name] += dt if is_shown(look) else 0.0

    def follow(self, who, error, is_late):
        self.all[who]["errors"].append(error)
        if is_late:
            self.all[who]["late"].append(error)

    def figures(self, stays):
        """By id, as the report has them."""
        for who, one in sorted(self.all.items()):
            first = stays.first_of(who)
            yield {"id": who, "seconds": one["seconds"],
                   **{name: ratio(one[name], max(one["seconds"], EPSILON)) for name in self.SHARES},
                   "acquisition_s": first["seconds"] if first["after"] is None else first["after"],
                   "recognised_at_first": first["after"] is not None,
                   "followed_seconds": sum(seconds for _, seconds in one["errors"]),
                   "error_deg": errors_of(one["errors"]), "late_error_deg": errors_of(one["late"])}


def score(samples, poses, setup):
    """The score of heads that look where poses say."""
    return score_and_people(samples, poses, setup)[0]


def score_and_people(samples, poses, setup):
    total = somebody = people_time = 0.0
    dense = {name: 0.0 for name in DENSITIES}
    dense_people = dict(dense)
    large = {0.2: 0.0, 0.4: 0.0}
    middle = 0.0
    following, stays, people, errors, widths = Following(), Stays(), People(), [], []
    last = None
    for sample, pose in zip(samples, poses):
        dt = 0.0 if last is None else sample["time"] - last
        last = sample["time"]
        camera = Camera(pose, setup)
        looks = {person["id"]: Look(camera, person) for person in sample["people"]}
        total += dt
        somebody += dt if looks else 0.0
        people_time += dt * len(looks)
        for name, least in DENSITIES.items():
            count = sum(look.whole and look.density >= least for look in looks.values())
            dense[name] += dt if count else 0.0
            dense_people[name] += dt * count
        for least in large:
            large[least] += dt if any(look.cover >= least for look in looks.values()) else 0.0
        middle += dt if any(look.middle_in for look in looks.values()) else 0.0
        stays.step(sample["time"], dt, looks)
        people.step(dt, looks)
        following.step(sample["time"], pose[2], looks)
        if following.who is not None:
            error = looks[following.who].error
            errors.append((error, dt))
            widths.append((error / pose[2], dt))
            stayed = stays.time_since_entering(following.who, sample["time"])
            people.follow(following.who, (error, dt), stayed >= LATE - EPSILON)
    result = {
        "seconds": total, "seconds_with_somebody": somebody, "person_seconds": people_time,
        "density": {name: {"pixels_per_m": least, "share": ratio(dense[name], somebody),
                           "person_share": ratio(dense_people[name], people_time),
                           "seconds": dense[name], "person_seconds": dense_people[name]}
                    for name, least in DENSITIES.items()},
        "share_20": ratio(large[0.2], somebody), "share_40": ratio(large[0.4], somebody),
        "in_picture": ratio(middle, somebody), "acquisition": stays.figures(),
        "error_deg": errors_of(errors), "error_width": errors_of(widths),
        "followed_changes": following.changes}
    result.update(motion_of(samples, poses))
    return result, list(people.figures(stays))


def rates_of(samples, poses, axis):
    """Degrees a second from sample to sample; 0 is pan, 1 is tilt."""
    for sample, following, pose, other in zip(samples, samples[1:], poses, poses[1:]):
        dt = following["time"] - sample["time"]
        way = other[axis] - pose[axis]
        yield dt, (way if axis else (way + 180) % 360 - 180) / dt


def beyond(samples, poses, head):
    """Yields how the clairvoyant head moves otherwise than the head could."""
    for axis, name in enumerate(("pan", "tilt")):
        limits = head[name]
        rates = list(rates_of(samples, poses, axis))
        fastest = max((abs(rate) for _, rate in rates), default=0)
        hardest = max((abs(rate - before) / max(dt, dt_before) for (dt_before, before), (dt, rate)
                       in zip(rates, rates[1:])), default=0)
        for value, key in ((fastest, "speed_deg_per_s"), (hardest, "acceleration_deg_per_s2")):
            if value > limits[key] * (1 + RELATIVE) + ABSOLUTE:
                yield f"bound: {name} reaches {value:.1f}, {key} is {limits[key]}"


def grid_of(head):
    for pan in range(math.ceil(head["pan"]["low_deg"]), math.floor(head["pan"]["high_deg"]) + 1, GRID[0]):
        for tilt in range(math.ceil(max(head["tilt"]["low_deg"], -60)),
                          math.floor(min(head["tilt"]["high_deg"], 0)) + 1, GRID[1]):
            for part in FIELDS:
                field = max(head["widest_field_deg"] * part, head["narrowest_field_deg"])
                yield (pan, tilt, field)


def large_share(samples, pose, setup):
    """The share of samples with somebody in which somebody covers 20 % of the picture's height."""
    camera = Camera(pose, setup)
    large = sum(any(Look.covered(camera, one["x"], one["y"], one["height"]) >= 0.2
                    for one in sample["people"]) for sample in samples)
    return large / len(samples)


def better_poses(samples, share, setup):
    """Yields what of a grid of poses earns more than the best fixed one is said to."""
    samples = [sample for sample in samples if sample["people"]]
    if not samples:
        return
    some = samples[::math.ceil(len(samples) / MOMENTS)]
    grid = sorted(grid_of(setup["head"]), key=lambda pose: large_share(some, pose, setup))
    for pose in grid[-REFINED:]:
        found = large_share(samples, pose, setup)
        if found > share + LEFT_OVER:
            yield f"fixed: share_20 is {share}, but {found} at {pose}"


def differences(reported, computed, place=""):
    """Yields what is not the same."""
    if isinstance(computed, dict) and isinstance(reported, dict):
        for key in sorted(reported.keys() | computed.keys()):
            if key == "pose":
                continue
            if key not in reported or key not in computed:
                yield f"{place}.{key} is only on one side"
            else:
                yield from differences(reported[key], computed[key], f"{place}.{key}")
    elif isinstance(computed, list) and isinstance(reported, list):
        if len(reported) != len(computed):
            yield f"{place}: {len(reported)} are reported, {len(computed)} computed"
        for number, (one, other) in enumerate(zip(reported, computed)):
            yield from differences(one, other, f"{place}[{number}]")
    elif reported is None or computed is None:
        if reported is not computed:
            yield f"{place}: reported {reported}, computed {computed}"
    elif abs(reported - computed) > ABSOLUTE + RELATIVE * abs(computed):
        yield f"{place}: reported {reported}, computed {computed}"


def recompute(folder):
    """Returns what differs between a folder's report and what its samples say."""
    report = json.loads((folder / "report.json").read_text(encoding="utf-8"))
    samples = read_samples(folder / "samples.csv")
    setup = report["setup"]
    poses = {"score": [sample["head"] for sample in samples],
             "bound": [sample["bound"] for sample in samples]}
    computed, people = score_and_people(samples, poses["score"], setup)
    found = list(differences(report["score"], computed, "score"))
    found += differences(report["people"], people, "people")
    for name in ("home", "fixed", "bound"):
        reported = report["baselines"][name]
        if "pose" in reported:
            pose = [reported["pose"][f"{key}_deg"] for key in ("pan", "tilt", "field")]
            poses[name] = [pose] * len(samples)
        found += differences(reported, score(samples, poses[name], setup), name)
    found += beyond(samples, poses["bound"], setup["head"])
    found += better_poses(samples, report["baselines"]["fixed"]["share_20"], setup)
    return found


def main(arguments):
    if len(arguments) != 1:
        print(__doc__, file=sys.stderr)
        return 2
    found = recompute(pathlib.Path(arguments[0]))
    for line in found:
        print(line)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
