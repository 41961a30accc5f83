"""The pictures of the virtual device's cameras, decoded by a program that others have written."""

import gzip
import math
import re
import socket
import statistics
import subprocess
import time
from xml.etree import ElementTree

from onvif_client import PREFIXES, cam, check, port_of
from run_script import RunTest
from web import EventStream, Web

PATIENCE = 120  # seconds for what takes 10 s where nothing else runs
WIDTH, HEIGHT = 160, 90  # pixels in which pictures are compared
CHANGE = 16  # of 255; noise is averaged away in so small a picture
TT = "{" + PREFIXES["tt"] + "}"
STREAMS = ("head", "overview1", "overview2", "overview3", "overview4")


def ffmpeg(address, *options, frames=100):
    return subprocess.Popen(
        ["ffmpeg", "-nostdin", "-loglevel", "error", "-rtsp_transport", "tcp", "-i", address,
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


def changed_places(pictures):
    """Of each picture: what is unlike the background, which is what is there most of the time."""
    background = [statistics.median_low(values) for values in zip(*pictures)]
    return [{(i % WIDTH, i // WIDTH) for i, (now, usual) in enumerate(zip(picture, background))
             if abs(now - usual) > CHANGE} for picture in pictures]


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
        decoders = [ffmpeg(address, "-f", "framemd5")
                    for address in [*addresses, addresses[1] + "/jpeg"]]
        for decoder in decoders:
            pictures = [line.split(b",")[-1] for line in output_of(decoder).splitlines()
                        if not line.startswith(b"#")]
            # None is the same as another: there is noise in each.
            self.assertEqual(100, len(set(pictures)))

    def test_pictures_show_a_person_where_the_truth_has_one(self):
        run, port = self.start_streams()
        web = Web(run)
        live = EventStream(web.port, "/live").journal
        live.wait_for(lambda message: message.kind == "world" and any(
            abs(person["pan"]) < 40 and 4 < person["y"] < 12 for person in message.data["people"]),
            "a person before the first camera")
        size = WIDTH * HEIGHT
        decoder = ffmpeg(self.address(port, "overview1"), "-vf", f"scale={WIDTH}:{HEIGHT}",
                         "-pix_fmt", "gray", "-f", "rawvideo")
        # The truth counts from the first decoded picture on, however long it takes to come.
        data = decoder.stdout.read(size)
        begin = len(live)
        data += output_of(decoder)
        pictures = [data[i:i + size] for i in range(0, len(data), size)]
        changed = set().union(*changed_places(pictures))
        model = next(message.data for message in live.entries() if message.kind == "model")
        seen = 0
        for message in live.entries(begin)[::5]:
            people = message.data["people"] if message.kind == "world" else []
            for person in people:
                x, y = project(model["channels"][0], model["mast_height_m"], person["x"],
                               person["y"], person["height"] / 2)
                if 4 < person["y"] < 12 and 10 < x < WIDTH - 10 and 10 < y < HEIGHT - 10:
                    near = {(int(x) + i, int(y) + j) for i in (-1, 0, 1) for j in (-1, 0, 1)}
                    seen += 1 if near & changed else -1
        # Those after the last picture are few.
        self.assertGreater(seen, 0)
        # And nowhere else: most of the ground is as it always is.
        self.assertLess(len(changed), size / 4)

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
        address = self.address(port, "overview1")
        for place, unpack in (("", bytes), ("/gzip", gzip.decompress), ("/metadata", bytes),
                              ("/metadata/gzip", gzip.decompress)):
            seen = set()
            # Until somebody is before the camera while the client reads.
            while not seen:
                begin = len(live)
                stream = unpack(self.documents(address + place))
                live.wait_for(lambda message: message.kind == "frame", "what came meanwhile",
                              len(live))
                truth = {(thing["id"], round(x, 3), round(y, 3)) for message in live.entries(begin)
                         if message.kind == "frame" and message.data["camera"] == 1
                         for thing in message.data["objects"] for x, y in thing["polygon"]}
                for document in stream.split(b"<?xml")[1:]:
                    check(b"<?xml" + document)
                    for thing in ElementTree.fromstring(b"<?xml" + document).iter(TT + "Object"):
                        seen |= {(int(thing.get("ObjectId")), round(float(point.get("x")), 3),
                                  round(float(point.get("y")), 3))
                                 for point in thing.iter(TT + "Point")}
            # All but those that stand on the verge between two roundings.
            self.assertGreater(len(seen & truth), 0.8 * len(seen), place)

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
