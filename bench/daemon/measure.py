"""Measures the running daemon: what it costs, how soon it answers to frames, how soon it serves.

Runs in a namespace of its own beside the virtual device, in the place of whose scene service it
sends frames itself. Prints the results as JSON.
"""

import ctypes
import json
import os
import pathlib
import re
import socket
import statistics
import subprocess
import sys
import threading
import time

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPOSITORY / "tests" / "system"))

# pylint: disable=wrong-import-position
import namespace  # noqa: E402
from bus_monitor import BusMonitor  # noqa: E402
from camera import (BUS_SOCKET, CONFIGURATION, HTTP_SOCKET, LOCALDATA, PR_SET_CHILD_SUBREAPER,
                    SCENE_SOCKET, SETTINGS, TUNED, Daemon, Device, is_listening, program)  # noqa: E402
from frames import make_frame, read_film, runner_at  # noqa: E402
from journal import wait_until  # noqa: E402

MAGIC, VERSION = 0x314e4353, 1
CHANNELS = 4
PEOPLE = 20  # in each channel's picture, the runner included
RATES = (10, 25)  # frames a second
LOAD_SECONDS = 30
HEAD_SECONDS = 40
IDLE_SECONDS = 10
WARM_UP_SECONDS = 4
STARTS = 10
LOOK_SECONDS = 0.0002  # between two looks whether it serves

# The daemon's threads in the order in which they are made, with those of the libraries.
THREADS = ["main", "signals", "interval timer", "main loop", "glib worker", "message bus",
           "tracker", *(f"camera {number}" for number in range(1, CHANNELS + 1)), "web server"]

TIME = re.compile(r"time=([0-9.]+)")
BELOW, BAND = (0.0, -0.5), 0.55  # where the runner is when it is to be nowhere; the alarm's band
WHOLE_PICTURE = [[-0.97, -0.97], [-0.97, 0.97], [0.97, 0.97], [0.97, -0.97]]
UPPER_BAND = [[-0.97, 0.35], [-0.97, 0.97], [0.97, 0.97], [0.97, 0.35]]
FILTERS = [{"type": "sizePercentage", "data": [5, 5], "active": True},
           {"type": "timeShortLivedLimit", "data": 1, "active": True},
           {"type": "distanceSwayingObject", "data": 5, "active": True}]


# ---- What the daemon is asked to do ----

def watching(everybody):
    """A profile for the runner on each camera, and beside it the default one for everybody."""
    profiles = []
    for camera in range(1, CHANNELS + 1):
        profiles.append(profile(10 + camera, camera, UPPER_BAND, [], 0))
        if everybody:
            profiles.append(profile(camera, camera, WHOLE_PICTURE, FILTERS, 5_000_000))
    cameras = [{"id": camera, "active": True, "rotation": 0} for camera in range(1, CHANNELS + 1)]
    return {"apiVersion": "1.0", "context": "", "method": "setConfiguration",
            "params": {"cameras": cameras, "profiles": profiles, "configurationStatus": 0}}


def profile(uid, camera, area, filters, hold):
    return {"uid": uid, "camera": camera, "name": f"Profile {uid}", "priority": 1,
            "xinternalEventDuration": hold, "triggers": [{"type": "includeArea", "data": area}],
            "filters": filters, "perspective": []}


def runner_event(channel):
    return f"Camera{channel + 1}Profile{11 + channel}"


# ---- The device's side ----

class TimedMonitor(BusMonitor):
    """Happenings with the time at which they passed on the bus, seconds since the epoch."""

    def _read(self, head, body):
        seconds = float(TIME.search(head)[1])
        for happening in super()._read(head, body):
            yield seconds, happening


