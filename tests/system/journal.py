"""A list that grows while a test waits for what it is to hold."""

import threading
import time

PATIENCE = 60  # seconds; what is waited for comes long before, or never


def wait_until(condition, what, patience=PATIENCE):
    """For conditions that nobody announces."""
    deadline = time.monotonic() + patience
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {patience} s in vain: {what}")
        time.sleep(0.02)


class Journal:
    def __init__(self):
        self._entries = []
        self._changed = threading.Condition()

    def append(self, entry):
        with self._changed:
            self._entries.append(entry)
            self._changed.notify_all()

    def follow(self, entries):
        """Takes over all that an iterable yields, on a thread of its own."""
        thread = threading.Thread(target=lambda: [self.append(entry) for entry in entries],
                                  daemon=True)
        thread.start()
        return thread

    def entries(self, start=0):
        with self._changed:
            return self._entries[start:]

    def __len__(self):
        with self._changed:
            return len(self._entries)

    def wait_for(self, matches, what, start=0, patience=PATIENCE):
        """Returns the position after the first entry from start on that matches."""
        deadline = time.monotonic() + patience
        position = start
        with self._changed:
            while True:
                for position in range(position, len(self._entries)):
                    if matches(self._entries[position]):
                        return position + 1
                position = max(start, len(self._entries))
                if not self._changed.wait(deadline - time.monotonic()):
                    last = "\n  ".join(str(entry) for entry in self._entries[-30:])
                    raise AssertionError(
                        f"waited {patience} s in vain: {what}; the last:\n  {last}")
