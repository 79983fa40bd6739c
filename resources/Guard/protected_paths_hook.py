#!/usr/bin/env python3
"""Keeps an unattended session out of the user's personal folders.

Claude Code runs this before a tool call, with the call as one JSON object on standard input. A call whose paths lie
under KEELHAVEN_PROTECTED_ROOTS (colon separated), or that would walk through one of these folders from above, is
refused: exit status 2, the reason on standard error for the agent to read. Everything else passes, and so does input
that makes no sense: the guard is a seat belt against a system dialog that nobody answers, not a sandbox, and must never
stop a session by a fault of its own. docs/SECURITY.md tells what it sees and what it cannot see.

It runs before every tool call and no compiled form of it is kept, so it is short and imports little.
"""

import os
import sys

PATH_FIELDS = ("file_path", "notebook_path", "path")
LONGEST_PATH = 4096  # the kernel opens no longer one
LONGEST_COMMAND = 256 * 1024  # more than one argument of a program can hold; reading must not outlast the hook's time


TEXT_ENDS = frozenset(" \t\n\r\"'`()<>|;,&:\\")


class Refused(Exception):
    """The reason, for the agent to read."""


def parse(text):
    """The JSON value in `text`; reaches for the C half of the json module, which spares most of its import."""
    try:
        from _json import make_scanner
    except ImportError:
        import json

        return json.loads(text)

    class Rules:
        strict = False
        object_hook = object_pairs_hook = None
        parse_float = float
        parse_int = int
        parse_constant = float

    return make_scanner(Rules)(text.lstrip("\ufeff \t\r\n"), 0)[0]


def is_inside(path, root):
    return path == root or path.startswith(root.rstrip("/") + "/")


class Roots:
    """The protected folders, each with all the names that lead to it."""

    def __init__(self, folders, project=None):
        self.roots = []  # the folder as it was named, as it is
        self.resolved = {}
        granted = self.real(project) if project and os.path.isabs(project) else None
        for named in folders:
            root = os.path.normpath(named) if os.path.isabs(named) else "/"
            real = self.real(root)
            # A project behind a link into a folder opens that folder, as one that openly lies in it does.
            if root != "/" and not (granted and is_inside(granted, real)):
                self.roots.append((root, real))

    def real(self, path):
        """`path` with links followed. Many paths of one command share a folder, which is looked at once."""
        parent, _, name = path.rpartition("/")
        try:
            if len(path) > LONGEST_PATH:
                raise ValueError("nobody can open it")
            if name in ("", ".", ".."):
                return os.path.realpath(path)
            if parent not in self.resolved:
                self.resolved[parent] = os.path.realpath(parent or "/")
            full = os.path.join(self.resolved[parent], name)
            return os.path.realpath(full) if os.path.islink(full) else full
        except (OSError, ValueError):  # a name that no file can have
            return "/" + os.path.normpath(path).lstrip("/")

    def check(self, path):
        """Refuses a path that lies in a folder."""
        real = self.real(path)
        for root, target in self.roots:
            if is_inside(real, target) or is_inside(real, root):
                raise Refused(
                    f"Keelhaven: {path} lies in {root}, which this unattended run must not touch. "
                    "Stay inside the project and Keelhaven's own folders."
                )

    def below(self, path):
        """The folders below `path` that exist, each with the way to it."""
        real = self.real(path).rstrip("/")
        for pair in self.roots:
            for spelled in dict.fromkeys(pair):
                if spelled.startswith(real + "/") and os.path.lexists(spelled):
                    yield pair[0], spelled[len(real) + 1 :]

    def check_walk(self, path, depth=None):
        """Refuses to walk down from `path`, to the given depth, when a folder lies on the way."""
        for root, way in self.below(path):
            if depth is None or depth > way.count("/") + 1:
                raise Refused(
                    f"Keelhaven: from {path} this would walk through {root}, which this unattended run must not touch. "
                    "Name the folders below it that the work needs."
                )

    def spellings(self, home):
        """Each way a folder is written in a text, with what it stands for."""
        for pair in self.roots:
            for spelled in dict.fromkeys(pair):
                yield spelled, spelled
                if home and is_inside(spelled, home):
                    for sign in ("~", "$HOME", "${HOME}"):
                        yield sign + spelled[len(home.rstrip("/")) :], spelled

    def check_text(self, text, has_patterns=False):
        """Refuses a text, such as a program, that names a folder or something in it. Where the text's language has
        patterns between slashes, a folder such as /Volumes must stand at the begin of a literal."""
        for spelled, root in self.spellings(os.environ.get("HOME")):
            at = text.find(spelled)
            while at >= 0:
                before = text[max(at - 3, 0) : at]
                end = at + len(spelled)
                while end < min(len(text), at + LONGEST_PATH) and text[end] not in TEXT_ENDS:
                    end += 1
                path = root + text[at + len(spelled) : end]
                if has_patterns and root.count("/") == 1:
                    begins = before[-1:] in ('"', "'", "`", "<", ">")
                else:
                    last = before[-1:]
                    begins = before.endswith("://") or not (last.isalnum() or last in ("/", "_", "-", ".", "}"))
                if begins and is_inside(os.path.normpath(path), root):
                    self.check(path)
                at = text.find(spelled, end)


