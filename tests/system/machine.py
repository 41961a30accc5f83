"""Whether this machine has the time for what is measured on it.

Processes that control something in real time are held up where others are in the way, be they other
machines on the same processors: what is measured then says nothing about the processes."""

import select
import subprocess
import sys
import time

PERIOD = 0.01  # seconds
LATE = 0.005  # seconds; who wakes up so much later was held up
MOST_LATE = 0.01  # of all times; one processor in twenty that is somebody else's makes no difference
ATTEMPTS = 3
LEAST_LOOKS = 100
NO_TIME = "The time that this takes is not on this machine: others are in the way"


class Watch:
    """Wakes up over and over beside what is measured, until it is asked how that went."""

    def __init__(self):
        self._process = subprocess.Popen([sys.executable, "-B", __file__], stdin=subprocess.PIPE,
                                         stdout=subprocess.PIPE, text=True)
        self._process.stdout.readline()  # it has begun

    def had_time(self):
        output, _ = self._process.communicate()
        late, looks = map(int, output.split())
        print(f"Held up {late} of {looks} times", flush=True)
        return had_time(late, looks)


def had_time(late, looks):
    return looks >= LEAST_LOOKS and late < MOST_LATE * looks


def measured(test, attempt, begin_anew):
    """An attempt that fails counts if the machine had the time for it; else begins anew."""
    for _ in range(ATTEMPTS):
        watch = Watch()
        failure = None
        try:
            attempt()
        except AssertionError as error:
            failure = error
        finally:
            had_enough = watch.had_time()
        if failure is None:
            return
        if had_enough:
            raise failure
        begin_anew()
    test.skipTest(NO_TIME)


def watch_until_asked():
    looks = late = 0
    while True:
        before = time.monotonic()
        is_asked = bool(select.select([sys.stdin], [], [], PERIOD)[0])
        if is_asked:
            break
        looks += 1
        late += time.monotonic() - before - PERIOD > LATE
        if looks == 1:
            print("watching", flush=True)
    print(late, looks)


if __name__ == "__main__":
    watch_until_asked()
