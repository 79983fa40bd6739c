"""Appends one line per Codex hook event of a Keelhaven run to ~/.cache/keelhaven/codex-runs/<run id>.jsonl.

Codex has these hooks for all its sessions; one that belongs to no run leaves nothing. Like the other hook script it never
fails a session: whatever goes wrong, it exits 0 and prints nothing.
"""
import os
import sys
from time import time

# Codex gives Interrupt and SessionEnd 3 s in all.
LOCK_PATIENCE_SECONDS = 1.5
RECORDED_TYPES = (
    "SessionStart",
    "UserPromptSubmit",
    "PreToolUse",
    "PermissionRequest",
    "PostToolUse",
    "SubagentStart",
    "SubagentStop",
    "Stop",
    "Interrupt",
    "SessionEnd",
)
# key on disk, key of the payload. `source` on disk tells who wrote the line, so Codex's own goes elsewhere.
COPIED_KEYS = (
    ("session_id", "session_id"),
    ("turn_id", "turn_id"),
    ("agent_id", "agent_id"),
    ("cwd", "cwd"),
    ("tool_name", "tool_name"),
    ("start_source", "source"),
)


def run_of(environment):
    """The run's id in upper case, as the reader spells the file's name; None when it is no UUID."""
    text = environment.get("KEELHAVEN_RUN_ID", "").upper()
    parts = text.split("-")
    if [len(part) for part in parts] == [8, 4, 4, 4, 12] and set(text) <= set("-0123456789ABCDEF"):
        return text
    return None


def event_record(payload, now, run_id, max_characters):
    """The line for a hook's payload, or None when the event is not kept. Never a prompt, tool input or output."""
    kind = payload.get("hook_event_name")
    if kind not in RECORDED_TYPES:
        return None
    record = {"ts": now, "type": kind, "provider": "codex", "source": "codex", "run_id": run_id}
    for key, source in COPIED_KEYS:
        value = payload.get(source)
        if isinstance(value, str) and value:
            record[key] = value
    message = payload.get("last_assistant_message")
    if kind == "Stop" and isinstance(message, str) and message:
        record["last_message"] = message[:max_characters]
    return record


def main():
    os.umask(0o077)
    data = sys.stdin.buffer.read()  # always: Codex would find the pipe broken
    run_id = run_of(os.environ)
    if not run_id:
        return
    sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))  # -I leaves the script's own folder out
    import event_hook

    payload = event_hook.parse(data.decode("utf-8", "replace"))
    record = event_record(payload, time(), run_id, event_hook.MAX_MESSAGE_CHARACTERS)
    if record:
        folder = os.path.expanduser("~/.cache/keelhaven/codex-runs")
        os.makedirs(folder, 0o700, exist_ok=True)
        event_hook.append_whole(f"{folder}/{run_id}.jsonl", event_hook.encode(record), LOCK_PATIENCE_SECONDS)


if __name__ == "__main__":
    try:
        main()
    except BaseException:  # even an interrupt: the session's own work goes first
        pass
    os._exit(0)
