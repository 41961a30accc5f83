"""Stands between the daemon and the channel of the remote head, and spoils its answers."""

import pathlib
import time

from frame_gate import read_until
from journal import Journal
from scene_gate import SceneGate, cut

CHANNEL_SOCKET = pathlib.Path("/run/strata/ptz/channel1")
PAUSE = 0.005  # seconds between two bytes


# What becomes of an answer, a line; False ends the connection.

def whole(daemon, line):
    daemon.sendall(line)
    return True


def not_ready(daemon, _):
    daemon.sendall(b"0 0\n")
    return True


def cut_short(daemon, line):
    daemon.sendall(line[:line.index(b"=") // 2])
    return False


def half_a_name(daemon, line):
    """Half a product number, and never the rest."""
    daemon.sendall(line[:line.index(b"=") + 3] if b".ProdNbr=" in line else line)
    return True


def byte_by_byte(daemon, line):
    for place in range(len(line)):
        daemon.sendall(line[place:place + 1])
        time.sleep(PAUSE)
    return True


def once_for_each_connection(daemon, line):
    daemon.sendall(line)
    return False


class HeadGate(SceneGate):
    def __init__(self, way):
        self.way = way
        self.answers = Journal()
        super().__init__(CHANNEL_SOCKET)

    def _pass(self, source, target, from_daemon):
        if from_daemon:
            super()._pass(source, target, True)
            return
        try:
            while line := read_until(source, b"\n"):
                self.answers.append(line)
                if not self.way(target, line):
                    break
        except OSError:
            pass
        cut(source)
        cut(target)
