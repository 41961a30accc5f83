"""Scene frames as the host's libscene reads them, with people that the test makes up."""

import struct
import time

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
