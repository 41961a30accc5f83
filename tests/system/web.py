"""The web server of a running device: its API and its streams of events."""

import collections
import http.client
import json
import re

from journal import Journal, wait_until

PAGE = re.compile(r"The page: http://127\.0\.0\.1:(\d+)/$")
API = "/api/sentrelvideo"

Answer = collections.namedtuple("Answer", "status document")
# kind: "event", "undeclared" and so on.
Message = collections.namedtuple("Message", "kind data")


def document(method, params=None, context=""):
    request = {"apiVersion": "1.0", "context": context, "method": method}
    return request if params is None else request | {"params": params}


def topic_of(event):
    """The topics as one name, as docs/events.md writes them."""
    return "/".join(event["topics"][key] for key in sorted(event["topics"]))


class Web:
    """Of a run of script/run, once its daemon answers."""

    def __init__(self, run):
        position = run.output.wait_for(PAGE.match, "the page's address")
        self.port = int(PAGE.match(run.output.entries()[position - 1])[1])
        # The web server is there before the daemon is.
        body = json.dumps(document("getSentrel"))
        wait_until(lambda: self.post(body).status == 200, "the daemon's first answer")

    def address(self):
        return f"http://127.0.0.1:{self.port}/"

    def post(self, body, **headers):
        return self.request("POST", body, **headers)

    def request(self, method, body=None, path=API, **headers):
        if isinstance(body, str):
            body = body.encode()
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        try:
            connection.request(method, path, body, headers)
            response = connection.getresponse()
            return Answer(response.status, json.loads(response.read()))
        finally:
            connection.close()

    def call(self, method, params=None):
        """Returns the data of a request that has to succeed."""
        answer = self.post(json.dumps(document(method, params)))
        assert answer.status == 200 and "data" in answer.document, f"{method}: {answer}"
        return answer.document["data"]

    def follow(self, path="/events"):
        return EventStream(self.port, path)


class EventStream:
    """A journal of messages."""

    def __init__(self, port, path):
        self.journal = Journal()
        self._connection = http.client.HTTPConnection("127.0.0.1", port, timeout=60)
        self._connection.request("GET", path)
        self._reader = self.journal.follow(messages_of(self._connection.getresponse()))

    def wait_for_event(self, topic, data, start=0, **options):
        def matches(message):
            return (message.kind == "event" and topic_of(message.data) == topic and
                    message.data["data"] == data)

        return self.journal.wait_for(matches, f"{topic} {data}", start, **options)

    def events(self, topic=None, start=0):
        return [message.data for message in self.journal.entries(start)
                if message.kind == "event" and topic in (None, topic_of(message.data))]


def messages_of(response):
    kind, data = "message", []
    try:
        for line in response:
            name, _, value = line.decode().rstrip("\r\n").partition(": ")
            if name == "event":
                kind = value
            elif name == "data":
                data.append(value)
            elif not name and data:
                yield Message(kind, json.loads("\n".join(data)))
                kind, data = "message", []
    except (OSError, http.client.HTTPException):
        pass  # the device has ended
