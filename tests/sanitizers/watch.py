"""Runs a command and fails when a sanitizer reported anything in any of its processes.

    watch.py COMMAND [ARGUMENT...]

What a system test starts runs in a namespace, detaches itself or writes to an output that nobody
reads. Its sanitizers therefore write into files of one folder, which SENTREL_SANITIZER_REPORTS
names and which the test's namespace lets through.
"""

import os
import pathlib
import subprocess
import sys
import tempfile

REPORTS = "SENTREL_SANITIZER_REPORTS"
LONGEST = 20000  # characters of one report that are shown


def with_log_path(environment, folder):
    options = {name: f"{environment[name]}:" if environment.get(name) else ""
               for name in ("ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS")}
    logs = {name: f"{value}log_path={folder}/report" for name, value in options.items()}
    return environment | logs | {REPORTS: str(folder)}


def main(command):
    with tempfile.TemporaryDirectory(prefix="sentrel-sanitizer-") as name:
        folder = pathlib.Path(name)
        status = subprocess.run(command, env=with_log_path(dict(os.environ), folder)).returncode
        reports = sorted(folder.iterdir())
        for report in reports:
            text = report.read_text(encoding="utf-8", errors="replace")
            print(f"\n---- {report.name}\n{text[:LONGEST]}", flush=True)
    if reports:
        print(f"A sanitizer reported something in {len(reports)} processes.")
        return 1
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
