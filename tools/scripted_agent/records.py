"""The files the command line keeps under the home directory, and the log of what it was given."""
import fcntl
import json
import os
import re
import time
import uuid
from contextlib import contextmanager
from datetime import datetime, timezone
from pathlib import Path

from . import VERSION

MODEL_IDS = {"opus": "claude-opus-5-5", "sonnet": "claude-sonnet-5-5"}
USAGE = {
    "input_tokens": 100,
    "cache_creation_input_tokens": 10,
    "cache_read_input_tokens": 5,
    "output_tokens": 20,
    "service_tier": "standard",
}


def model_id(name: str) -> str:
    return MODEL_IDS.get(name, name)


def write_atomically(path: Path, value: dict) -> None:
    path.parent.mkdir(parents=True, exist_ok=True)
    beside = path.with_name(f".{path.name}.{os.getpid()}")
    beside.write_text(json.dumps(value, ensure_ascii=False))
    os.replace(beside, path)


def append_line(path: Path, value: dict) -> None:
    """One write, so that lines of several writers stay whole."""
    data = (json.dumps(value, ensure_ascii=False) + "\n").encode("utf-8", "replace")
    descriptor = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o600)
    try:
        os.write(descriptor, data)
    finally:
        os.close(descriptor)


class FolderTrust:
    """`projects["<path>"].hasTrustDialogAccepted` in ~/.claude.json. Trust reaches into sub-folders."""

    def __init__(self, home: Path):
        self._path = home / ".claude.json"
        self._lock = home / ".claude"

    def covers(self, folder: Path) -> bool:
        projects = self._read().get("projects")
        if not isinstance(projects, dict):
            return False
        entries = [projects.get(str(place)) for place in (folder, *folder.parents)]
        return any(isinstance(entry, dict) and entry.get("hasTrustDialogAccepted") is True for entry in entries)

    def accept(self, folder: Path) -> None:
        with self._locked():
            value = self._read()
            project = value.setdefault("projects", {}).setdefault(str(folder), {})
            project["hasTrustDialogAccepted"] = True
            write_atomically(self._path, value)

    def _read(self) -> dict:
        try:
            value = json.loads(self._path.read_text())
        except (OSError, ValueError):
            return {}
        return value if isinstance(value, dict) else {}

    @contextmanager
    def _locked(self):
        self._lock.mkdir(parents=True, exist_ok=True)
        descriptor = os.open(self._lock, os.O_RDONLY)
        try:
            fcntl.flock(descriptor, fcntl.LOCK_EX)
            yield
        finally:
            os.close(descriptor)


class SessionFile:
    """~/.claude/sessions/<pid>.json: the live state others may look at."""

    def __init__(self, home: Path, session_id: str, folder: Path, enabled: bool):
        self._path = home / ".claude" / "sessions" / f"{os.getpid()}.json"
        self._enabled = enabled
        now = milliseconds()
        self._value = {
            "pid": os.getpid(),
            "sessionId": session_id,
            "cwd": str(folder),
            "startedAt": now,
            "procStart": process_start(),
            "version": VERSION,
            "peerProtocol": 1,
            "kind": "interactive",
            "entrypoint": "cli",
            "name": f"{folder.name}-{uuid.uuid4().hex[:2]}",
            "nameSource": "derived",
            "nameSince": now,
        }

    def tell(self, status: str, waiting_for: str | None = None) -> None:
        told = (self._value.get("status"), self._value.get("waitingFor"))
        if not self._enabled or told == (status, waiting_for):
            return
        now = milliseconds()
        self._value |= {"status": status, "updatedAt": now, "statusUpdatedAt": now}
        self._value.pop("waitingFor", None)
        if waiting_for:
            self._value["waitingFor"] = waiting_for
        write_atomically(self._path, self._value)

    def remove(self) -> None:
        if self._enabled:
            self._path.unlink(missing_ok=True)


class Transcript:
    """~/.claude/projects/<folder>/<session>.jsonl"""

    def __init__(self, home: Path, session_id: str, folder: Path, model: str):
        slug = re.sub(r"[^A-Za-z0-9]", "-", str(folder))
        self.path = home / ".claude" / "projects" / slug / f"{session_id}.jsonl"
        self._session_id = session_id
        self._folder = str(folder)
        self._model = model_id(model)
        self._parent: str | None = None

    def exists(self) -> bool:
        return self.path.is_file()

    def user(self, prompt_id: str, text: str, source: str) -> None:
        message = {"role": "user", "content": text}
        self._add("user", message, promptId=prompt_id, promptSource=source)

    def assistant(self, text: str) -> None:
        self._add("assistant", self._message(self._model, text, USAGE))

    def api_error(self, text: str) -> None:
        nothing = {key: 0 if isinstance(value, int) else value for key, value in USAGE.items()}
        self._add("assistant", self._message("<synthetic>", text, nothing), isApiErrorMessage=True)

    def conversation(self) -> list[tuple[str, str]]:
        """(role, text) of what was said, for a session that is taken up again."""
        said = []
        for line in self.path.read_text().splitlines():
            value = json.loads(line)
            content = value.get("message", {}).get("content")
            text = content if isinstance(content, str) else "".join(part.get("text", "") for part in content or [])
            said.append((value.get("type", ""), text))
        return said

    @staticmethod
    def _message(model: str, text: str, usage: dict) -> dict:
        return {
            "id": "msg_" + uuid.uuid4().hex[:24],
            "type": "message",
            "role": "assistant",
            "model": model,
            "content": [{"type": "text", "text": text}],
            "stop_reason": "end_turn",
            "usage": usage,
        }

    def _add(self, kind: str, message: dict, **more) -> None:
        self.path.parent.mkdir(parents=True, exist_ok=True)
        line_id = str(uuid.uuid4())
        line = {"parentUuid": self._parent, "isSidechain": False, "type": kind, "message": message, "uuid": line_id}
        line |= {"timestamp": utc_text(), "cwd": self._folder, "sessionId": self._session_id, "version": VERSION}
        append_line(self.path, line | more)
        self._parent = line_id


class Log:
    """What the agent was given, for tests that count. Does nothing without a file."""

    def __init__(self, path: str, session_id: str):
        self._path = Path(path) if path else None
        self._session_id = session_id

    def add(self, event: str, **values) -> None:
        if self._path:
            line = {"event": event, "ts": time.time(), "pid": os.getpid(), "session": self._session_id}
            append_line(self._path, line | values)


def milliseconds() -> int:
    return int(time.time() * 1000)


def utc_text() -> str:
    return datetime.now(timezone.utc).isoformat(timespec="milliseconds").replace("+00:00", "Z")


def process_start() -> str:
    """The start time that tells this process from a later one with the same id."""
    return Path("/proc/self/stat").read_text().rpartition(")")[2].split()[19]
