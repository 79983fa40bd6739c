"""Puts Keelhaven's hooks into Codex's hooks.json, or takes them out again.

`keelhaven codex-hooks install|remove` becomes this call, with the user's terminal and further arguments passed on:

    PYTHONPATH={plugin root} python3 -B -m keelhaven.codex_hooks install|remove [--yes] [--codex-home DIR] [--json]

It shows what would change as a unified diff and asks before it writes; `--yes` answers. Without a terminal, and with
`--json`, there is nobody to ask: it only shows. `--codex-home` stands for $CODEX_HOME, which stands for ~/.codex.
`--json` prints one object: action, file, changed, written, diff, message; or error alone.

Exit status: 0 done, or nothing to do; 1 nothing was written; 2 wrong usage.
"""
import argparse
import difflib
import json
import os
import re
import shlex
import stat
import sys
import tempfile
from copy import deepcopy
from dataclasses import dataclass
from pathlib import Path
from typing import Optional

SCRIPT = Path(os.path.abspath(__file__)).parents[1] / "hooks" / "codex_hook.py"
# The last word of our command: it tells our entries in a file that others write to as well.
MARK = "keelhaven"
# Python ends with 2 when the script is gone, as after the program was removed, and to Codex a hook's 2 means "do not do
# that": every tool of every session would be refused.
QUIETLY = 'python3 -I -S -B "$0" 2>/dev/null || true'
BACKUP_SUFFIX = ".keelhaven-backup"
# event: seconds. Codex cuts the last two to 3 s and warns when they ask for more.
EVENTS = {
    "SessionStart": 10,
    "UserPromptSubmit": 10,
    "PreToolUse": 10,
    "PermissionRequest": 10,
    "PostToolUse": 10,
    "SubagentStart": 10,
    "SubagentStop": 10,
    "Stop": 10,
    "Interrupt": 3,
    "SessionEnd": 3,
}
DONE = {
    "install": "Keelhaven's hooks are in {file}. Codex asks once to trust them: when it says “Hooks need review” at its "
    "next start, choose “Trust all and continue”. Until then they do not run.",
    "remove": "Keelhaven's hooks are out of {file}.",
}
NOTHING = {
    "install": "Nothing to change: Keelhaven's hooks are in {file} already.",
    "remove": "Nothing to change: {file} holds no hooks of Keelhaven.",
}


class Refusal(Exception):
    """Why nothing was written, as a sentence for the user."""


# --- what is ours


def command():
    # A command that stays the same stays trusted, so the path is not resolved: a link to the release outlives it.
    return shlex.join(["sh", "-c", QUIETLY, str(SCRIPT), MARK])


def is_ours(handler):
    text = handler.get("command") if isinstance(handler, dict) else None
    try:
        words = shlex.split(text) if isinstance(text, str) else []
    except ValueError:
        return False
    return len(words) > 2 and words[-1] == MARK and words[-2].endswith("/hooks/" + SCRIPT.name)


def groups_of(document, event):
    groups = document.get("hooks", {}).get(event, [])
    return [group for group in groups if isinstance(group, dict) and isinstance(group.get("hooks"), list)]


def own_handlers(document, event):
    return [handler for group in groups_of(document, event) for handler in group["hooks"] if is_ours(handler)]


def with_hooks(document):
    """`document` with our handler once in each event. Ones that are there already keep their place: Codex ties its
    trust in a hook to its position."""
    document = deepcopy(document)
    for event, seconds in EVENTS.items():
        handler = {"type": "command", "command": command(), "timeout": seconds}
        own = own_handlers(document, event)
        if own:
            own[0].clear()
            own[0].update(handler)
            drop(document, event, own[1:])
        else:
            document.setdefault("hooks", {}).setdefault(event, []).append({"hooks": [handler]})
    return document


def without_hooks(document):
    document = deepcopy(document)
    for event in list(document.get("hooks", {})):
        drop(document, event, own_handlers(document, event))
    return document


