"""The text being written in the input box."""
import uuid

WRAPPED_CHARACTERS = 800
WRAPPED_LINES = 3


def is_long(text: str) -> bool:
    return len(text) > WRAPPED_CHARACTERS or text.count("\n") + 1 > WRAPPED_LINES


class InputBox:
    """Remembers what came as a piece, since long pieces are shown folded and handed to the model in a wrapper."""

    def __init__(self):
        self._pieces: list[list] = []  # [text, burst]; a paste has the burst 0

    @property
    def text(self) -> str:
        return "".join(text for text, _ in self._pieces)

    @property
    def is_empty(self) -> bool:
        return not any(text.strip() for text, _ in self._pieces)

    def add(self, text: str, burst: int) -> None:
        if burst and self._pieces and self._pieces[-1][1] == burst:
            self._pieces[-1][0] += text
        else:
            self._pieces.append([text, burst])

    def backspace(self) -> None:
        if self._pieces:
            self._pieces[-1][0] = "" if is_long(self._pieces[-1][0]) else self._pieces[-1][0][:-1]
            if not self._pieces[-1][0]:
                self._pieces.pop()

    def clear(self) -> None:
        self._pieces.clear()

    def wrapped(self) -> str:
        """What the model and the hook are given: long pieces stand inside a `pasted_content` element."""
        return "".join(self._wrap(text) if is_long(text) else text for text, _ in self._pieces)

    def shown(self) -> str:
        """What the box shows: long pieces are folded into a note."""
        return "".join(self._fold(number, text) for number, (text, _) in enumerate(self._pieces, 1))

    @staticmethod
    def _wrap(text: str) -> str:
        mark = uuid.uuid4().hex[:8]
        return f'\n\n<pasted_content id="{mark}">\n{text}\n</pasted_content id="{mark}">\n\n'

    @staticmethod
    def _fold(number: int, text: str) -> str:
        return f"[Pasted text #{number} +{text.count(chr(10)) + 1} lines]" if is_long(text) else text
