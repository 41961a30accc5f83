"""A camera in a namespace of its own: the message bus, the virtual device and the daemon."""

import ctypes
import os
import pathlib
import select
import signal
import socket
import subprocess
import unittest

from bus_monitor import BusMonitor
from journal import PATIENCE, Journal, wait_until
from namespace import REPOSITORY
from processes import children_of

LOCALDATA = pathlib.Path("/usr/local/packages/sentrelvideo/localdata")
CONFIGURATION = LOCALDATA / "config.json"
SETTINGS = LOCALDATA / "sentrelvideo.json"
HTTP_SOCKET = pathlib.Path("/run/strata/http/SentrelVideo")
SCENE_SOCKET = pathlib.Path("/run/strata/scenes")
SUBSCRIBER_SOCKET = pathlib.Path("/run/strata/subscriber")
BUS_SOCKET = pathlib.Path("/run/dbus/system_bus_socket")

ENABLED = '{"sentrel_enabled":true,"return_to_home_enabled":true}'
# The camera of the tests, unless they name another one: what a test of the mechanics checks must not
# depend on chance.
MODEL = "perfect"
# As an earlier run with the head of that model leaves it.
TUNED = ('{"sentrel_enabled":true,"return_to_home_enabled":true,"camera_name":"TRK-100",'
         '"pan_kp":2.5,"pan_ki":0.15,"pan_kd":0.1,"tilt_kp":2.5,"tilt_ki":0.15,"tilt_kd":0.1}')

PR_SET_CHILD_SUBREAPER = 36


def program(name):
    return str(pathlib.Path(os.environ["SENTREL_BUILD"]) / "bin" / name)


def is_listening(path):
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as probe:
        return probe.connect_ex(str(path)) == 0


class CameraTest(unittest.TestCase):
    """A bus that is watched, and the settings of a camera whose tracking is switched on."""

    in_namespace = True
    settings = ENABLED

    def setUp(self):
        # Detached processes come to this one, and the default actions of signals to them.
        ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
        for number in (signal.SIGINT, signal.SIGHUP, signal.SIGTERM):
            signal.signal(number, signal.SIG_DFL)
        LOCALDATA.mkdir(parents=True)
        SETTINGS.write_text(self.settings, encoding="utf-8")
        BUS_SOCKET.parent.mkdir()
        pathlib.Path("/run/strata").mkdir()
        self.start_bus()

    def start_bus(self):
        self.bus_process = subprocess.Popen(
            ["dbus-daemon", f"--config-file={REPOSITORY}/device/bus/system.conf", "--nofork",
             "--nosyslog"])
        wait_until(lambda: is_listening(BUS_SOCKET), "the message bus")
        self.bus = BusMonitor()

    def start_device(self, *options):
        self.device = Device(*options)
        wait_until(lambda: is_listening(SUBSCRIBER_SOCKET), "the virtual device")

    def start_daemon(self, *sandbox):
        self.daemon = Daemon(*sandbox)

    def wait_for_attempts(self):
        """While the daemon waits for the scene source, it looks for the device again and again."""
        position = 0
        for _ in range(3):
            position = self.bus.wait_for("sought", "com.orva.EventService", start=position)

    def wait_until_serving(self):
        wait_until(lambda: is_listening(HTTP_SOCKET), "the daemon's answer to the web server")


class Device:
    """The virtual device without a daemon of its own; output holds its lines."""

    def __init__(self, *options):
        self.process = subprocess.Popen(
            [program("virtual_device"), "--models", str(REPOSITORY / "device" / "models"),
             "--model", MODEL, "--following", "specified", *options],
            stdout=subprocess.PIPE, text=True)
        self.output = Journal()
        self.output.follow(line.rstrip("\n") for line in self.process.stdout)

    def log_lines(self):
        return [line for line in self.output.entries() if "  SentrelVideo: " in line]

    def wait_for_log(self, text):
        self.output.wait_for(lambda line: line.endswith("  SentrelVideo: " + text), text)

    def end(self):
        self.process.terminate()
        return self.process.wait(PATIENCE)


class Daemon:
    """The daemon, which detaches itself; sandbox: a command that starts it elsewhere."""

    def __init__(self, *sandbox):
        subprocess.run([*sandbox, program("sentrelvideo")], check=True)
        found = [pid for pid in children() if comm(pid) == "sentrelvideo"]
        assert len(found) == 1, f"daemons: {found}"
        self.pid = found[0]
        self._descriptor = os.pidfd_open(self.pid)

    def send(self, number):
        os.kill(self.pid, number)

    def wait(self, patience=PATIENCE):
        """Returns the exit status, or minus the signal that ended it."""
        if not select.select([self._descriptor], [], [], patience)[0]:
            raise AssertionError(
                f"the daemon did not end within {patience} s\n{stacks_of(self.pid)}")
        os.close(self._descriptor)
        return os.waitstatus_to_exitcode(os.waitpid(self.pid, 0)[1])

    def end(self):
        self.send(signal.SIGTERM)
        return self.wait()

    def has_pending(self, number):
        """True while a signal was sent to the process and not yet taken."""
        return bool(int(self._status("ShdPnd"), 16) >> (number - 1) & 1)

    def _status(self, key):
        for line in pathlib.Path(f"/proc/{self.pid}/status").read_text().splitlines():
            name, _, value = line.partition(":")
            if name == key:
                return value.strip()
        raise AssertionError(f"no {key} of process {self.pid}")


def stacks_of(pid):
    """What each thread of a process is at: all that is left of a test that is not seen again."""
    try:
        found = subprocess.run(
            ["gdb", "--batch", "--pid", str(pid), "--eval-command", "thread apply all backtrace"],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=60, check=False)
        return found.stdout
    except (OSError, subprocess.TimeoutExpired) as error:
        return f"no stacks: {error}"


def children():
    return children_of("self")


def comm(pid):
    return pathlib.Path(f"/proc/{pid}/comm").read_text().strip()
