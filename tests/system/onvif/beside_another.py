"""In a namespace with a network of its own: the bridge beside a camera by others.

beside_another.py BUILD_FOLDER MODULES

Writes what its search finds, then what the set-up's page is told of the camera and of its head.
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import time
import urllib.request

HERE = pathlib.Path(__file__).resolve().parent
REPOSITORY = HERE.parents[2]
PAGE = re.compile(r"The page: (http://127\.0\.0\.1:\d+)/$")
PATIENCE = 60  # seconds


def line_of(process, pattern):
    for line in process.stdout:
        if found := re.search(pattern, line.rstrip("\n")):
            return found
    sys.exit(f"nothing like {pattern} was said")


def call(page, method, **params):
    body = json.dumps({"method": method, "params": params}).encode()
    with urllib.request.urlopen(f"{page}/api/setup", body, timeout=PATIENCE) as answer:
        return json.load(answer)["data"]


def wait_for(page, part):
    deadline = time.monotonic() + PATIENCE
    while (state := call(page, "getSetUp")[part]) is None or state["running"]:
        if time.monotonic() > deadline:
            sys.exit(f"{part} does not end")
        time.sleep(0.05)
    return state


def main(build, modules):
    subprocess.run("ip link set lo up && ip route add 224.0.0.0/4 dev lo src 127.0.0.1", shell=True,
                   check=True)
    bridge = pathlib.Path(build) / "bin" / "sentrelvideo-onvif"
    libraries = os.environ | {"LD_LIBRARY_PATH": f"{build}/lib"}
    camera = subprocess.Popen(["node", HERE / "other_camera.js"], stdout=subprocess.PIPE, text=True,
                              env=os.environ | {"NODE_PATH": modules})
    line_of(camera, "listening")
    found = subprocess.run([bridge, "--find"], env=libraries, stdout=subprocess.PIPE, text=True,
                           check=True).stdout
    running = subprocess.Popen(
        [REPOSITORY / "device/bus/session", bridge, "--settings", "/tmp/cameras.json", "--port", "0",
         "--web", REPOSITORY / "device/web", "--daemon", "/bin/false"],
        env=libraries, stdout=subprocess.PIPE, text=True)
    page = line_of(running, PAGE)[1]
    call(page, "inspect", address=found.split()[0])
    told = {"found": found, "camera": wait_for(page, "camera")}
    token = told["camera"]["profiles"][0]["token"]
    call(page, "checkHead", profile=token, zoom=False)
    told["check"] = wait_for(page, "check")
    print(json.dumps(told))
    for process in (running, camera):
        process.terminate()
        process.wait()


if __name__ == "__main__":
    main(*sys.argv[1:])