class SceneService:
    """Sends the frames of all channels, spread over the time between two frames of one."""

    def __init__(self):
        self._connections = {}  # by channel
        self._listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._listener.bind(str(SCENE_SOCKET))
        self._listener.listen()
        threading.Thread(target=self._accept, daemon=True).start()

    def is_connected(self):
        return len(self._connections) == CHANNELS

    def forget(self):
        self._connections = {}

    def _accept(self):
        while True:
            connection, _ = self._listener.accept()
            line = b""
            while not line.endswith(b"\n"):
                received = connection.recv(1)
                if not received:
                    break
                line += received
            else:
                connection.sendall(b"1.0 OK\0")
                self._connections[int(line.split()[-1]) - 1] = connection

    def play(self, film, per_second, seconds, runner):
        """Shows the film; runner: where the runner is, by channel and frame. Returns the runner's
        moves as (time, channel, place)."""
        moves = []
        places = [None] * CHANNELS
        start = time.monotonic()
        for number in range(round(seconds * per_second) * CHANNELS):
            channel, frame = number % CHANNELS, number // CHANNELS
            pause = start + number / (per_second * CHANNELS) - time.monotonic()
            if pause > 0:
                time.sleep(pause)
            place = runner(channel, frame)
            data = make_frame([*film[frame % len(film)], runner_at(*place)],
                              time.monotonic_ns() // 1000, MAGIC, VERSION)
            now = time.time()
            self._connections[channel].sendall(data)
            if place != places[channel]:
                places[channel] = place
                moves.append((now, channel, place))
        return moves


# ---- Figures ----

def read_tasks(pid):
    """By thread: processor seconds, and how often it gave the processor up or lost it."""
    tasks = {}
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        status = dict(line.split(":\t", 1)
                      for line in (task / "status").read_text().splitlines() if ":\t" in line)
        ran = int((task / "schedstat").read_text().split()[0]) / 1e9
        tasks[int(task.name)] = (status["Name"], ran, int(status["voluntary_ctxt_switches"]),
                                 int(status["nonvoluntary_ctxt_switches"]))
    return tasks


def read_memory(pid):
    """KiB."""
    found = {}
    for file, keys in (("smaps_rollup", ("Rss", "Pss", "Private_Clean", "Private_Dirty")),
                       ("status", ("VmHWM",))):
        for line in pathlib.Path(f"/proc/{pid}/{file}").read_text().splitlines():
            name, _, value = line.partition(":")
            if name in keys:
                found[name] = int(value.split()[0])
    return {"peak_rss_kib": found["VmHWM"], "rss_kib": found["Rss"], "pss_kib": found["Pss"],
            "private_kib": found["Private_Clean"] + found["Private_Dirty"]}


class Cost:
    """What the daemon uses from now to the end."""

    def __init__(self, pid):
        self._pid = pid
        self._before = read_tasks(pid)
        self._start = time.monotonic()

    def end(self):
        seconds = time.monotonic() - self._start
        threads = []
        tasks = read_tasks(self._pid)
        for task, (name, ran, yielded, lost) in sorted(tasks.items()):
            _, ran_before, yielded_before, lost_before = self._before.get(task, (name, 0, 0, 0))
            threads.append({"name": name, "cpu_share": (ran - ran_before) / seconds,
                            "wakeups_per_s": (yielded - yielded_before) / seconds,
                            "preemptions_per_s": (lost - lost_before) / seconds})
        if len(threads) == len(THREADS):
            for thread, name in zip(threads, THREADS):
                thread["name"] = name
        return {"cpu_share": sum(thread["cpu_share"] for thread in threads),
                "wakeups_per_s": sum(thread["wakeups_per_s"] for thread in threads),
                "threads": len(threads), **read_memory(self._pid), "by_thread": threads}


def summary(delays):
    """Milliseconds."""
    if not delays:
        return {"count": 0}
    ordered = sorted(1000 * delay for delay in delays)
    last = ordered[min(len(ordered) - 1, round(0.99 * (len(ordered) - 1)))]
    return {"count": len(ordered), "median_ms": statistics.median(ordered), "p99_ms": last,
            "largest_ms": ordered[-1]}


def event_delays(moves, entries):
    """From each frame in which the runner came or went to the alarm's event that tells so."""
    delays = []
    for number in range(CHANNELS):
        sent = [(when, happening.value) for when, happening in entries
                if happening.what == "sent" and happening.name == runner_event(number)]
        own = [(when, place) for when, channel, place in moves if channel == number]
        for (when, place), following in zip(own, [*own[1:], (float("inf"), None)]):
            answer = next((time_sent for time_sent, value in sent
                           if when <= time_sent < following[0] and value == (place != BELOW)),
                          None)
            if answer is not None:
                delays.append(answer - when)
    return delays


def head_delays(moves, entries):
    """From each frame in which the runner jumped to the other side to the first command that turns
    the head there."""
    commands = [(when, happening.value.pan) for when, happening in entries
                if happening.what == "move"]
    fastest = max((abs(pan) for _, pan in commands), default=0)
    delays = []
    for (when, _, place), following in zip(moves, moves[1:]):
        side = 1 if place[0] > 0 else -1
        answer = next((time_sent for time_sent, pan in commands
                       if when <= time_sent < following[0] and side * pan > 0.2 * fastest), None)
        if answer is not None:
            delays.append(answer - when)
    return delays


# ---- The measurements ----

def tell(text):
    print("bench:", text, file=sys.stderr, flush=True)


def start_surroundings():
    ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    LOCALDATA.mkdir(parents=True)
    SETTINGS.write_text(TUNED, encoding="utf-8")
    BUS_SOCKET.parent.mkdir()
    pathlib.Path("/run/strata").mkdir()
    subprocess.Popen(["dbus-daemon", f"--config-file={REPOSITORY}/device/bus/system.conf",
                      "--nofork", "--nosyslog"])
    wait_until(lambda: is_listening(BUS_SOCKET), "the message bus")
    device = Device("--model", "perfect-compass", "--transport", "socket", "--quiet", "--head-boot", "0")
    wait_until(lambda: is_listening(SCENE_SOCKET), "the virtual device")
    SCENE_SOCKET.unlink()
    return device


def start_daemon(service):
    """The daemon, serving, and the seconds until then."""
    HTTP_SOCKET.unlink(missing_ok=True)
    service.forget()
    start = time.monotonic()
    daemon = Daemon()
    while not (HTTP_SOCKET.exists() and is_listening(HTTP_SOCKET)):
        time.sleep(LOOK_SECONDS)
    seconds = time.monotonic() - start
    wait_until(service.is_connected, "the daemon's cameras")
    return daemon, seconds


def configure(everybody):
    CONFIGURATION.write_text(json.dumps(watching(everybody)), encoding="utf-8")


def measure_starts(service):
    seconds = []
    for _ in range(STARTS):
        daemon, taken = start_daemon(service)
        seconds.append(taken)
        daemon.end()
    return summary(seconds)


def measure_load(service, monitor, daemon, rate):
    """Every half second the runner comes into the band or leaves it."""
    film = read_film(program("sentrel_bench"), PEOPLE - 1, rate)
    half = rate // 2

    def runner(channel, frame):
        x = -0.5 + 0.3 * channel
        return (x, BAND) if frame // half % 2 else BELOW

    service.play(film, rate, WARM_UP_SECONDS, runner)
    start = len(monitor.journal)
    cost = Cost(daemon.pid)
    moves = service.play(film, rate, LOAD_SECONDS, runner)
    result = cost.end()
    time.sleep(1)
    # At the first frame the runner may be where it was.
    delays = event_delays(moves[CHANNELS:], monitor.journal.entries(start))
    return {**result, "frame_to_event": summary(delays)}


def measure_head(service, monitor):
    """Nobody but the first camera's runner is watched; every second it jumps to the other side."""
    rate = RATES[0]
    film = read_film(program("sentrel_bench"), PEOPLE - 1, rate)

    def runner(channel, frame):
        if channel != 0:
            return BELOW
        return (0.5 if frame // rate % 2 else -0.5, BAND)

    service.play(film, rate, WARM_UP_SECONDS, runner)
    start = len(monitor.journal)
    moves = service.play(film, rate, HEAD_SECONDS, runner)
    time.sleep(1)
    jumps = [move for move in moves if move[1] == 0][1:]
    return summary(head_delays(jumps, monitor.journal.entries(start)))


def measure():
    device = start_surroundings()
    service = SceneService()
    monitor = TimedMonitor()
    results = {"channels": CHANNELS, "people in each": PEOPLE, "profiles of each": 2}
    tell("starts")
    configure(everybody=True)
    results["start_to_serving"] = measure_starts(service)
    daemon, _ = start_daemon(service)
    time.sleep(WARM_UP_SECONDS)
    tell("without frames")
    cost = Cost(daemon.pid)
    time.sleep(IDLE_SECONDS)
    results["no frames"] = cost.end()
    for rate in RATES:
        tell(f"{CHANNELS} channels x {rate} frames a second x {PEOPLE} people")
        results[f"{rate} frames a second"] = measure_load(service, monitor, daemon, rate)
    daemon.end()
    tell("head")
    configure(everybody=False)
    daemon, _ = start_daemon(service)
    results["frame_to_head_command"] = measure_head(service, monitor)
    daemon.end()
    device.end()
    return results


if __name__ == "__main__":
    namespace.enter(os.environ["SENTREL_BUILD"])
    print(json.dumps(measure(), indent=2))
