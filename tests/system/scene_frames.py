"""Scene frames as the host's libscene reads them: with people that the test makes up, or as they come."""

import socket
import struct
import time

from journal import Journal

MAGIC = 0x314E4353
VERSION = 1
TIMESTAMP, POLYGON, VELOCITY = 0, 6, 7
DELETE, DELETED_IDS = 0, 9

FRAMES_PER_SECOND = 10  # of the virtual device

WIDTH, HEIGHT = 500, 1000  # of a person, Q12
LEFT, RIGHT = -1500, 1500  # between which people walk to and fro
SPEED = 1000  # Q12 per second


def now():
    """Microseconds of the clock that frames are stamped with."""
    return time.monotonic_ns() // 1000


def properties(number, values, kind="i"):
    return struct.pack(f"<II{len(values)}{kind}", number, len(values), *values)


def encode(objects, timestamp=None, deleted=()):
    """objects: (id, x, y, velocity in x) of upright rectangles, positions in Q12."""
    body = properties(TIMESTAMP, [now() if timestamp is None else timestamp], "q")
    for number, x, y, velocity in objects:
        left, right = x - WIDTH // 2, x + WIDTH // 2
        low, high = y - HEIGHT // 2, y + HEIGHT // 2
        body += struct.pack("<iI", number, 2)
        body += properties(POLYGON, [left, low, left, high, right, high, right, low])
        body += properties(VELOCITY, [velocity, 0])
    if deleted:
        body += struct.pack("<II", DELETE, 1) + properties(DELETED_IDS, list(deleted))
    head = struct.pack("<IIIIII", MAGIC, 24 + len(body), VERSION, 1, len(objects),
                       1 if deleted else 0)
    return head + body


def packed(frame, length=None):
    """A frame as it stands in the stream: announced length, a time that nobody reads, payload."""
    return struct.pack(">iq", len(frame) if length is None else length, 0) + frame


class Walker:
    """A person who is always there and always on the move; one step for each frame."""

    def __init__(self, number=1, left=LEFT, right=RIGHT):
        self.number = number
        self.y = 0
        self._left, self._right = left, right
        self._x = left
        self._velocity = SPEED

    def step(self):
        self._x += self._velocity // FRAMES_PER_SECOND
        if not self._left < self._x < self._right:
            self._velocity = -self._velocity
        return self.number, self._x, self.y, self._velocity

    def __call__(self):
        return packed(encode([self.step()]))


class SceneReader:
    """What a device or the bridge tells of one channel, as the daemon gets it."""

    def __init__(self, pid, channel):
        """pid: of the process whose namespace has the socket; channel from 0."""
        self.frames = Journal()
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._socket.connect(f"/proc/{pid}/root/run/strata/subscriber")
        self._socket.sendall(f"SUBSCRIBE {channel} 7\n".encode())
        self._stream = self._socket.makefile("rb")
        answer = self._stream.readline()
        assert answer == b"OK\n", answer
        self.frames.follow(self._read())

    def _read(self):
        try:
            while head := self._stream.read(12):
                yield Frame(self._stream.read(struct.unpack(">iq", head)[0]))
        except (OSError, struct.error):
            pass  # it has ended

    def close(self):
        self._socket.shutdown(socket.SHUT_RDWR)
        self._socket.close()


class Frame:
    """time: microseconds of the monotonic clock; boxes: (left, low, right, high) in Q12, by id."""

    def __init__(self, text):
        self._text, self._at = text, 0
        _, _, _, scene, objects, events = self._take("<IIIIII")
        self.time = self._properties(scene)[TIMESTAMP][0]
        self.boxes = {}
        for _ in range(objects):
            number, count = self._take("<iI")
            points = self._properties(count)[POLYGON]
            self.boxes[number] = (min(points[::2]), min(points[1::2]),
                                  max(points[::2]), max(points[1::2]))
        self.deleted = set()
        for _ in range(events):
            action, count = self._take("<II")
            told = self._properties(count)
            if action == DELETE:
                self.deleted.update(told[DELETED_IDS])

    def _take(self, form):
        values = struct.unpack_from(form, self._text, self._at)
        self._at += struct.calcsize(form)
        return values

    def _properties(self, count):
        found = {}
        for _ in range(count):
            number, length = self._take("<II")
            found[number] = self._take(f"<{length}{'q' if number == TIMESTAMP else 'i'}")
        return found
