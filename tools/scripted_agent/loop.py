"""Waiting: named timers and signals, in one `select`."""
import os
import select
import signal
import time
from collections.abc import Callable

WATCHED_SIGNALS = (signal.SIGWINCH, signal.SIGHUP, signal.SIGTERM, signal.SIGINT)


class Timers:
    """One-shot timers by name; setting one again replaces it."""

    def __init__(self):
        self._due: dict[str, tuple[float, Callable[[], None]]] = {}

    def after(self, name: str, seconds: float, callback: Callable[[], None]) -> None:
        self._due[name] = (time.monotonic() + seconds, callback)

    def cancel(self, name: str) -> None:
        self._due.pop(name, None)

    def is_set(self, name: str) -> bool:
        return name in self._due

    def timeout(self) -> float | None:
        """Seconds to the next one, None without any."""
        if not self._due:
            return None
        return max(0.0, min(due for due, _ in self._due.values()) - time.monotonic())

    def run_due(self) -> None:
        now = time.monotonic()
        for name, entry in list(self._due.items()):
            if entry[0] <= now and self._due.get(name) is entry:
                del self._due[name]
                entry[1]()


class Signals:
    """Signals as something `select` can wait for."""

    def __init__(self):
        self.descriptor, self._writer = os.pipe2(os.O_NONBLOCK | os.O_CLOEXEC)
        signal.set_wakeup_fd(self._writer, warn_on_full_buffer=False)
        for number in WATCHED_SIGNALS:
            signal.signal(number, lambda *_: None)

    def take(self) -> set[int]:
        """The signals that came since the last call."""
        try:
            return set(os.read(self.descriptor, 4096))
        except BlockingIOError:
            return set()


def wait(descriptors: list[int], seconds: float | None) -> list[int]:
    return select.select(descriptors, [], [], seconds)[0]
