"""Clients of the web server that come in crowds, or come and say nothing."""

import errno
import http.client
import json
import os
import re
import resource
import select
import socket
import time

from camera import CameraTest
from journal import PATIENCE, wait_until
from namespace import REPOSITORY
from web import API, PAGE, EventStream, Web, document

HEADER = 10.0  # seconds that a client has for its request
BODY = 30.0  # seconds for the request's body
SLACK = 2.0  # seconds
WITHIN = 1.0  # seconds in which each of a crowd is answered
CROWD = 100
MULTITUDE = 2000
PLACES = 256  # of one address
UNIT = REPOSITORY / "packaging" / "device" / "sentrelvideo-virtual-device.service"
REQUEST = b"GET / HTTP/1.1\r\nHost: 127.0.0.1:%d\r\n\r\n"


class WebLoadTest(CameraTest):
    def serve(self, *options, descriptors=None):
        self.start_device("--port", "0", "--quiet", "--head-boot", "0", *options)
        position = self.device.output.wait_for(PAGE.match, "the page's address")
        self.port = int(PAGE.match(self.device.output.entries()[position - 1])[1])
        if descriptors is not None:
            resource.prlimit(self.device.process.pid, resource.RLIMIT_NOFILE,
                             (descriptors, descriptors))
        # What the test itself needs for its many clients.
        _, most = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))

    def connect(self):
        client = socket.create_connection(("127.0.0.1", self.port), timeout=PATIENCE)
        self.addCleanup(client.close)
        return client

    def connect_at_once(self, count):
        """Clients that are on their way all together."""
        clients = []
        for _ in range(count):
            client = socket.socket()
            self.addCleanup(client.close)
            client.setblocking(False)
            self.assertIn(client.connect_ex(("127.0.0.1", self.port)), (0, errno.EINPROGRESS))
            clients.append(client)
        return clients

    def page(self):
        """Whether the page is given, and the seconds that it took."""
        start = time.monotonic()
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        try:
            connection.request("GET", "/")
            status = connection.getresponse().status
        finally:
            connection.close()
        return status == 200, time.monotonic() - start

    def assert_serves(self):
        served, seconds = self.page()
        self.assertTrue(served)
        return seconds

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.device.process.pid}/fd"))

    def wait_for_turns(self, reader):
        """Until the device's main loop has gone round, more than once."""
        position = len(reader.journal)
        wait_until(lambda: len(reader.journal) > position + 3, "the device's next turns")

    def test_server_accepts_again_after_more_clients_than_it_has_descriptors_for(self):
        self.serve(descriptors=100)
        self.assert_serves()
        reader = EventStream(self.port, "/live")
        self.wait_for_turns(reader)
        before = self.descriptors()
        clients = self.connect_at_once(300)
        # The oldest that waits leaves its place to the next: one may be free when we look.
        wait_until(lambda: self.descriptors() >= 99, "a server without descriptors")
        clients += self.connect_at_once(30)
        self.wait_for_turns(reader)
        for client in clients:
            client.close()
        print(f"answered after {self.assert_serves():.2f} s")
        wait_until(lambda: self.descriptors() <= before, "the end of all connections")

    def test_eleven_hundred_idle_clients_do_not_keep_others_out(self):
        self.serve(descriptors=1024)
        self.assert_serves()
        before = self.descriptors()
        clients = [self.connect() for _ in range(1100)]
        print(f"answered after {self.assert_serves():.2f} s beside them")
        wait_until(lambda: self.descriptors() <= before + PLACES, "a limit of connections")
        for client in clients:
            client.close()
        print(f"answered after {self.assert_serves():.2f} s when they have left")
        wait_until(lambda: self.descriptors() <= before, "the end of all connections")

    def test_client_that_takes_its_time_is_sent_away(self):
        self.serve()
        start = time.monotonic()
        silent, slow, stalled = self.connect(), self.connect(), self.connect()
        slow.sendall(b"POST %b HTTP/1.1\r\nHost: 127.0.0.1:%d\r\n" % (API.encode(), self.port))
        stalled.sendall(b"POST %b HTTP/1.1\r\nHost: 127.0.0.1:%d\r\nContent-Length: 9\r\n\r\n{" %
                        (API.encode(), self.port))
        after = {}
        waiting = {silent: HEADER, slow: HEADER, stalled: BODY}
        while len(after) < len(waiting):
            self.assertLess(time.monotonic() - start, BODY + PATIENCE)
            if slow not in after:
                slow.send(b"X")  # it is never quite silent
            for client in select.select([*set(waiting) - set(after)], [], [], 0.2)[0]:
                try:
                    self.assertEqual(b"", client.recv(1))
                except ConnectionResetError:
                    pass  # what it had sent was not read any more
                after[client] = time.monotonic() - start
        print("ended after " + ", ".join(f"{after[client]:.1f} s" for client in waiting))
        for client, seconds in waiting.items():
            self.assertGreater(after[client], seconds - SLACK / 2)
            self.assertLess(after[client], seconds + SLACK)

    def answer_to_all(self, request):
        """Seconds until each of a crowd had its whole answer."""
        clients = self.connect_at_once(CROWD)
        start = time.monotonic()
        unsent, answers, after = set(clients), {client: b"" for client in clients}, []
        while len(after) < CROWD:
            self.assertLess(time.monotonic() - start, PATIENCE)
            reading = [client for client in answers if client not in unsent]
            readable, writable, _ = select.select(reading, [*unsent], [], 1)
            for client in writable:
                client.sendall(request)
                unsent.remove(client)
            for client in readable:
                data = client.recv(1 << 16)
                answers[client] += data
                if not data:
                    self.assertEqual(b"HTTP/1.1 200 OK", answers.pop(client).split(b"\r\n")[0])
                    after.append(time.monotonic() - start)
        return after

    def test_hundred_requests_at_once_are_each_answered_within_a_second(self):
        self.serve()
        self.start_daemon()
        web = Web(self.device)
        body = json.dumps(document("getSentrel")).encode()
        question = b"POST %b HTTP/1.1\r\nHost: 127.0.0.1:%d\r\nContent-Length: %d\r\n\r\n%b" % (
            API.encode(), web.port, len(body), body)
        for what, request in (("page", REQUEST % self.port), ("API", question)):
            with self.subTest(what):
                after = self.answer_to_all(request)
                print(f"{what}: {CROWD} answers within {max(after):.2f} s")
                self.assertLess(max(after), WITHIN)
        self.assertEqual(0, self.daemon.end())

    def test_two_thousand_clients_at_once_leave_a_server_that_answers(self):
        limit = re.search(r"^LimitNOFILE=(\d+)$", UNIT.read_text(encoding="utf-8"), re.MULTILINE)
        self.serve(descriptors=int(limit[1]))
        self.assert_serves()
        before = self.descriptors()
        clients = self.connect_at_once(MULTITUDE)
        beside = self.assert_serves()
        # The last of them has a place of its own, and is answered as well.
        clients[-1].setblocking(True)
        clients[-1].settimeout(PATIENCE)
        clients[-1].sendall(REQUEST % self.port)
        self.assertTrue(clients[-1].recv(1 << 16).startswith(b"HTTP/1.1 200 OK"))
        wait_until(lambda: self.descriptors() <= before + PLACES, "a limit of connections")
        print(f"answered after {beside:.2f} s beside {MULTITUDE} others")
