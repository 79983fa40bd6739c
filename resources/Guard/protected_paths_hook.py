#!/usr/bin/env python3
"""Keeps an unattended session out of the user's personal folders.

Claude Code runs this before a tool call, with the call as one JSON object on standard input. A call whose paths lie
under KEELHAVEN_PROTECTED_ROOTS (colon separated) is refused: exit status 2, the reason on standard error for the
agent to read. Everything else passes, and so does input that makes no sense: the guard is a seat belt against a
system dialog that nobody answers, not a sandbox, and must never stop a session by a fault of its own.
"""

import json
import os
import re
import shlex
import sys

PATH_FIELDS = {
    "Read": ("file_path",),
    "Edit": ("file_path",),
    "Write": ("file_path",),
    "MultiEdit": ("file_path",),
    "NotebookEdit": ("notebook_path", "file_path"),
    "Glob": ("path", "pattern"),
    "Grep": ("path", "glob"),
}
# Commands that change where the relative paths behind them start.
CHANGES_FOLDER = ("cd", "pushd")
SEPARATORS = re.compile(r"[|&;()<>\n]+")


def protected_roots():
    roots = os.environ.get("KEELHAVEN_PROTECTED_ROOTS", "").split(":")
    return [os.path.realpath(root) for root in roots if root]


def with_home(word):
    home = os.path.expanduser("~")
    return re.sub(r"\$\{HOME\}|\$HOME(?![A-Za-z0-9_])", lambda _: home, word)


def expanded(path, cwd):
    """Absolute path with ~ replaced and symbolic links resolved."""
    return os.path.realpath(os.path.join(cwd, os.path.expanduser(path)))


def without_pattern(path):
    """The folder part of a glob before its first wildcard."""
    head = re.split(r"[*?\[{]", path, maxsplit=1)[0]
    return path if head == path else head.rpartition("/")[0] or ("/" if head.startswith("/") else "")


def is_inside(path, root):
    return path == root or path.startswith(root.rstrip("/") + "/")


def words_of(command):
    """The command line's words, each with whether it is the first of its simple command."""
    for part in SEPARATORS.split(command):
        try:
            words = shlex.split(part, comments=False)
        except ValueError:
            # A quote that spans a separator: the words between the quotes still count.
            words = part.replace('"', " ").replace("'", " ").split()
        for index, word in enumerate(words):
            yield word, index == 0


def paths_in_word(word):
    """The word itself, and what stands behind a '=' in it (--output=/path, NAME=~/path)."""
    yield word
    if "=" in word:
        yield word.partition("=")[2]


def bash_paths(command, cwd):
    """Absolute forms of everything in the command that names a path."""
    folder = cwd
    changing = False
    for word, first in words_of(command):
        if first:
            changing = word in CHANGES_FOLDER
        for candidate in paths_in_word(word):
            candidate = without_pattern(with_home(candidate))
            if not candidate or candidate.startswith("-"):
                continue
            path = expanded(candidate, folder)
            if "/" in candidate or candidate.startswith("~") or os.path.lexists(path):
                yield path
            if changing and not first:
                folder = path


def tool_paths(tool, fields, cwd):
    if tool == "Bash":
        command = fields.get("command")
        return list(bash_paths(command, cwd)) if isinstance(command, str) else []
    values = [fields.get(name) for name in PATH_FIELDS.get(tool, ())]
    paths = [value for value in values if isinstance(value, str) and value]
    if tool in ("Glob", "Grep"):
        base = fields.get("path")
        base = expanded(base, cwd) if isinstance(base, str) and base else cwd
        return [expanded(without_pattern(path), base) for path in paths]
    return [expanded(path, cwd) for path in paths]


def refusal(event):
    """Why the call is refused, or None."""
    roots = protected_roots()
    tool, fields = event.get("tool_name"), event.get("tool_input")
    if not roots or not isinstance(fields, dict):
        return None
    cwd = event.get("cwd") if isinstance(event.get("cwd"), str) else os.getcwd()
    for path in tool_paths(tool, fields, cwd):
        for root in roots:
            if is_inside(path, root):
                return (
                    f"Keelhaven: {path} lies in {root}, which this unattended run must not touch. "
                    "Stay inside the project and Keelhaven's own folders."
                )
    return None


def main():
    try:
        event = json.load(sys.stdin)
        reason = refusal(event) if isinstance(event, dict) else None
    except Exception:  # noqa: BLE001 - fails open, see above
        return 0
    if reason:
        print(reason, file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
