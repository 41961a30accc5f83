"""Runs a command as if the machine had been up for some time: at_age.py SECONDS COMMAND [ARGUMENT...]

In a time namespace, in which the monotonic clock and the one that counts sleep too begin elsewhere;
the time of day is the machine's.
"""

import os
import sys
import time

CLOCKS = {"monotonic": time.CLOCK_MONOTONIC, "boottime": time.CLOCK_BOOTTIME}


def present_offsets():
    """Seconds by clock, of the namespace that this process is in: new offsets count from the
    machine's clocks, too."""
    with open("/proc/self/timens_offsets", encoding="ascii") as file:
        return {clock: int(seconds) for clock, seconds, _ in map(str.split, file)}


def options(age):
    offsets = present_offsets()
    for clock, number in CLOCKS.items():
        yield f"--{clock}={offsets[clock] + age - int(time.clock_gettime(number))}"


def main(age, *command):
    # Only root may do it without a user namespace, in which there would be no other user.
    user = [] if os.geteuid() == 0 else ["--user", "--map-current-user"]
    os.execvp("unshare", ["unshare", *user, "--time", *options(int(age)), "--fork",
                          "--kill-child", "--", *command])


if __name__ == "__main__":
    if len(sys.argv) < 3 or not sys.argv[1].isdecimal():
        sys.exit("Usage: at_age.py SECONDS COMMAND [ARGUMENT...]")
    main(*sys.argv[1:])
