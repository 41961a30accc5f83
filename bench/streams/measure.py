"""Measures what five pictures at once cost the virtual device: those of four overview cameras and of
a head that moves all the time, each watched as H.264 by a client.

measure.py [--build FOLDER] [--seconds SECONDS]: prints the results as JSON. Processor time is that of
the device's process; what it wants does not depend on how busy the machine is as long as all pictures
come, which is told, too.
"""

import argparse
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import urllib.request

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
SERVICE = re.compile(r"http://127\.0\.0\.1:\d+/onvif/device_service")
STREAMS = ("head", "overview1", "overview2", "overview3", "overview4")
PATIENCE = 60  # seconds until all pictures come
SWEEP_SECONDS = 10  # of the head to one side
SPEED = 0.05  # of its fullest: some degrees a second
MODEL = "ideal"  # four overview cameras
TICKS = os.sysconf("SC_CLK_TCK")


def tell(text):
    print("bench:", text, file=sys.stderr, flush=True)


def wait_for(condition, what):
    end = time.monotonic() + PATIENCE
    while not (found := condition()):
        if time.monotonic() > end:
            sys.exit(f"bench: no {what} within {PATIENCE} s")
        time.sleep(0.1)
    return found


def ask(service, body):
    message = (f'<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope"><s:Body>{body}'
               "</s:Body></s:Envelope>")
    request = urllib.request.Request(service, message.encode(),
                                     {"Content-Type": "application/soap+xml"})
    with urllib.request.urlopen(request, timeout=PATIENCE) as answer:
        return answer.read().decode()


def stream_address(service):
    answer = ask(service, '<GetStreamUri xmlns="http://www.onvif.org/ver20/media/wsdl">'
                          "<ProfileToken>head</ProfileToken></GetStreamUri>")
    return re.search(r"rtsp://[^<]*(?=/head)", answer)[0]


def move(service, speed):
    ask(service, '<ContinuousMove xmlns="http://www.onvif.org/ver20/ptz/wsdl">'
                 "<ProfileToken>head</ProfileToken><Velocity>"
                 f'<PanTilt xmlns="http://www.onvif.org/ver10/schema" x="{speed}" y="0"/>'
                 "</Velocity><Timeout>PT60S</Timeout></ContinuousMove>")


def device_of(run):
    """The device's process among the descendants of a run."""
    parents = {}
    names = {}
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            name, fields = (folder / "stat").read_text().rsplit(")", 1)
        except OSError:
            continue
        names[int(folder.name)] = name.split("(", 1)[1]
        parents[int(folder.name)] = int(fields.split()[1])

    def is_of_run(pid):
        while pid in parents and pid != run:
            pid = parents[pid]
        return pid == run

    return next((pid for pid, name in names.items()
                 if name == "virtual_device" and is_of_run(pid)), None)


def cpu_seconds(pid):
    """By thread's name; those of one name together."""
    times = {}
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        name, fields = (task / "stat").read_text().rsplit(")", 1)
        name = name.split("(", 1)[1]
        ticks = sum(int(field) for field in fields.split()[11:13])
        times[name] = times.get(name, 0) + ticks / TICKS
    return times


def pictures_of(files):
    return [sum(1 for line in file.read_text().splitlines() if not line.startswith("#"))
            for file in files]


def watch(address, folder):
    """One client for each picture, and where each notes its pictures."""
    files = [folder / f"{name}.txt" for name in STREAMS]
    clients = [subprocess.Popen(
        ["ffmpeg", "-nostdin", "-loglevel", "error", "-rtsp_transport", "tcp", "-i",
         f"{address}/{name}", "-map", "0:v", "-c", "copy", "-flush_packets", "1", "-f", "framecrc", file])
        for name, file in zip(STREAMS, files)]
    return clients, files


def sweep(service, seconds):
    """The head to and fro."""
    end = time.monotonic() + seconds
    side = 1
    while (left := end - time.monotonic()) > 0:
        move(service, side * SPEED)
        time.sleep(min(left, SWEEP_SECONDS))
        side = -side


def measure(run, log, folder, seconds):
    service = wait_for(lambda: SERVICE.search(log.read_text()), "ONVIF camera")[0]
    clients, files = watch(stream_address(service), folder)
    try:
        wait_for(lambda: all(file.exists() for file in files) and min(pictures_of(files)) > 10,
                 "pictures")
        device = device_of(run.pid)
        tell(f"{len(STREAMS)} pictures for {seconds} s")
        move(service, SPEED)
        before, seen, start = cpu_seconds(device), pictures_of(files), time.monotonic()
        sweep(service, seconds)
        after, told, wall = cpu_seconds(device), pictures_of(files), time.monotonic() - start
    finally:
        for client in clients:
            client.terminate()
            client.wait()
    threads = {name: round(spent - before.get(name, 0), 2) for name, spent in sorted(after.items())}
    whole = sum(threads.values())
    counts = [end - begin for begin, end in zip(seen, told)]
    return {"seconds": round(wall, 1), "pictures_per_second": [round(count / wall, 2) for count in counts],
            "cpu_seconds": round(whole, 1), "cores": round(whole / wall, 3),
            "ms_per_picture": round(1000 * whole / sum(counts), 2), "cpu_seconds_by_thread": threads}


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default=REPOSITORY / "build" / "bench")
    parser.add_argument("--seconds", type=float, default=60)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "state").mkdir()
        # Nobody but the measurement moves the head.
        (folder / "state" / "sentrelvideo.json").write_text('{"sentrel_enabled":false}',
                                                            encoding="utf-8")
        log = folder / "run.log"
        with log.open("w", encoding="utf-8") as output, subprocess.Popen(
                [REPOSITORY / "script" / "run", "--build", arguments.build, "--port", "0",
                 "--onvif", "0", "--model", MODEL, "--state", folder / "state"], stdout=output,
                stderr=subprocess.STDOUT) as run:
            try:
                print(json.dumps(measure(run, log, folder, arguments.seconds), indent=2))
            finally:
                run.terminate()


if __name__ == "__main__":
    main()
