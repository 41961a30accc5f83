"""A scene gate that sends frames of the test's own, sound or broken, at the device's pace."""

import select
import struct
import threading

from journal import Journal
from scene_gate import SceneGate, cut

HEADER = struct.Struct(">i8x")


class Cut(Exception):
    """To be raised by a source: sends what it holds, then ends the connection."""


class Stall(Exception):
    """To be raised by a source: sends what it holds, then nothing until the connection ends."""


class FrameGate(SceneGate):
    """sources: by channel (from 1), what is sent in the place of each frame; a channel without one
    gets the device's own. mute: the channels whose requests are taken and never answered."""

    def __init__(self, path, sources):
        self.sources = dict(sources)
        self.mute = set()
        self.muted = Journal()  # the channel of each request that was not answered
        self.stalled = Journal()  # connections that were stalled
        self._channels = {}
        super().__init__(path)

    def _pass(self, source, target, from_daemon):
        if from_daemon:
            if line := read_until(source, b"\n"):
                self._pass_request(line, source, target)
            super()._pass(source, target, True)
            return
        try:
            self._pass_frames(source, target)
        except (OSError, EOFError):
            pass
        cut(source)
        cut(target)

    def _pass_request(self, line, daemon, device):
        channel = channel_of(line)
        if channel in self.mute:
            self.muted.append(channel)
            wait_for_end(daemon)
            return
        with self._lock:
            self._channels[device] = channel
        send(device, line)

    def _pass_frames(self, device, daemon):
        # Both kinds of answers begin with what they end with elsewhere: "1.0 OK\0", "OK\n".
        first = read_exactly(device, 1)
        daemon.sendall(first + read_until(device, b"\n" if first in b"ON" else b"\0"))
        with self._lock:
            channel = self._channels[device]
        while True:
            header = read_exactly(device, HEADER.size)
            frame = header + read_exactly(device, HEADER.unpack(header)[0])
            make = self.sources.get(channel)
            try:
                daemon.sendall(make() if make else frame)
            except Cut as last:
                daemon.sendall(last.args[0])
                return
            except Stall as last:
                daemon.sendall(last.args[0])
                self.stalled.append(daemon)
                wait_for_end(daemon)
                return


def wait_for_end(connection):
    poll = select.poll()
    poll.register(connection, select.POLLHUP | select.POLLRDHUP)
    poll.poll()


def channel_of(line):
    words = line.decode().split()
    return int(words[1]) + 1 if words[0] == "SUBSCRIBE" else int(words[-1])


def receive(connection, count):
    try:
        return connection.recv(count)
    except OSError:
        return b""


def send(connection, data):
    try:
        connection.sendall(data)
    except OSError:
        pass  # the other end was faster


def read_exactly(connection, count):
    data = b""
    while len(data) < count:
        part = connection.recv(count - len(data))
        if not part:
            raise EOFError
        data += part
    return data


def read_until(connection, end):
    """Empty when the connection ends before."""
    data = b""
    while not data.endswith(end):
        part = receive(connection, 1)
        if not part:
            return b""
        data += part
    return data


def once(make, broken):
    """A source that sends something broken first: bytes, or an exception that is raised."""
    pending = [broken]
    lock = threading.Lock()

    def source():
        with lock:
            first = pending.pop() if pending else None
        if isinstance(first, Exception):
            raise first
        return make() if first is None else first

    return source
