"""Appends one line per Claude Code hook event to ~/.cache/keelhaven/events.jsonl.

Runs once per event and tool call of every session, so its start-up is the cost that counts: it is started with
`python3 -I -S` (no site-packages scan) and reaches for the C half of the json module, which spares the import of the
regular expression engine. It never fails a session: whatever goes wrong, it exits 0 and prints nothing. Whoever registers
it adds `|| true`: Python ends with 2 when the script itself is gone, and to the CLIs a hook's 2 means "do not do that".
"""
import os
import sys
from errno import ENOSPC
from time import monotonic, sleep, time

try:
    from _json import encode_basestring as quote
except ImportError:
    from functools import partial
    from json import dumps

    quote = partial(dumps, ensure_ascii=False)

MAX_FILE_BYTES = 64 * 1024 * 1024
MAX_MESSAGE_CHARACTERS = 64 * 1024
LOCK_PATIENCE_SECONDS = 3.0
SUBAGENT_TOOLS = ("Task", "Agent")
RECORDED_TYPES = ("SessionStart", "UserPromptSubmit", "PostToolUse", "SubagentStop", "Stop", "SessionEnd")
# key on disk, key of the payload
COPIED_KEYS = (
    ("session_id", "session_id"),
    ("turn_id", "prompt_id"),
    ("agent_id", "agent_id"),
    ("agent_type", "agent_type"),
    ("cwd", "cwd"),
    ("tool_name", "tool_name"),
    ("title", "session_title"),
)


def parse(text):
    """The JSON value in `text`. Raises ValueError, or RecursionError, on anything that is not JSON."""
    class Rules:
        strict = False
        object_hook = object_pairs_hook = array_hook = None
        parse_float = float
        parse_int = int
        parse_constant = float

    try:
        from _json import make_scanner

        scan = make_scanner(Rules)
    except (ImportError, AttributeError, TypeError):  # another Python's scanner, which wants to know more
        import json

        return json.loads(text, strict=False)

    text = text.strip()
    try:
        value, end = scan(text, 0)
    except (StopIteration, SystemError):  # the error it wants to raise is in the json module, which nobody loaded
        raise ValueError("no JSON") from None
    if end < len(text):
        raise ValueError("something follows the value")
    return value


def json_text(value):
    """`value` (of texts, finite numbers, True, False, None, lists and objects) as JSON on one line."""
    if isinstance(value, str):
        return quote(value)
    if isinstance(value, dict):
        return "{" + ", ".join([quote(key) + ": " + json_text(member) for key, member in value.items()]) + "}"
    if isinstance(value, list):
        return "[" + ", ".join([json_text(element) for element in value]) + "]"
    if value is None:
        return "null"
    if isinstance(value, bool):
        return "true" if value else "false"
    return repr(value)


def encode(record):
    """`record` as one line of UTF-8."""
    # A half surrogate pair (text cut by the CLI) has no UTF-8 and would cost the reader the whole line.
    return (json_text(record) + "\n").encode("utf-8", "replace")


def is_recorded(payload, environment):
    kind = payload.get("hook_event_name")
    if kind == "SessionEnd" and payload.get("reason") == "other" and environment.get("KEELHAVEN_RUN_ID"):
        # The terminal was closed or the CLI was told to die. The end of a session completes its run, and this one
        # ended in mid-work; the hook is being hung up as well, so whether its line got out would be chance.
        return False
    if kind == "PostToolUse" and payload.get("tool_name") in SUBAGENT_TOOLS:
        # Only a launch in the background leaves an agent open. One that ran in the foreground has told its
        # SubagentStop already; a line for it now would count as an agent that never ends.
        response = payload.get("tool_response")
        return isinstance(response, dict) and response.get("status") == "async_launched"
    return kind in RECORDED_TYPES


def event_record(payload, now, environment):
    """The line for a hook's payload, or None when the event is not kept. Never tool input or output."""
    if not is_recorded(payload, environment):
        return None
    kind = payload["hook_event_name"]
    record = {"ts": now, "type": kind, "provider": "claude"}
    if run_id := environment.get("KEELHAVEN_RUN_ID"):
        record["run_id"] = run_id
    for key, source in COPIED_KEYS:
        value = payload.get(source)
        if isinstance(value, str) and value:
            record[key] = value
    message = payload.get("last_assistant_message")
    if kind in ("Stop", "SessionEnd") and isinstance(message, str) and message:
        record["last_message"] = message[:MAX_MESSAGE_CHARACTERS]
    return record


def take_lock(descriptor, patience=None):
    """True when the lock is held. A holder that is stopped costs patience (in seconds), not the event."""
    from fcntl import LOCK_EX, LOCK_NB, flock

    deadline = monotonic() + (LOCK_PATIENCE_SECONDS if patience is None else patience)
    while True:
        try:
            flock(descriptor, LOCK_EX | LOCK_NB)
            return True
        except BlockingIOError:
            if monotonic() >= deadline:
                return False
            sleep(0.002)
        except OSError:  # a file system without locks
            return False


def open_log(path):
    return os.open(path, os.O_RDWR | os.O_CREAT | os.O_APPEND | os.O_CLOEXEC, 0o600)


def append(folder, line, max_bytes=MAX_FILE_BYTES):
    """Adds `line` to the log in `folder` with a single write, rotating the log before it would pass `max_bytes`."""
    os.makedirs(folder, 0o700, exist_ok=True)
    keep_private(folder, os.stat(folder), 0o700)
    lock = os.open(folder + "/events.lock", os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o600)
    try:
        append_locked(folder, line, max_bytes, take_lock(lock))
    finally:
        os.close(lock)


def append_locked(folder, line, max_bytes, is_alone):
    path = folder + "/events.jsonl"
    log = open_log(path)
    try:
        size = os.fstat(log).st_size
        if is_alone and size and size + len(line) + 1 > max_bytes:
            os.close(log)
            os.rename(path, folder + "/events.1.jsonl")
            log = open_log(path)
        write_line(log, line, is_alone)
    finally:
        os.close(log)


def append_whole(path, line, patience=None):
    """Adds `line` to the file at `path` with a single write. The file is its own lock: its reader follows all of it
    from the first line on, so it never rotates."""
    log = open_log(path)
    try:
        write_line(log, line, take_lock(log, patience))
    finally:
        os.close(log)


def keep_private(place, status, mode):
    if status.st_mode & 0o077:
        try:
            os.chmod(place, mode)
        except OSError:  # a file system on which all files have one mode: no reason to lose the line
            pass


def write_line(log, line, is_alone):
    status = os.fstat(log)
    keep_private(log, status, 0o600)
    if status.st_size and os.pread(log, 1, status.st_size - 1) != b"\n":
        line = b"\n" + line  # a writer died in the middle of its line: do not glue this one to the rest
    if os.write(log, line) < len(line):
        if is_alone:
            os.ftruncate(log, status.st_size)  # no line is better than half of one
        raise OSError(ENOSPC, os.strerror(ENOSPC))


def main():
    os.umask(0o077)
    payload = parse(sys.stdin.buffer.read().decode("utf-8", "replace"))
    record = event_record(payload, time(), os.environ)
    if record:
        append(os.path.expanduser("~/.cache/keelhaven"), encode(record))


if __name__ == "__main__":
    try:
        main()
    except BaseException:  # even an interrupt: the session's own work goes first
        pass
    os._exit(0)
