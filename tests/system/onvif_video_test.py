"""The pictures of the virtual device's cameras, decoded by a program that others have written."""

import collections
import datetime
import gzip
import math
import re
import socket
import statistics
import subprocess
import time
from xml.etree import ElementTree

from namespace import REPOSITORY
from onvif_client import PREFIXES, cam, check, port_of
from run_script import RunTest
from web import EventStream, Web

PATIENCE = 240  # seconds for what takes 10 s where nothing else runs
WIDTH, HEIGHT = 160, 90  # pixels in which pictures are compared
CHANGE = 16  # of 255; noise is averaged away in so small a picture
NEAR = 20  # metres from the mast
WALK = 900  # seconds for which somebody goes to and fro
ROUND = 12  # seconds to where he was
WAY = 2.0  # metres to each side
AHEAD = 8.0  # metres before the mast
FOLLOWS = re.compile(r"x([2-9]|\d{2,})\.\d+  error +[0-2]\.\d")  # a line of the run: closely
TT = "{" + PREFIXES["tt"] + "}"
STREAMS = ("head", "overview1", "overview2", "overview3", "overview4")


def ffmpeg(address, *options, frames=100, transport=("-rtsp_transport", "tcp")):
    return subprocess.Popen(
        ["ffmpeg", "-nostdin", "-loglevel", "error", *transport, "-i", address,
         "-frames:v", str(frames), *options, "-"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def output_of(process):
    output, errors = process.communicate(timeout=PATIENCE)
    assert process.returncode == 0, errors
    return output


def probe(address):
    """Codec, width and height of each stream, or the status in the refusal."""
    result = subprocess.run(
        ["ffprobe", "-loglevel", "error", "-rtsp_transport", "tcp", "-show_entries",
         "stream=codec_name,width,height", "-select_streams", "v", "-of", "csv=print_section=0", address],
        capture_output=True, text=True, timeout=PATIENCE)
    return result.stdout.split() if result.returncode == 0 else result.stderr


def project(channel, mast, x, y, z):
    """Where a camera without distortion sees a place, in pixels."""
    pan, tilt = math.radians(channel["pan"]), math.radians(channel["tilt"])
    right = x * math.cos(pan) - y * math.sin(pan)
    ahead = x * math.sin(pan) + y * math.cos(pan)
    depth = ahead * math.cos(tilt) + (z - mast) * math.sin(tilt)
    up = (z - mast) * math.cos(tilt) - ahead * math.sin(tilt)
    half = math.tan(math.radians(channel["hfov"]) / 2)
    return (WIDTH / 2 * (1 + right / depth / half),
            HEIGHT / 2 - WIDTH / 2 * up / depth / half)


def to_and_fro():
    """Somebody who walks before the first camera all the time, however long its pictures take to come."""
    rows = ["time_s,id,x_m,y_m"]
    for step in range(WALK * 5 + 1):
        now = step / 5
        rows.append(f"{now:.1f},1,{WAY * math.sin(2 * math.pi * now / ROUND):.3f},{AHEAD}")
    return "\n".join(rows) + "\n"


def changed_places(pictures):
    """Of each picture: what is unlike the background, which is what is there most of the time."""
    background = [statistics.median_low(values) for values in zip(*pictures)]
    return [{(i % WIDTH, i // WIDTH) for i, (now, usual) in enumerate(zip(picture, background))
             if abs(now - usual) > CHANGE} for picture in pictures]


# What a document tells: seconds since 1970; by object its box, and its outline.
ToldFrame = collections.namedtuple("ToldFrame", "time boxes")


def told_frames(stream):
    return [frame for document in stream.split(b"<?xml")[1:]
            for frame in frames_of(b"<?xml" + document)]


def frames_of(document):
    check(document)
    for frame in ElementTree.fromstring(document).iter(TT + "Frame"):
        moment = datetime.datetime.fromisoformat(frame.get("UtcTime").replace("Z", "+00:00"))
        boxes = {}
        for thing in frame.iter(TT + "Object"):
            box = next(thing.iter(TT + "BoundingBox"))
            outline = [(float(point.get("x")), float(point.get("y")))
                       for point in thing.iter(TT + "Point")]
            boxes[int(thing.get("ObjectId"))] = (
                {side: float(value) for side, value in box.attrib.items()}, outline)
        yield ToldFrame(moment.timestamp(), boxes)


def is_same(frame, objects):
    """Whether a frame tells these objects of the truth."""
    if set(frame.boxes) != {thing["id"] for thing in objects}:
        return False
    for thing in objects:
        box, outline = frame.boxes[thing["id"]]
        xs, ys = zip(*thing["polygon"])
        # Four decimals of what is in steps of 1/4096.
        if max(abs(box["left"] - min(xs)), abs(box["right"] - max(xs)), abs(box["bottom"] - min(ys)),
               abs(box["top"] - max(ys))) > 4e-4 or len(outline) != len(thing["polygon"]):
            return False
        if any(math.dist(one, other) > 1e-4 for one, other in zip(outline, thing["polygon"])):
            return False
    return True


def is_middle(place, box):
    return (abs(2 * place[0] - box["left"] - box["right"]) < 0.25 * (box["right"] - box["left"]) and
            abs(2 * place[1] - box["bottom"] - box["top"]) < 0.25 * (box["top"] - box["bottom"]))


def places_of_people(entries, model, moment):
    """Where the first camera sees those who are near it at a moment, between what the truth tells
    before and after it; -1 to 1, y upwards."""
    worlds = [message.data for message in entries if message.kind == "world"]
    before = [world for world in worlds if world["time"] <= moment]
    after = [world for world in worlds if world["time"] > moment]
    if not before or not after:
        return []
    first, last = before[-1], after[0]
    share = (moment - first["time"]) / (last["time"] - first["time"])
    places = []
    for person in first["people"]:
        later = next((other for other in last["people"] if other["id"] == person["id"]), None)
        if later is None or not 4 < person["y"] < NEAR:
            continue
        place = (person[axis] + share * (later[axis] - person[axis]) for axis in ("x", "y"))
        x, y = project(model["channels"][0], model["mast_height_m"], *place, person["height"] / 2)
        x, y = 2 * x / WIDTH - 1, 1 - 2 * y / HEIGHT
        if max(abs(x), abs(y)) < 0.8:
            places.append((x, y))
    return places


class OnvifVideoTest(RunTest):
    def start_streams(self, *options):
        run = self.start("--port", "0", "--model", "ideal", "--onvif", "0", *options)
        return run, port_of(run)

    @staticmethod
    def address(port, profile, user="", password=""):
        answer, = cam(port, [["getStreamUri", {"protocol": "RTSP", "profileToken": profile}]],
                      user, password)
        return answer["uri"]

    def test_hundred_pictures_of_every_camera_are_decoded(self):
        _, port = self.start_streams()
        first = self.address(port, "head")
        self.assertEqual(["h264,1280,720"], probe(first))
        self.assertEqual(["mjpeg,1280,720"], probe(self.address(port, "head_jpeg")))
        addresses = [first.replace("/head", "/" + name) for name in STREAMS]
        addresses += [address + "/jpeg" for address in addresses] + [addresses[1] + "/gzip"]
        decoders = [self.decoder_of(address, 100) for address in addresses]
        for address, decoder in zip(addresses, decoders):
            self.steps_of(decoder, 100, address)
        for address in (addresses[0], addresses[-2]):
            self.assertTenASecond(self.steps_of(self.decoder_of(address, 50), 50, address), address)

    @staticmethod
    def decoder_of(address, pictures):
        return ffmpeg(address, "-map", "0:v", "-vsync", "passthrough", "-enc_time_base", "1:90000",
                      "-f", "framemd5", frames=pictures)

    def steps_of(self, decoder, expected, address):
        """Seconds from picture to picture, by the stamps as they come."""
        pictures = [line.split(b",") for line in output_of(decoder).splitlines()
                    if not line.startswith(b"#")]
        # None is the same as another: there is noise in each.
        self.assertEqual(expected, len({picture[-1] for picture in pictures}), address)
        # The decoder guesses the first one's stamp if it was cut out of its stream before it had a report.
        stamps = [int(picture[2]) / 90000 for picture in pictures[1:]]
        steps = [later - former for former, later in zip(stamps, stamps[1:])]
        self.assertGreater(min(steps), 0, address)
        return steps

    def assertTenASecond(self, steps, address):
        """Of one that is watched alone. A machine with much else to do leaves pictures out, but not every
        second one all the time, and takes them now sooner and now later."""
        steps = sorted(steps)
        self.assertLess(steps[len(steps) // 10], 0.13, (address, steps))
        self.assertGreater(statistics.median(steps), 0.07, (address, steps))

    def test_pictures_show_a_person_where_the_truth_has_one(self):
        tracks = self.folder / "tracks.csv"
        tracks.write_text(to_and_fro(), encoding="utf-8")
        run, port = self.start_streams("--tracks", tracks, "--as-recorded")
        web = Web(run)
        live = EventStream(web.port, "/live").journal
        live.wait_for(lambda message: message.kind == "world" and any(
            abs(person["pan"]) < 40 and 4 < person["y"] < 12 for person in message.data["people"]),
            "a person before the first camera")
        size = WIDTH * HEIGHT
        # As they come: none twice for one that is late.
        decoder = ffmpeg(self.address(port, "overview1"), "-vf", f"scale={WIDTH}:{HEIGHT}", "-vsync",
                         "passthrough", "-pix_fmt", "gray", "-f", "rawvideo", frames=60)
        # The truth counts from the first decoded picture on, however long it takes to come.
        data = decoder.stdout.read(size)
        begin = len(live)
        data += output_of(decoder)
        pictures = [data[i:i + size] for i in range(0, len(data), size)]
        changed = set().union(*changed_places(pictures))
        model = next(message.data for message in live.entries() if message.kind == "model")
        seen = 0
        worlds = [message.data for message in live.entries(begin) if message.kind == "world"]
        for world in worlds:
            for person in world["people"]:
                x, y = project(model["channels"][0], model["mast_height_m"], person["x"],
                               person["y"], person["height"] / 2)
                if 4 < person["y"] < 12 and 10 < x < WIDTH - 10 and 10 < y < HEIGHT - 10:
                    near = {(int(x) + i, int(y) + j) for i in (-1, 0, 1) for j in (-1, 0, 1)}
                    seen += 1 if near & changed else -1
        # Those after the last picture are few.
        self.assertGreater(seen, len(worlds) / 2)
        # And nowhere else: most of the ground is as it always is.
        self.assertLess(len(changed), size / 4)

    def test_head_sees_whom_it_follows(self):
        """By the picture that the documents show."""
        run, port = self.start_streams()
        trousers = 0
        for _ in range(5):  # one may go as the picture is taken
            begin = len(run.output)
            for _ in range(3):
                begin = run.output.wait_for(FOLLOWS.search, "a head that follows", begin, PATIENCE)
            trousers = self.trousers_before_the_head(port)
            if trousers > 20:
                return
        self.fail(f"nobody before the head: {trousers} pixels")

    def trousers_before_the_head(self, port):
        """Of 53 x 30 pixels in the middle, those that are dark and blue, as nothing else is."""
        picture = self.folder / "head.jpg"
        subprocess.run([REPOSITORY / "script" / "onvif-picture", "--of",
                        f"http://127.0.0.1:{port}/onvif/device_service", picture], check=True, timeout=PATIENCE)
        data = output_of(ffmpeg(picture, "-vf", f"scale={WIDTH}:{HEIGHT},crop={WIDTH // 3}:{HEIGHT // 3}",
                                "-pix_fmt", "rgb24", "-f", "rawvideo", frames=1, transport=()))
        self.assertEqual(3 * (WIDTH // 3) * (HEIGHT // 3), len(data))
        return sum(1 for red, green, blue in zip(*[iter(data)] * 3)
                   if blue > red + 8 and red + green + blue < 300)

    @staticmethod
    def documents(address, seconds=3):
        """What a client writes down of the metadata, without looking into the pictures first."""
        return output_of(subprocess.Popen(
            ["ffmpeg", "-nostdin", "-loglevel", "error", "-rtsp_transport", "tcp",
             "-fpsprobesize", "0", "-i", address, "-map", "0:d", "-c", "copy", "-t", str(seconds), "-f", "data", "-"],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE))

    def test_metadata_have_the_boxes_of_the_truth(self):
        run, port = self.start_streams()
        web = Web(run)
        live = EventStream(web.port, "/live").journal
        live.wait_for(lambda message: message.kind == "frame" and message.data["camera"] == 1 and
                      message.data["objects"], "an object before the first camera")
        model = next(message.data for message in live.entries() if message.kind == "model")
        address = self.address(port, "overview1")
        clocks = self.clock_difference(live)
        for place, unpack in (("", bytes), ("/gzip", gzip.decompress), ("/metadata", bytes),
                              ("/metadata/gzip", gzip.decompress)):
            inside = boxed = 0
            # Until somebody is before the camera while the client reads.
            while not inside:
                begin = len(live)
                told = told_frames(unpack(self.documents(address + place, 2)))
                live.wait_for(lambda message: message.kind == "frame", "what came meanwhile", len(live))
                entries = live.entries(begin)
                offsets = []
                for frame in filter(lambda frame: frame.boxes, told):
                    # There is one such frame of the truth, and it has these boxes.
                    same = [message.data["time"] for message in entries
                            if message.kind == "frame" and message.data["camera"] == 1 and
                            is_same(frame, message.data["objects"])]
                    self.assertEqual(1, len(same), (place, frame))
                    offsets.append(frame.time - same[0])
                    people = places_of_people(entries, model, same[0])
                    inside += len(people)
                    boxed += sum(1 for place in people
                                 if any(is_middle(place, box) for box, _ in frame.boxes.values()))
            # But for those who are before one another. Half a step later nobody is in the middle.
            self.assertGreater(boxed, 0.8 * inside, place)
            # It is of that moment, the next one is 0.1 s away; and by the clock of everybody.
            self.assertLess(max(offsets) - min(offsets), 0.05, place)
            self.assertLess(abs(statistics.median(offsets) - clocks), 0.2, place)

    @staticmethod
    def clock_difference(live):
        """Seconds from the truth's clock to that of everybody; what is told comes a little later."""
        begin, differences = len(live), []
        for _ in range(8):
            begin = live.wait_for(lambda message: message.kind == "world", "the truth goes on", begin)
            differences.append(time.time() - live.entries(begin - 1)[0].data["time"])
        return min(differences)

    def test_metadata_of_the_head_tell_where_it_goes(self):
        self.state.mkdir()
        (self.state / "sentrelvideo.json").write_text('{"sentrel_enabled":false}',
                                                      encoding="utf-8")
        _, port = self.start_streams()
        address = self.address(port, "head") + "/metadata"
        cam(port, [["stand"], ["continuousMove", {"x": 0.1, "y": 0, "zoom": 0, "timeout": 30000}]])
        stream = self.documents(address)
        cam(port, [["stop", {}]])
        places = [float(found) for found in
                  re.findall(r'<tt:PanTilt x="([-0-9.e]+)"', stream.decode())]
        # 10 degrees per second, of 180 for each unit.
        self.assertGreater(len(places), 10)
        self.assertEqual(sorted(places), places)
        self.assertIn(b"<tt:PanTilt>MOVING</tt:PanTilt>", stream)

    def test_user_is_asked_for(self):
        password = self.folder / "password"
        password.write_text("secret\n", encoding="utf-8")
        _, port = self.start_streams("--onvif-user", "anna", "--onvif-password-file", password)
        address = self.address(port, "overview2", "anna", "secret")
        place = address.removeprefix("rtsp://")
        self.assertEqual(["h264,1280,720"], probe("rtsp://anna:secret@" + place))
        self.assertIn(b"<tt:MetadataStream", self.documents("rtsp://anna:secret@" + place, 1))
        self.assertIn("401", probe("rtsp://anna:guess@" + place))
        self.assertIn("401", probe(address))

    def test_clients_that_vanish_or_do_not_read_keep_nobody_out(self):
        _, port = self.start_streams()
        address = self.address(port, "overview1")
        stream = int(address.rsplit(":", 1)[1].split("/")[0])
        readers = [self.play(address, stream) for _ in range(50)]
        for reader in readers:
            self.assertBegins(reader)
        # Half of them never reads a byte more, half is gone without a word.
        for reader in readers[::2]:
            reader.close()
        started = time.monotonic()
        output_of(ffmpeg(address, "-f", "null", frames=20))
        print(f"20 pictures within {time.monotonic() - started:.1f} s beside 25 that do not read")

    def assertBegins(self, reader):
        """The reply says so; pictures for all who watch already may come before it."""
        told = b""
        while b"RTSP/1.0 200 OK" not in told:
            more = reader.recv(4096)
            self.assertTrue(more, "the end instead of a reply")
            told += more

    @staticmethod
    def play(address, port):
        """A client over its own connection, which has been told that its stream begins."""
        connection = socket.create_connection(("127.0.0.1", port), timeout=60)
        replies = connection.makefile("rb")
        session = ""
        for number, (method, where, more) in enumerate([
                ("SETUP", address + "/stream=0", "Transport: RTP/AVP/TCP;unicast;interleaved=0-1"),
                ("PLAY", address, "")], 1):
            lines = [f"{method} {where} RTSP/1.0", f"CSeq: {number}", session, more]
            connection.sendall(("\r\n".join(line for line in lines if line) + "\r\n\r\n").encode())
            if method == "SETUP":
                for line in iter(replies.readline, b"\r\n"):
                    if line.lower().startswith(b"session:"):
                        session = line.decode().split(";")[0].strip()
        return connection