def folder_before_wildcard(pattern):
    """The folder of a file tool's pattern before its first wildcard."""
    for at, c in enumerate(pattern):
        if c in "*?[{":
            return pattern[:at].rpartition("/")[0] or ("/" if pattern.startswith("/") else "")
    return pattern


def check_files(roots, tool, fields, cwd):
    paths = {name: fields[name] for name in PATH_FIELDS if isinstance(fields.get(name), str) and fields[name]}
    for path in paths.values():
        roots.check(os.path.join(cwd, os.path.expanduser(path)))
    if tool not in ("Glob", "Grep"):
        return
    # Both search the whole tree below their folder, whatever the pattern lets through.
    base = os.path.join(cwd, os.path.expanduser(paths.get("path", "")))
    pattern = fields.get("pattern" if tool == "Glob" else "glob")
    if isinstance(pattern, str) and not pattern.startswith("!"):
        start = os.path.join(base, os.path.expanduser(folder_before_wildcard(pattern)))
        roots.check(start)
        base = start if tool == "Glob" else base
    roots.check_walk(base)


def check_command(roots, command, cwd):
    try:
        if len(command) > LONGEST_COMMAND:
            raise ValueError("nobody can run it")
        sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
        from shell_guard import check

        check(roots, command, cwd)
    except Refused:
        raise
    except Exception:  # nested too deep, say: the text alone still tells a lot
        roots.check_text(command)


def protected_folders():
    """The folders of the environment; a list in JSON is there when one of the names holds a colon."""
    listed = os.environ.get("KEELHAVEN_PROTECTED_ROOTS_JSON")
    return parse(listed) if listed else os.environ.get("KEELHAVEN_PROTECTED_ROOTS", "").split(":")


def refusal(event):
    """Why the call is refused, or None."""
    tool, fields = event.get("tool_name"), event.get("tool_input")
    roots = Roots(protected_folders(), os.environ.get("CLAUDE_PROJECT_DIR"))
    if not roots.roots or not isinstance(fields, dict):
        return None
    cwd = event.get("cwd")
    cwd = cwd if isinstance(cwd, str) and os.path.isabs(cwd) else os.getcwd()
    try:
        if tool == "Bash":
            if isinstance(fields.get("command"), str):
                check_command(roots, fields["command"], cwd)
        elif tool in ("Read", "Edit", "Write", "MultiEdit", "NotebookEdit", "Glob", "Grep"):
            check_files(roots, tool, fields, cwd)
    except Refused as reason:
        return str(reason)
    return None


def main():
    if not os.environ.get("KEELHAVEN_PROTECTED_ROOTS"):
        return 0
    event = parse(sys.stdin.buffer.read().decode("utf-8", "replace"))
    reason = refusal(event) if isinstance(event, dict) else None
    if reason:
        print(reason, file=sys.stderr, flush=True)
        return 2
    return 0


if __name__ == "__main__":
    status = 0
    try:
        status = main()
    except BaseException:  # fails open, see above
        pass
    os._exit(status)
