"""The frames that the daemon gets while it is measured: people who walk in the lower part of the
picture, and one more, the runner, wherever the measurement wants it."""

import struct
import subprocess

HEADER = struct.Struct("<6I")  # magic, length, version, numbers of properties, objects and events
PROPERTY = struct.Struct("<2I")  # number, count of values
OBJECT = struct.Struct("<iI")  # id, number of properties
TIMESTAMP, POLYGON, VELOCITY = 0, 6, 7
ONE = 4096  # half the picture

RUNNER = 1000  # its id
RUNNER_SIZE = (0.04, 0.2)
HIGHEST_HEAD = 0.15  # of those who walk: above, the picture is the runner's own
CANDIDATES = 120


def read_film(program, people, per_second):
    """A list of frames, each with the bytes of the same people's objects."""
    film = subprocess.run([program, "--film", str(CANDIDATES), str(4 * per_second),
                           str(per_second)], stdout=subprocess.PIPE, check=True).stdout
    frames = []
    position = 0
    while position < len(film):
        (size,) = struct.unpack_from("<I", film, position)
        frames.append(read_objects(film[position + 4:position + 4 + size]))
        position += 4 + size
    low = [number for number in frames[0]
           if all(number in frame and frame[number][1] < HIGHEST_HEAD * ONE for frame in frames)]
    if len(low) < people:
        raise RuntimeError(f"only {len(low)} people stay in the lower part of the picture")
    return [[frame[number][0] for number in low[:people]] for frame in frames]


def read_objects(frame):
    """By id: the object's bytes and the highest y of its outline."""
    properties, count = HEADER.unpack_from(frame)[3:5]
    position = HEADER.size
    for _ in range(properties):
        position += PROPERTY.size + 8 * PROPERTY.unpack_from(frame, position)[1]
    objects = {}
    for _ in range(count):
        start = position
        number, properties = OBJECT.unpack_from(frame, position)
        position += OBJECT.size
        highest = -ONE
        for _ in range(properties):
            kind, values = PROPERTY.unpack_from(frame, position)
            position += PROPERTY.size
            if kind == POLYGON:
                highest = max(struct.unpack_from(f"<{values}i", frame, position)[1::2])
            position += 4 * values
        objects[number] = (frame[start:position], highest)
    return objects


def runner_at(x, y):
    """An object in the shape of somebody, around a point of the picture."""
    width, height = RUNNER_SIZE
    shape = [(-0.5, 0.3), (-0.2, 0.5), (0.2, 0.5), (0.5, 0.3), (0.4, -0.1), (0.3, -0.5),
             (-0.3, -0.5), (-0.4, -0.1)]
    values = [round(ONE * value) for dx, dy in shape for value in (x + dx * width, y + dy * height)]
    return (OBJECT.pack(RUNNER, 2) + integers(POLYGON, values) + integers(VELOCITY, [0, 0]))


def integers(kind, values):
    return PROPERTY.pack(kind, len(values)) + struct.pack(f"<{len(values)}i", *values)


def make_frame(objects, microseconds, magic, version):
    """As the scene socket sends it: the length and the time, big-endian, and the frame."""
    body = PROPERTY.pack(TIMESTAMP, 1) + struct.pack("<q", microseconds) + b"".join(objects)
    size = HEADER.size + len(body)
    return (struct.pack(">Iq", size, microseconds) +
            HEADER.pack(magic, size, version, 1, len(objects), 0) + body)
