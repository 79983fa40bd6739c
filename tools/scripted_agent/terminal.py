"""The terminal: raw mode, the alternate buffer, frames, and everything put back at the end."""
import os
import termios
import tty

ENTER_SCREEN = b"\x1b[?1049h\x1b[?2004h\x1b[2J\x1b[H"
LEAVE_SCREEN = b"\x1b[?2004l\x1b[?25h\x1b[?1049l\x1b]0;\x07"
KITTY_QUERY = b"\x1b_Gi=31,s=1,v=1,a=q,t=d,f=24;AAAA\x1b\\"


class Terminal:
    """Standard input and output. Writing to a terminal that is gone is no error: the hang-up comes by itself."""

    def __init__(self):
        self.input = 0
        self._output = 1
        self._saved: list | None = None
        self._shown: tuple | None = None
        self._title = ""

    def open(self) -> None:
        self._saved = termios.tcgetattr(self.input)
        tty.setraw(self.input, termios.TCSANOW)
        self.write(ENTER_SCREEN + KITTY_QUERY)

    def close(self) -> None:
        if self._saved is None:
            return
        self.write(LEAVE_SCREEN)
        try:
            termios.tcsetattr(self.input, termios.TCSANOW, self._saved)
        except termios.error:
            pass
        self._saved = None

    @property
    def size(self) -> tuple[int, int]:
        """(columns, rows)"""
        try:
            size = os.get_terminal_size(self._output)
        except OSError:
            return 80, 24
        return size.columns or 80, size.lines or 24

    def forget_frame(self) -> None:
        self._shown = None

    def show(self, rows: list[str], cursor: tuple[int, int] | None, title: str) -> None:
        """Draws the frame when it differs from the last one."""
        if title and title != self._title:
            self._title = title
            self.write(f"\x1b]0;{title}\x07".encode())
        frame = (rows, cursor)
        if frame == self._shown:
            return
        self._shown = frame
        # Erase before writing: after a full row the cursor still stands on its last cell, which erasing would take.
        text = "\x1b[?25l\x1b[H" + "\r\n".join("\x1b[2K" + row for row in rows)
        if len(rows) < self.size[1]:
            text += "\r\n\x1b[J" if rows else "\x1b[J"
        if cursor:
            text += f"\x1b[{cursor[0] + 1};{cursor[1] + 1}H\x1b[?25h"
        self.write(text.encode("utf-8", "replace"))

    def write(self, data: bytes) -> None:
        view = memoryview(data)
        while view:
            try:
                view = view[os.write(self._output, view) :]
            except OSError:
                return
