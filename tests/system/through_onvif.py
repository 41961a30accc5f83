"""A run whose camera stands outside, and says itself how things are."""

import re

ADDRESS = re.compile(r"camera: ONVIF: http://127\.0\.0\.1:(\d+)/onvif/device_service$")
# What the outer camera itself says of the nearest person and of the head.
TRUTH = re.compile(r"camera: +[0-9.]+ s .* error +([0-9.]+) ")
FOLLOWED = 3.0  # degrees; a head at home is 20 off


def wait_until_followed(run, start=0):
    for _ in range(3):
        start = run.output.wait_for(
            lambda line: (m := TRUTH.match(line)) and float(m[1]) < FOLLOWED,
            "somebody who is followed", start=start)
