"""What stands on the screen, as rows of text."""
import unicodedata
from dataclasses import dataclass, field

from . import VERSION
from .dialogs import Dialog

MODE_TEXTS = {
    "acceptEdits": "⏵⏵ accept edits on (shift+tab to cycle)",
    "auto": "⏵⏵ auto mode on (shift+tab to cycle)",
    "bypassPermissions": "⏵⏵ bypass permissions on (shift+tab to cycle)",
    "default": "⏸ manual mode on",
    "manual": "⏸ manual mode on",
    "dontAsk": "⏵⏵ don't ask on (shift+tab to cycle)",
    "plan": "⏸ plan mode on (shift+tab to cycle)",
}
MODEL_NAMES = {"opus": "Opus 5.5", "sonnet": "Sonnet 5.5"}
SPINNERS = "✻✢*✶"
KEPT_LINES = 1000
MAX_BOX_ROWS = 8


@dataclass
class View:
    """Everything a frame is made of. `phase` is starting, idle, working or background."""

    folder: str
    mode: str
    phase: str = "starting"
    model: str = "opus"
    lines: list[str] = field(default_factory=list)
    queued: list[str] = field(default_factory=list)
    box: str = ""
    dialog: Dialog | None = None
    tick: int = 0
    seconds: int = 0
    note: str = ""

    def say(self, *lines: str) -> None:
        self.lines += lines
        del self.lines[:-KEPT_LINES]

    @property
    def title(self) -> str:
        if self.phase == "working" and not self.dialog:
            return f"{'◐◑'[self.tick % 2]} Claude Code"
        return "✳ Claude Code"


def frame(view: View, columns: int, height: int) -> tuple[list[str], tuple[int, int] | None]:
    """The rows, at most `height` of them, and where the cursor stands (row, column), counted from 0."""
    if view.phase == "starting" and not view.dialog:
        return [], None
    if view.phase == "starting":
        rows = ["─" * columns, *wrap_all(view.dialog.rows(columns), columns)]
        return rows[-height:], None
    upper = wrap_all([*header(view), "", *view.lines], columns)
    if view.dialog:
        bottom = ["─" * columns, *wrap_all(view.dialog.rows(columns), columns)]
        return [*upper, "", *bottom][-height:], None
    bottom, cursor_row, cursor_column = lower_rows(view, columns)
    room = max(height - len(bottom), 0)
    upper = upper[-room:] if room else []
    rows = [*upper, *[""] * (room - len(upper)), *bottom][-height:]
    return rows, (len(rows) - len(bottom) + cursor_row, min(cursor_column, columns - 1))


def header(view: View) -> list[str]:
    return [
        "",
        f" ▐▛███▛█   Claude Code v{VERSION}",
        f"▝▜██████▀  {MODEL_NAMES.get(view.model, view.model)} · API Usage Billing",
        f" ▝▝   ▝▝   {view.folder}",
        "",
    ]


def lower_rows(view: View, columns: int) -> tuple[list[str], int, int]:
    """From the spinner down to the last line; then the cursor's row in it, and its column."""
    rows = []
    for text in view.queued:
        rows += [cut("❯ " + text.replace("\n", " "), columns), "  ⎿  Queued · ctrl+x ctrl+s to send now"]
    if view.phase == "working":
        spinner = SPINNERS[view.tick % len(SPINNERS)]
        rows += ["", f"{spinner} Fermenting… ({view.seconds}s · ↓ {2 + 2 * view.seconds} tokens)"]
    effort = view.note or "◐ medium · /effort"
    rows.append(effort.rjust(columns - width(effort) + len(effort)) if width(effort) < columns else cut(effort, columns))
    shown = view.box or ("\u00a0Press up to edit queued messages" if view.queued else "")
    box = wrap_all(("❯" + (shown if shown.startswith("\u00a0") else " " + shown)).split("\n"), columns)[-MAX_BOX_ROWS:]
    rows += ["─" * columns, *box, "─" * columns, cut(footer(view), columns)]
    column = width(box[-1]) if view.box else 2
    return rows, len(rows) - 3, column


def footer(view: View) -> str:
    parts = ["  " + MODE_TEXTS[view.mode]]
    if view.phase == "working":
        parts.append("esc to interrupt")
    elif view.phase == "background":
        parts.append("↓ to manage")
    elif view.mode in ("manual", "default"):
        parts.append("? for shortcuts")
    return " · ".join([*parts, "← for agents"])


def character_width(character: str) -> int:
    if unicodedata.combining(character) or unicodedata.category(character) in ("Mn", "Me", "Cf"):
        return 0
    return 2 if unicodedata.east_asian_width(character) in ("W", "F") else 1


def width(text: str) -> int:
    return len(text) if text.isascii() else sum(map(character_width, text))


def printable(text: str) -> str:
    """Control characters would steer the terminal."""
    return "".join(character for character in text.replace("\t", " ") if character >= " " and character != "\x7f")


def cut(text: str, columns: int) -> str:
    return wrap(text, columns)[0]


def wrap(text: str, columns: int) -> list[str]:
    text = printable(text)
    if text.isascii():
        return [text[start : start + columns] for start in range(0, len(text), columns)] or [""]
    rows, row, used = [], [], 0
    for character in text:
        size = character_width(character)
        if used + size > columns:
            rows.append("".join(row))
            row, used = [], 0
        row.append(character)
        used += size
    return [*rows, "".join(row)]


def wrap_all(lines: list[str], columns: int) -> list[str]:
    return [row for line in lines for row in wrap(line, columns)]
