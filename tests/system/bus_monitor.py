"""What passes on the camera's message bus, as read by dbus-monitor."""

import collections
import re
import subprocess

from journal import Journal

# what: "declared", "sent" or "undeclared" (name: the event's; value: its data), "move" (value: a
# Move), "home", "sought" (name: the service that was looked for), "asked" (name: the parameter), or
# "declaring" (name: the event's; before the event service has answered).
Happening = collections.namedtuple("Happening", "what name value", defaults=(None, None))
Move = collections.namedtuple("Move", "pan_kind pan tilt_kind tilt zoom_kind zoom speed")

ABSOLUTE = 1
CONTINUOUS = 3

HEAD = re.compile(r"^(signal|method call|method return|error) time=")
MEMBER = re.compile(r"member=(\w+)")
ARGUMENT = re.compile(r"^ {3,}(string|variant|array|struct|dict entry|boolean|u?int\d+|double|byte|"
                      r"object path|[\]})])")
OPENINGS = ("[", "{", "(")
CLOSINGS = ("]", "}", ")")
NUMBERS = {"double": float, "boolean": lambda text: text == "true"}


def is_stop(move):
    """True for a move that leaves no axis turning."""
    return (move.pan_kind, move.tilt_kind, move.pan, move.tilt) == (CONTINUOUS, CONTINUOUS, 0, 0)


class BusMonitor:
    """A journal of happenings, in the order of the bus."""

    def __init__(self):
        self.journal = Journal()
        self._names = {}
        self._process = subprocess.Popen(["dbus-monitor", "--system"], stdout=subprocess.PIPE,
                                         stderr=subprocess.DEVNULL, text=True)
        # The monitor tells of its own arrival first, from when on it misses nothing.
        first = self._process.stdout.readline()
        self.journal.follow(self._happenings(first))

    def wait_for(self, what, name=None, value=None, start=0, **options):
        wanted = Happening(what, name, value)
        return self.journal.wait_for(lambda happening: happening == wanted, wanted, start,
                                     **options)

    def wait_for_move(self, matches, what, start=0, **options):
        return self.journal.wait_for(
            lambda happening: happening.what == "move" and matches(happening.value), what, start,
            **options)

    def states(self):
        """The tracker's states so far, the one of the declaration first."""
        return [happening.value for happening in self.journal.entries()
                if happening.name == "state" and happening.what in ("declared", "sent")]

    def _happenings(self, first):
        head, body = first, []
        # A message ends where the next one begins.
        for line in self._process.stdout:
            if not HEAD.match(line):
                body.append(line)
                continue
            yield from self._read(head, body)
            head, body = line, []
        yield from self._read(head, body)

    def _read(self, head, body):
        member = MEMBER.search(head)
        kind = HEAD.match(head)
        if not member or not kind:
            return
        read = READERS.get((kind[1], member[1]))
        if read:
            yield from read(self, values_of(body))

    def _declared(self, values):
        number, _, keys = values
        self._names[number] = event_name(keys)
        yield Happening("declared", self._names[number], event_value(keys))

    def _declaring(self, values):
        yield Happening("declaring", event_name(values[0]))

    def _ask(self, values):
        yield Happening("asked", values[0])

    def _send(self, values):
        number, keys, _ = values
        yield Happening("sent", self._names.get(number), event_value(keys))

    def _undeclare(self, values):
        yield Happening("undeclared", self._names.get(values[0]))

    def _move(self, values):
        yield Happening("move", None, Move(*values[2:]))

    def _home(self, _):
        yield Happening("home")

    def _seek(self, values):
        yield Happening("sought", values[0])


READERS = {
    ("signal", "Declared"): BusMonitor._declared,
    ("method call", "Declare"): BusMonitor._declaring,
    ("method call", "Get"): BusMonitor._ask,
    ("method call", "Send"): BusMonitor._send,
    ("method call", "Undeclare"): BusMonitor._undeclare,
    ("method call", "Move"): BusMonitor._move,
    ("method call", "GotoHome"): BusMonitor._home,
    ("method call", "NameHasOwner"): BusMonitor._seek,
}


def event_keys(keys):
    return {key[0]: key[2][0] if key[2] else None for key in keys}


def event_name(keys):
    return event_keys(keys).get("topic2")


def event_value(keys):
    named = event_keys(keys)
    return named.get("value", named.get("active"))


def values_of(lines):
    """The arguments of a message; arrays, structures and variants as lists and plain values."""
    levels = [[]]
    text = None
    for line, following in zip(lines, [*lines[1:], None]):
        if text is not None:
            text += line
        else:
            line = line.strip()
            line = line.removeprefix("variant").strip()
            if line.startswith('string "'):
                text = line.removeprefix('string "') + "\n"
        if text is not None:
            # A text may have several lines, some of which end like it.
            if text.endswith('"\n') and (following is None or ARGUMENT.match(following)):
                levels[-1].append(text[:-2])
                text = None
        elif line.endswith(OPENINGS):
            levels.append([])
        elif line in CLOSINGS:
            inner = levels.pop()
            levels[-1].append(inner)
        elif line:
            kind, _, value = line.partition(" ")
            levels[-1].append(NUMBERS.get(kind, int)(value))
    return levels[0]
