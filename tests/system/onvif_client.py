"""Clients of the virtual device's ONVIF side: those of others, and one that speaks plain SOAP."""

import fcntl
import http.client
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent / "onvif"
ADDRESS = re.compile(r"ONVIF: http://127\.0\.0\.1:(\d+)/onvif/device_service$")
PREFIXES = {
    "s": "http://www.w3.org/2003/05/soap-envelope",
    "tt": "http://www.onvif.org/ver10/schema",
    "tds": "http://www.onvif.org/ver10/device/wsdl",
    "trt": "http://www.onvif.org/ver10/media/wsdl",
    "tr2": "http://www.onvif.org/ver20/media/wsdl",
    "tan": "http://www.onvif.org/ver20/analytics/wsdl",
    "tptz": "http://www.onvif.org/ver20/ptz/wsdl",
    "tev": "http://www.onvif.org/ver10/events/wsdl",
    "wsnt": "http://docs.oasis-open.org/wsn/b-2",
    "wsa": "http://www.w3.org/2005/08/addressing",
}


def port_of(run):
    """Of a run of script/run --onvif."""
    position = run.output.wait_for(ADDRESS.match, "the ONVIF camera's address")
    return int(ADDRESS.match(run.output.entries()[position - 1])[1])


def modules():
    """The folder of the clients' packages, which are installed into the build folder once."""
    folder = pathlib.Path(os.environ["SENTREL_BUILD"]) / "onvif"
    folder.mkdir(exist_ok=True)
    with (folder / "install.lock").open("w", encoding="utf-8") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        wanted = (HERE / "package-lock.json").read_bytes()
        installed = folder / "installed-lock.json"
        if not installed.exists() or installed.read_bytes() != wanted:
            for name in ("package.json", "package-lock.json"):
                shutil.copy(HERE / name, folder)
            # Nothing of its own may get into the output of the tests' daemon.
            subprocess.run(["npm", "ci", "--no-fund", "--no-audit"], cwd=folder, check=True,
                           stdout=sys.stderr)
            installed.write_bytes(wanted)
    return folder / "node_modules"


def node(script, *arguments):
    """Starts a client; its output is text."""
    return subprocess.Popen(["node", str(HERE / script), *map(str, arguments)],
                            env=os.environ | {"NODE_PATH": str(modules())},
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def results(client, patience=60):
    """What a client was told; an AssertionError with what it complains of."""
    output, errors = client.communicate(timeout=patience)
    assert client.returncode == 0, errors
    return json.loads(output)


def cam(port, steps, user="", password="", login=""):
    return results(node("cam.js", port, user, password, json.dumps(steps), login))


def envelope(body):
    names = " ".join(f'xmlns:{prefix}="{name}"' for prefix, name in PREFIXES.items())
    return f"<s:Envelope {names}><s:Body>{body}</s:Body></s:Envelope>".encode()


def post(port, body, path="/onvif/device_service"):
    """Sends a body as it is; returns the status and the answer's bytes."""
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=60)
    try:
        connection.request("POST", path, body, {"Content-Type": "application/soap+xml"})
        response = connection.getresponse()
        return response.status, response.read()
    finally:
        connection.close()


def check(document):
    """An AssertionError when xmllint finds anything wrong."""
    result = subprocess.run(["xmllint", "--noout", "--nonet", "--nodefdtd", "-"], input=document,
                            capture_output=True)
    assert result.returncode == 0 and not result.stderr, (document, result.stderr)
