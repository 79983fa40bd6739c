"""Questions that stand in place of the input box and take every key."""
import textwrap
from dataclasses import dataclass
from pathlib import Path

CONFIRM_HINT = "Enter to confirm · Esc to cancel"


@dataclass
class Dialog:
    """`accepting` are the entries that mean yes. Esc answers None."""

    name: str
    lines: list[str]
    entries: list[str]
    accepting: tuple[int, ...]
    selected: int = 0
    numbered: bool = False
    hint: str = CONFIRM_HINT
    spaced: bool = True

    def press(self, key: str) -> tuple[bool, int | None]:
        """(answered, the entry). `key` is a key's name, or one typed character."""
        if key == "escape":
            return True, None
        if key == "enter":
            return True, self.selected
        if key in ("up", "down"):
            step = 1 if key == "down" else -1
            self.selected = (self.selected + step) % len(self.entries)
        elif self.numbered and key.isdecimal() and 0 < int(key) <= len(self.entries):
            return True, int(key) - 1
        return False, None

    def rows(self, columns: int) -> list[str]:
        rows = [row for line in self.lines for row in textwrap.wrap(line, max(columns - 2, 1)) or [""]]
        rows = [" " + row if row else "" for row in rows] + [""] * self.spaced
        for index, entry in enumerate(self.entries):
            number = f"{index + 1}. " if self.numbered else ""
            rows.append(f" {'❯' if index == self.selected else ' '} {number}{entry}")
        return [*rows, "", " " + self.hint]


def trust(release: str, folder: str, cursor: str) -> Dialog:
    """`cursor` is yes, no, or empty for the entry that the release selects."""
    lines = [
        "Accessing workspace:",
        "",
        folder,
        "",
        "Quick safety check: Is this a project you created or one you trust? (Like your own code, a well-known open "
        "source project, or work from your team). If not, take a moment to review what's in this folder first.",
        "",
        "Claude Code'll be able to read, edit, and execute files here.",
        "",
        "Security guide",
    ]
    is_old = release == "2.1.197"
    entries = ["Yes, I trust this folder", "No, exit"] if is_old else ["No, exit", "Yes, I trust this folder"]
    yes = entries.index("Yes, I trust this folder")
    selected = {"yes": yes, "no": 1 - yes}.get(cursor, 0)
    return Dialog("trust", lines, entries, accepting=(yes,), selected=selected, numbered=is_old)


def second(kind: str, folder: str) -> Dialog:
    if kind == "api-key":
        lines = [
            "Detected a custom API key in your environment",
            "",
            "ANTHROPIC_API_KEY: sk-ant-...00000000000000000000",
            "",
            "Do you want to use this API key?",
        ]
        return Dialog("api-key", lines, ["Yes", "No (recommended)"], accepting=(0, 1), selected=1)
    lines = ["Do you trust the files in this folder?", "", folder]
    return Dialog("trust-files", lines, ["Yes, proceed", "No, exit"], accepting=(0,), numbered=True)


def unknown(kind: str) -> Dialog:
    lines = ["A new way to arrange your desk", "", "Which side should the lamp stand on?"]
    is_bare = kind == "bare"
    hint = "" if is_bare else CONFIRM_HINT
    return Dialog("unknown", lines, ["Left", "Right"], accepting=(0, 1), numbered=not is_bare, hint=hint)


def permission(command: str, folder: Path, columns: int) -> Dialog:
    border = "╌" * max(columns - 2, 1)
    lines = ["Bash command", "", "Run a scripted command", border, command, border, "Do you want to proceed?"]
    entries = [
        "Yes",
        f"Yes, and always allow access to {folder} from this project",
        "Yes, and switch to auto mode · auto mode handles these prompts for you",
        "No",
    ]
    hint = "Esc to cancel · Tab to amend"
    return Dialog("permission", lines, entries, accepting=(0, 1, 2), numbered=True, hint=hint, spaced=False)
