"""Stands between the daemon and a socket of the device, and can be closed."""

import os
import pathlib
import socket
import threading

from journal import Journal


class SceneGate:
    """Passes everything on while it is open; takes the socket's place in the file system.

    What note returns when the daemon ends a connection is that departure's entry.
    """

    def __init__(self, path, note=lambda: "departure"):
        self._note = note
        self.path = pathlib.Path(path)
        self._behind = self.path.with_name(self.path.name + ".device")
        os.rename(self.path, self._behind)
        self._lock = threading.Lock()
        self._listener = None
        self._connections = []
        self.arrivals = Journal()  # one entry for each connection of the daemon
        self.departures = Journal()  # and for each that the daemon ended
        self.open()

    def open(self):
        listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        listener.bind(str(self.path))
        listener.listen()
        self._listener = listener
        threading.Thread(target=self._accept, args=(listener,), daemon=True).start()

    def close(self):
        """The service is gone: nobody listens, and what was connected is cut off."""
        self.path.unlink()
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        with self._lock:
            connections, self._connections = self._connections, []
        for connection in connections:
            cut(connection)

    def _accept(self, listener):
        while True:
            try:
                client, _ = listener.accept()
            except OSError:
                return
            device = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            device.connect(str(self._behind))
            with self._lock:
                self._connections += [client, device]
            self.arrivals.append("arrival")
            threading.Thread(target=self._pass, args=(client, device, True), daemon=True).start()
            threading.Thread(target=self._pass, args=(device, client, False), daemon=True).start()

    def _pass(self, source, target, from_daemon):
        try:
            while data := source.recv(65536):
                target.sendall(data)
        except OSError:
            pass
        if from_daemon:
            self.departures.append(self._note())
        cut(source)
        cut(target)


def cut(connection):
    try:
        connection.shutdown(socket.SHUT_RDWR)
    except OSError:
        pass  # the other end was faster