def drop(document, event, handlers):
    """Takes these very handlers out, then what was there for their sake alone."""
    gone = {id(handler) for handler in handlers}
    for group in groups_of(document, event):
        kept = [handler for handler in group["hooks"] if id(handler) not in gone]
        if len(kept) < len(group["hooks"]):
            group["hooks"][:] = kept
            if not kept:
                groups = document["hooks"][event]
                groups[:] = [other for other in groups if other is not group]
    if gone and not document["hooks"][event]:
        del document["hooks"][event]


# --- the file


@dataclass
class File:
    """hooks.json as it stands. `data` is None when there is none."""

    path: Path
    data: Optional[bytes]

    @classmethod
    def read(cls, path):
        try:
            return cls(path, path.read_bytes())
        except FileNotFoundError:
            return cls(path, None)
        except OSError as error:
            raise Refusal(f"{path} cannot be read: {error.strerror}.") from error

    @property
    def text(self):
        return (self.data or b"").decode("utf-8", "replace")

    @property
    def backup(self):
        return self.path.with_name(self.path.name + BACKUP_SUFFIX)

    def document(self):
        return {} if self.data is None else parse(self.data, self.path)

    def replace(self, data):
        """Atomically, with the mode the file had. Follows a link, as to a folder of settings under version control."""
        target = Path(os.path.realpath(self.path))
        mode = stat.S_IMODE(target.stat().st_mode) if self.data is not None else 0o600
        descriptor, beside = tempfile.mkstemp(dir=target.parent, prefix=f".{target.name}.")
        try:
            with os.fdopen(descriptor, "wb") as file:
                file.write(data)
                file.flush()
                os.fchmod(descriptor, mode)
                os.fsync(descriptor)
            if File.read(self.path).data != self.data:
                raise Refusal(f"{self.path} was changed by somebody else meanwhile; nothing was written.")
            os.replace(beside, target)
        except BaseException:
            os.unlink(beside)
            raise

    def keep_backup(self):
        """What the file held before it was first changed."""
        mode = stat.S_IMODE(self.path.stat().st_mode)
        try:
            descriptor = os.open(self.backup, os.O_WRONLY | os.O_CREAT | os.O_EXCL, mode)
        except FileExistsError:
            return
        with os.fdopen(descriptor, "wb") as file:
            file.write(self.data)


def unique(pairs):
    """An object. Writing one with a key that comes twice would lose the first."""
    if len({key for key, _ in pairs}) < len(pairs):
        raise ValueError("a key comes twice in one object")
    return dict(pairs)


def no_constant(name):
    raise ValueError(f"{name} is no JSON")


def parse(data, path):
    try:
        document = json.loads(data.decode("utf-8"), object_pairs_hook=unique, parse_constant=no_constant)
    except (ValueError, RecursionError) as error:
        raise Refusal(f"{path} is no JSON ({error}); it is left as it is.") from None
    hooks = document.get("hooks", {}) if isinstance(document, dict) else None
    if not isinstance(hooks, dict) or not all(isinstance(groups, list) for groups in hooks.values()):
        raise Refusal(f"{path} does not have the layout of a Codex hooks file; it is left as it is.")
    return document


def render(document, like):
    """`document` as a file indented and escaped as `like`."""
    indent = re.search(r"^\s*\{\s*?\n([ \t]+)", like)
    end = "\n" if like.endswith("\n") or not like else ""
    escapes = bool(like) and like.isascii()
    text = json.dumps(document, indent=indent[1] if indent else 2, ensure_ascii=escapes) + end
    try:
        return text.encode("utf-8")
    except UnicodeEncodeError:  # half a surrogate pair, which only an escape can spell
        return render(document, "ascii")


