"""Stands between the daemon and its message bus, and makes services fail for the daemon alone.

The daemon finds it by the environment: see daemon_options().
"""

import collections
import os
import pathlib
import socket
import struct
import threading

from camera import BUS_SOCKET
from frame_gate import send
from journal import Journal
from scene_gate import cut

GATE_SOCKET = pathlib.Path("/run/dbus/gate")

CALL, RETURN, ERROR, SIGNAL = 1, 2, 3, 4
NO_REPLY_EXPECTED = 1
OWN_SERIAL = 0x7FFFFFFF  # of the gate's own messages, to which nobody replies
PATH, INTERFACE, MEMBER, ERROR_NAME, REPLY_SERIAL, DESTINATION, SENDER, SIGNATURE = range(1, 9)
FIELD_TYPES = {PATH: "o", INTERFACE: "s", MEMBER: "s", ERROR_NAME: "s", REPLY_SERIAL: "u",
               DESTINATION: "s", SENDER: "s", SIGNATURE: "g"}
BUS = "org.freedesktop.DBus"

Message = collections.namedtuple("Message", "kind flags serial fields data")


def daemon_options():
    """What starts the daemon so that it finds the gate in the place of the bus."""
    return "env", f"DBUS_SYSTEM_BUS_ADDRESS=unix:path={GATE_SOCKET}"


# What a service does instead of answering. Each takes the gate's connection and the call.

def hang(connection, call):
    """Answers when it is mended, as what waits in its queue is dealt with then."""
    connection.hold(call)


def fail(connection, call):
    connection.answer_error(call, "org.freedesktop.DBus.Error.Failed", "Out of order")


def vanish(connection, call):
    connection.answer_error(call, BUS + ".Error.ServiceUnknown", "Nobody of that name")


def answering(signature, body):
    """One that answers every call alike."""
    return lambda connection, call: connection.answer(call, signature, body)


class BusGate:
    def __init__(self):
        self._lock = threading.Lock()
        self._faults = {}  # by bus name
        self._connections = []
        self._listener = None
        self.calls = Journal()  # (destination, member) of every call that met a fault
        self.open()

    def open(self):
        self._listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._listener.bind(str(GATE_SOCKET))
        self._listener.listen()
        threading.Thread(target=self._accept, args=(self._listener,), daemon=True).start()

    def close(self):
        """The bus is gone for the daemon, as when it has been ended."""
        os.unlink(GATE_SOCKET)
        cut(self._listener)
        self._listener.close()
        with self._lock:
            connections, self._connections = self._connections, []
        for connection in connections:
            connection.end()

    def break_service(self, name, fault):
        with self._lock:
            self._faults[name] = fault

    def mend_service(self, name):
        with self._lock:
            del self._faults[name]
            connections = list(self._connections)
        for connection in connections:
            connection.release(name)

    def fault_of(self, name):
        with self._lock:
            return self._faults.get(name)

    def _accept(self, listener):
        while True:
            try:
                daemon, _ = listener.accept()
            except OSError:
                return
            bus = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            if bus.connect_ex(str(BUS_SOCKET)) != 0:
                daemon.close()  # no bus behind the gate either
                continue
            with self._lock:
                self._connections.append(Connection(self, daemon, bus))


