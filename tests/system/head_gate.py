"""Stands between the daemon and the channel of the remote head, and spoils its answers."""

import fcntl
import pathlib
import struct
import termios
import time

from frame_gate import read_until
from journal import Journal, wait_until
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
    """Half a product number, which is long enough for one, and never the rest."""
    is_name = b".ProdNbr=" in line
    daemon.sendall(line[:line.index(b"=") + 6] if is_name else line)
    return not is_name


def in_two_reads(daemon, line):
    """Half a value; its rest comes when the daemon has read that."""
    value = line.index(b"=") + 1
    place = max(value + 1, len(line) - 3)
    daemon.sendall(line[:place])
    wait_until(lambda: is_read(daemon), "the daemon's first read")
    daemon.sendall(line[place:])
    return True


def is_read(connection):
    """Whether all that was sent has been read."""
    unread = fcntl.ioctl(connection, termios.TIOCOUTQ, bytes(4))
    return struct.unpack("i", unread)[0] == 0


def first_answers(count):
    """So many answers, over all connections, and not a word after them."""
    left = iter(range(count))

    def answer(daemon, line):
        if next(left, None) is not None:
            daemon.sendall(line)
        return True

    return answer


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