def changed_data(file, action):
    """What the file shall hold; None when it may stay as it is."""
    before = file.document()
    after = with_hooks(before) if action == "install" else without_hooks(before)
    if after == before:
        return None
    if action == "remove" and file.backup.is_file():
        kept = file.backup.read_bytes()
        if is_same(parse(kept, file.backup), after):
            return kept  # to the last blank
    return render(after, file.text)


def is_same(one, other):
    """Also in the order of keys and the kinds of numbers, for which `==` has no eye."""
    return json.dumps(bare(one)) == json.dumps(bare(other))


def bare(document):
    return {key: value for key, value in document.items() if (key, value) != ("hooks", {})}


# --- the command


def change(action, folder, may_write):
    """Does it, or only looks when `may_write(diff)` says no. The answer of `--json`."""
    file = File.read(folder / "hooks.json")
    answer = {"action": action, "file": str(file.path), "changed": False, "written": False, "diff": ""}
    data = changed_data(file, action)
    if data is None:
        return answer | {"message": NOTHING[action].format(file=file.path)}
    answer |= {"changed": True, "diff": difference(file, data)}
    if not may_write(answer["diff"]):
        return answer | {"message": "Nothing was written. Add --yes to write it without being asked."}
    if file.data is None:
        folder.mkdir(0o700, parents=True, exist_ok=True)
    elif bare(foreign := without_hooks(file.document())) or foreign == file.document():
        file.keep_backup()  # not of a file that holds nothing but our own
    file.replace(data)
    return answer | {"written": True, "message": DONE[action].format(file=file.path)}


def difference(file, data):
    names = (str(file.path) if file.data is not None else "/dev/null", str(file.path))
    lines = difflib.unified_diff(file.text.splitlines(), data.decode("utf-8").splitlines(), *names, lineterm="")
    return "".join(line + "\n" for line in lines)


def codex_home(option):
    named = option or os.environ.get("CODEX_HOME")
    folder = Path(os.path.abspath(os.path.expanduser(named or "~/.codex")))
    if named and not folder.is_dir():  # a slip of the pen must not become a folder
        raise Refusal(f"There is no folder {folder}.")
    return folder


def ask():
    if not (sys.stdin.isatty() and sys.stderr.isatty()):
        return False
    print("Write this? [y/N] ", end="", file=sys.stderr, flush=True)
    return sys.stdin.readline().strip().lower() in ("y", "yes")


class Parser(argparse.ArgumentParser):
    def error(self, message):
        print(f"codex-hooks: {message}", file=sys.stderr)
        raise SystemExit(2)


def options(arguments):
    parser = Parser(prog="keelhaven codex-hooks", description="Lets Keelhaven follow its Codex runs.", allow_abbrev=False)
    parser.add_argument("action", choices=("install", "remove"))
    parser.add_argument("--yes", action="store_true", help="write without asking")
    parser.add_argument("--codex-home", metavar="DIR", help="the folder of hooks.json ($CODEX_HOME, ~/.codex)")
    parser.add_argument("--json", action="store_true", help="print one JSON object; never asks")
    return parser.parse_args(arguments)


def run(chosen):
    def may_write(diff):
        if not chosen.json:
            print(diff, end="", flush=True)
        return chosen.yes or (not chosen.json and ask())

    try:
        if chosen.action == "install" and not SCRIPT.is_file():
            raise Refusal(f"The hook script {SCRIPT} is missing.")
        return change(chosen.action, codex_home(chosen.codex_home), may_write)
    except Refusal as refusal:
        return {"error": str(refusal)}
    except OSError as error:
        return {"error": f"{error.filename or 'The file'} cannot be written: {error.strerror}."}


def main(arguments):
    chosen = options(arguments)
    answer = run(chosen)
    is_done = "error" not in answer and answer["changed"] == answer["written"]
    if chosen.json:
        print(json.dumps(answer, ensure_ascii=False))
    else:
        print(answer.get("error") or answer["message"], file=sys.stdout if is_done else sys.stderr)
    return 0 if is_done else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
