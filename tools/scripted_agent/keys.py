"""Terminal input: bytes in, key presses, text and pastes out."""
import codecs
import re
from dataclasses import dataclass

PASTE_BEGIN, PASTE_END = b"\x1b[200~", b"\x1b[201~"
# A CR that comes in one read with this much text before it is taken for a part of the text, not for Enter.
GLUED_CHARACTERS = 64
# The terminal hands over at most 4095 bytes at once: a read of that size is the middle of something longer.
FULL_READ_BYTES = 4095

_TEXT = re.compile(rb"[^\x00-\x1f\x7f]+")
_CONTROL_SEQUENCE = re.compile(rb"\x1b(?:\[[0-?]*[ -/]*[@-~]|O[ -~])")
_STRING_SEQUENCE = re.compile(rb"\x1b[P_\]^X].*?(?:\x1b\\|\x07)", re.DOTALL)
_SEQUENCE_NAMES = {b"A": "up", b"B": "down", b"C": "right", b"D": "left", b"Z": "shift-tab"}
_CONTROL_NAMES = {0x03: "ctrl-c", 0x04: "ctrl-d", 0x08: "backspace", 0x15: "ctrl-u", 0x7F: "backspace"}


@dataclass(frozen=True)
class Event:
    """`kind` is text, paste, newline, swallowed (a CR taken as a line break), enter or key.

    `burst` is the same number for all text that arrived in one go.
    """

    kind: str
    text: str = ""
    burst: int = 0


class KeyReader:
    """Turns what the terminal sends into events, across the borders of reads."""

    def __init__(self):
        self._bytes = bytearray()
        self._decoder = codecs.getincrementaldecoder("utf-8")("replace")
        self._in_paste = False
        self._searched = 0
        self._burst = 0
        self._burst_length = 0
        self._last_read_full = False

    @property
    def is_ambiguous(self) -> bool:
        """True while an ESC waits for the rest of its sequence; `flush()` after a moment makes it the Esc key."""
        return not self._in_paste and bool(self._bytes)

    def feed(self, data: bytes) -> list[Event]:
        if not self._last_read_full:
            self._burst += 1
            self._burst_length = 0
        self._last_read_full = len(data) >= FULL_READ_BYTES
        self._bytes += data
        alone = len(data) == 1
        events: list[Event] = []
        while self._bytes and self._take(events, alone):
            pass
        return events

    def flush(self) -> list[Event]:
        if not self.is_ambiguous:
            return []
        del self._bytes[0]
        events = [Event("key", "escape")]
        while self._bytes and self._take(events, False):
            pass
        return events

    def _take(self, events: list[Event], alone: bool) -> bool:
        """Takes one thing off the bytes. False when the rest of it has not arrived."""
        if self._in_paste:
            return self._take_paste(events)
        first = self._bytes[0]
        if first == 0x1B:
            return self._take_escape(events)
        if match := _TEXT.match(self._bytes):
            self._take_text(events, match.group())
            return True
        del self._bytes[0]
        if first == 0x0D:
            self._take_return(events)
        elif first == 0x0A:
            events.append(Event("newline", burst=self._burst))
            self._burst_length += 1
        elif first == 0x09 and not alone:
            self._text(events, "\t")
        elif name := _CONTROL_NAMES.get(first):
            events.append(Event("key", name))
        return True

    def _take_text(self, events: list[Event], data: bytes) -> None:
        del self._bytes[: len(data)]
        self._text(events, self._decoder.decode(data))

    def _text(self, events: list[Event], text: str) -> None:
        if text:
            events.append(Event("text", text, self._burst))
            self._burst_length += len(text)

    def _take_return(self, events: list[Event]) -> None:
        if self._burst_length >= GLUED_CHARACTERS:
            events.append(Event("swallowed", burst=self._burst))
            self._burst_length += 1
        else:
            events.append(Event("enter"))
            self._burst += 1
            self._burst_length = 0

    def _take_escape(self, events: list[Event]) -> bool:
        if self._bytes.startswith(PASTE_BEGIN):
            del self._bytes[: len(PASTE_BEGIN)]
            self._in_paste, self._searched = True, 0
            return True
        if self._bytes.startswith(b"\x1b\r"):  # Alt and Enter
            del self._bytes[:2]
            events.append(Event("newline", burst=self._burst))
            return True
        if match := _STRING_SEQUENCE.match(self._bytes):  # an answer to a question of ours
            del self._bytes[: match.end()]
            return True
        if match := _CONTROL_SEQUENCE.match(self._bytes):
            if name := _SEQUENCE_NAMES.get(bytes(match.group()[-1:])):
                events.append(Event("key", name))
            del self._bytes[: match.end()]
            return True
        if len(self._bytes) > 1 and self._bytes[1:2] not in (b"[", b"O", b"P", b"_", b"]", b"^", b"X"):
            del self._bytes[0]
            events.append(Event("key", "escape"))
            return True
        return False

    def _take_paste(self, events: list[Event]) -> bool:
        end = self._bytes.find(PASTE_END, self._searched)
        if end < 0:
            self._searched = max(0, len(self._bytes) - len(PASTE_END))
            return False
        text = self._bytes[:end].decode("utf-8", "replace").replace("\r\n", "\n").replace("\r", "\n")
        del self._bytes[: end + len(PASTE_END)]
        self._in_paste = False
        self._burst += 1
        self._burst_length = 0
        events.append(Event("paste", text))
        return True
