"""A run whose camera stands outside, and says itself how things are."""

import math
import re

from camera import comm
from journal import wait_until
from processes import descendants_of

ADDRESS = re.compile(r"camera: ONVIF: http://127\.0\.0\.1:(\d+)/onvif/device_service$")
# What the outer camera itself says of the nearest person and of the head.
TRUTH = re.compile(r"camera: +[0-9.]+ s .* error +([0-9.]+) ")
FOLLOWED = 3.0  # degrees; a head at home is 20 off
STAYS = 600  # seconds
ROUND = 40  # seconds
RADIUS = 4  # metres


def somebody_who_stays():
    """A recording of one person who walks round and round: generated ones are all away at times."""
    rows = ["time_s,id,x_m,y_m"]
    for step in range(STAYS * 5 + 1):
        turn = 2 * math.pi * step / 5 / ROUND
        rows.append(f"{step / 5:.1f},1,{RADIUS * math.cos(turn):.3f},{RADIUS * math.sin(turn):.3f}")
    return "\n".join(rows) + "\n"


def wait_until_followed(run, start=0):
    for _ in range(3):
        start = run.output.wait_for(
            lambda line: (m := TRUTH.match(line)) and float(m[1]) < FOLLOWED,
            "somebody who is followed", start=start)


def process_of(run, name):
    """Of a run; comm has 15 letters at most."""
    def find():
        return [pid for pid in descendants_of(run.pid) if comm(pid) == name[:15]]

    wait_until(find, name)
    return find()[0]
