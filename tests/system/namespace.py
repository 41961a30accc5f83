"""The private namespace in which a test has a camera of its own at the camera's fixed paths."""

import glob
import os
import pathlib
import subprocess
import sys

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
MARK = "SENTREL_TEST_NAMESPACE"
PACKAGES = "/usr/local/packages"
AGE = "SENTREL_TEST_AGE"  # seconds for which the machine seems to have been up when a test begins


def enter_age():
    """Starts this very program again on a machine of the age that is asked for."""
    if age := os.environ.pop(AGE, None):
        at_age = REPOSITORY / "tests" / "at_age.py"
        os.execv(sys.executable, [sys.executable, "-B", str(at_age), age,
                                  sys.executable, "-B", *sys.argv])


def enter(build):
    """Starts this very program again inside a namespace, unless it is there already."""
    if MARK in os.environ:
        return
    require()
    os.environ.pop("DBUS_SYSTEM_BUS_ADDRESS", None)
    os.environ[MARK] = "1"
    build = os.path.realpath(build)
    os.environ["LD_LIBRARY_PATH"] = os.path.join(build, "lib")
    os.execvp("bwrap", ["bwrap", *arguments(build), "--", sys.executable, "-B", *sys.argv])


def require():
    probe = ["bwrap", "--unshare-pid", "--ro-bind", "/", "/", "--dev", "/dev", "--proc", "/proc"]
    try:
        result = subprocess.run([*probe, "true"], capture_output=True, text=True)
    except FileNotFoundError:
        sys.exit("System tests need bubblewrap: script/bootstrap installs it.")
    if result.returncode != 0:
        sys.exit("System tests need a private namespace, and this machine does not let bubblewrap "
                 f"make one:\n  {result.stderr.strip()}\n"
                 "Allow it (as root: sysctl kernel.unprivileged_userns_clone=1), or run the tests "
                 "where it is allowed. Unit tests do not need it: script/test --unit")


def arguments(build):
    # The host is there to read; /run, /dev, /tmp and /usr/local are the test's own.
    options = ["--die-with-parent", "--unshare-pid", "--ro-bind", "/", "/", "--dev", "/dev",
               "--proc", "/proc", "--tmpfs", "/run", "--tmpfs", "/tmp", "--tmpfs", "/usr/local"]
    for entry in sorted(glob.glob("/usr/local/*")):
        if entry != PACKAGES:
            options += ["--ro-bind", entry, entry]
    for folder in (str(REPOSITORY), build):
        options += ["--ro-bind", folder, folder]
    if reports := os.environ.get("SENTREL_SANITIZER_REPORTS"):
        options += ["--bind", reports, reports]
    return [*options, "--chdir", str(REPOSITORY)]