class Connection:
    def __init__(self, gate, daemon, bus):
        self._gate = gate
        self._daemon = daemon
        self._bus = bus
        self._lock = threading.Lock()  # keeps messages to the daemon whole
        self._held = []
        threading.Thread(target=self._serve, args=(self._to_bus,), daemon=True).start()
        threading.Thread(target=self._serve, args=(self._to_daemon,), daemon=True).start()

    def end(self):
        cut(self._daemon)
        cut(self._bus)

    def hold(self, call):
        self._held.append(call)

    def release(self, name):
        held, self._held = self._held, []
        for call in held:
            if call.fields.get(DESTINATION) == name:
                send(self._bus, call.data)
            else:
                self._held.append(call)

    def answer(self, call, signature, body):
        fields = {REPLY_SERIAL: call.serial, SENDER: BUS, SIGNATURE: signature}
        self._send(RETURN, fields, body)

    def answer_error(self, call, name, text):
        if not call.flags & NO_REPLY_EXPECTED:
            self._send(ERROR, {REPLY_SERIAL: call.serial, ERROR_NAME: name, SENDER: BUS,
                               SIGNATURE: "s"}, marshal("s", text))

    def _send(self, kind, fields, body):
        data = message(kind, fields, body)
        with self._lock:
            self._daemon.sendall(data)

    def _serve(self, work):
        try:
            work()
        except (OSError, EOFError):
            pass
        self.end()

    def _to_bus(self):
        stream = Stream(self._daemon)
        line = b""
        while line != b"BEGIN\r\n":
            line = stream.read_until(b"\r\n")
            self._bus.sendall(line)
        while True:
            call = read_message(stream)
            name = call.fields.get(DESTINATION)
            wanted = name
            if name == BUS and call.fields.get(MEMBER) in ("NameHasOwner", "GetNameOwner"):
                wanted = text_of(call)
            elif name is not None and name.startswith(":"):
                wanted = name = call.fields.get(INTERFACE)  # of a proxy, to the service's owner
            fault = self._gate.fault_of(wanted) if call.kind == CALL else None
            if fault is None or (wanted != name and fault is not vanish):
                self._bus.sendall(call.data)
                continue
            self._gate.calls.append((wanted, call.fields.get(MEMBER)))
            if call.fields.get(MEMBER) == "NameHasOwner":
                self.answer(call, "b", marshal("b", 0))
            elif call.fields.get(MEMBER) == "GetNameOwner":
                self.answer_error(call, BUS + ".Error.NameHasNoOwner", "No owner")
            else:
                fault(self, call)

    def _to_daemon(self):
        stream = Stream(self._bus)
        # Lines of the authentication first; a message begins with its byte order.
        while stream.peek() != b"l":
            self._daemon.sendall(stream.read_until(b"\r\n"))
        while True:
            data = read_message(stream).data
            with self._lock:
                self._daemon.sendall(data)


class Stream:
    def __init__(self, connection):
        self._connection = connection
        self._data = b""

    def _more(self):
        data = self._connection.recv(65536)
        if not data:
            raise EOFError
        self._data += data

    def peek(self):
        while not self._data:
            self._more()
        return self._data[:1]

    def read(self, count):
        while len(self._data) < count:
            self._more()
        data, self._data = self._data[:count], self._data[count:]
        return data

    def read_until(self, end):
        while end not in self._data:
            self._more()
        return self.read(self._data.index(end) + len(end))


# ---- The wire format, little-endian ----

def padding(length, alignment):
    return bytes(-length % alignment)


def marshal(kind, value, offset=0):
    """One value of a simple type, or a dictionary "a{sv}" of (name, type, value)."""
    if kind == "a{sv}":
        entries = b""
        for name, inner, item in value:
            entries += padding(len(entries), 8)
            entries += marshal("s", name)
            entries += marshal("g", inner)
            entries += marshal(inner, item, len(entries))
        return struct.pack("<I", len(entries)) + padding(4, 8) + entries
    if kind in "so":
        data = value.encode()
        return padding(offset, 4) + struct.pack("<I", len(data)) + data + b"\0"
    if kind == "g":
        return bytes([len(value)]) + value.encode() + b"\0"
    size = {"b": "I", "u": "I", "i": "i", "d": "d"}[kind]
    return padding(offset, struct.calcsize(size)) + struct.pack("<" + size, value)


def message(kind, fields, body):
    packed = b""
    for code, value in fields.items():
        packed += padding(len(packed), 8)
        packed += bytes([code]) + marshal("g", FIELD_TYPES[code])
        packed += marshal(FIELD_TYPES[code], value, len(packed))
    head = struct.pack("<BBBBIII", ord("l"), kind, NO_REPLY_EXPECTED, 1, len(body), OWN_SERIAL,
                       len(packed))
    return head + packed + padding(len(packed), 8) + body


def read_message(stream):
    head = stream.read(16)
    _, kind, flags, _, body_length, serial, fields_length = struct.unpack("<BBBBIII", head)
    packed = stream.read(fields_length + -fields_length % 8)
    body = stream.read(body_length)
    return Message(kind, flags, serial, fields_of(packed[:fields_length]), head + packed + body)


def fields_of(data):
    fields = {}
    place = 0
    while place < len(data):
        code, length = data[place], data[place + 1]
        kind = data[place + 2:place + 2 + length].decode()
        place += 3 + length
        if kind == "g":
            length = data[place]
            fields[code] = data[place + 1:place + 1 + length].decode()
            place += 2 + length
        else:
            place += -place % 4
            number = struct.unpack_from("<I", data, place)[0]
            place += 4
            if kind in "so":
                fields[code] = data[place:place + number].decode()
                place += number + 1
            else:
                fields[code] = number
        place += -place % 8
    return fields


def text_of(call):
    """The first argument, a text."""
    body = call.data[-struct.unpack_from("<I", call.data, 4)[0]:]
    return body[4:4 + struct.unpack_from("<I", body)[0]].decode()
