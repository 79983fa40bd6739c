"""Calls the hook commands of the loaded plugins and settings, with the payloads of the real command line."""
import json
import os
import re
import subprocess
from dataclasses import dataclass
from pathlib import Path

from .options import Options, UsageError

DEFAULT_TIMEOUT_SECONDS = 60
TOOL_EVENTS = ("PreToolUse", "PostToolUse", "PermissionRequest")
# events whose payload carries the turn, the mode, the effort
TURN_EVENTS = {
    "UserPromptSubmit": ("prompt_id", "permission_mode"),
    "SubagentStart": ("prompt_id",),
    "StopFailure": ("prompt_id", "effort"),
    "SessionEnd": ("prompt_id",),
    "SessionStart": (),
}


@dataclass(frozen=True)
class Command:
    event: str
    matcher: str
    command: str
    timeout: float
    plugin_root: str | None

    def applies_to(self, tool_name: str | None) -> bool:
        if tool_name is None or self.matcher in ("", "*"):
            return True
        return re.fullmatch(self.matcher, tool_name) is not None


class Hooks:
    def __init__(self, options: Options, session_id: str, transcript: Path, folder: Path, enabled: bool):
        self._commands = load(options) if enabled else []
        self._folder = str(folder)
        self._base = {"session_id": session_id, "transcript_path": str(transcript), "cwd": self._folder}
        # hooks know the asking mode by its older name
        self._mode = "default" if options.permission_mode == "manual" else options.permission_mode
        self.prompt_id: str | None = None

    def fire(self, event: str, **values) -> str | None:
        """Calls the event's hooks one after the other. The reason, when one of them denies the tool call."""
        payload = self._base | self._turn_values(event) | {"hook_event_name": event} | values
        tool_name = values.get("tool_name") if event in TOOL_EVENTS else None
        denial = None
        for command in self._commands:
            if command.event == event and command.applies_to(tool_name):
                denial = self._call(command, payload) or denial
        return denial

    def _turn_values(self, event: str) -> dict:
        values = {"prompt_id": self.prompt_id, "permission_mode": self._mode, "effort": {"level": "medium"}}
        keys = TURN_EVENTS.get(event, tuple(values))
        return {key: values[key] for key in keys if values[key] is not None}

    def _call(self, command: Command, payload: dict) -> str | None:
        try:
            done = subprocess.run(
                ["/bin/sh", "-c", command.command],
                input=json.dumps(payload).encode(),
                capture_output=True,
                cwd=self._folder if os.path.isdir(self._folder) else "/",
                env=self._environment(command, payload),
                timeout=command.timeout,
            )
        except (subprocess.TimeoutExpired, OSError):
            return None
        if payload["hook_event_name"] == "PreToolUse":
            return denial_of(done)
        return None

    def _environment(self, command: Command, payload: dict) -> dict:
        environment = dict(os.environ)
        environment |= {
            "CLAUDE_CODE_ENTRYPOINT": "cli",
            "CLAUDE_CODE_SESSION_ID": self._base["session_id"],
            "CLAUDE_PID": str(os.getpid()),
            "CLAUDE_PROJECT_DIR": self._folder,
        }
        if "effort" in payload:
            environment["CLAUDE_EFFORT"] = payload["effort"]["level"]
        if command.plugin_root:
            name = os.path.basename(command.plugin_root.rstrip("/"))
            environment["CLAUDE_PLUGIN_ROOT"] = command.plugin_root
            environment["CLAUDE_PLUGIN_DATA"] = os.path.expanduser(f"~/.claude/plugins/data/{name}-inline")
        return environment


def denial_of(done: subprocess.CompletedProcess) -> str | None:
    """Why a PreToolUse hook refused: exit status 2 with the reason on standard error, or a JSON decision."""
    if done.returncode == 2:
        return done.stderr.decode("utf-8", "replace").strip() or "denied"
    try:
        answer = json.loads(done.stdout or b"{}")["hookSpecificOutput"]
        return answer.get("permissionDecisionReason", "denied") if answer["permissionDecision"] == "deny" else None
    except (ValueError, KeyError, TypeError, AttributeError):
        return None


def load(options: Options) -> list[Command]:
    commands = []
    for folder in options.plugin_dirs:
        root = os.path.abspath(folder)
        path = Path(root) / "hooks" / "hooks.json"
        if path.is_file():
            commands += _commands(_parse(path.read_text(), str(path)), root)
    for settings in options.settings:
        text = settings if settings.lstrip().startswith("{") else _read_settings(settings)
        commands += _commands(_parse(text, "--settings"), None)
    return commands


def _read_settings(path: str) -> str:
    try:
        return Path(path).read_text()
    except OSError:
        raise UsageError(f"Error: Settings file not found: {path}") from None


def _parse(text: str, source: str) -> dict:
    try:
        value = json.loads(text)
    except ValueError as error:
        raise UsageError(f"Error: Invalid JSON in {source}: {error}") from None
    return value if isinstance(value, dict) else {}


def _commands(value: dict, root: str | None) -> list[Command]:
    commands = []
    for event, groups in value.get("hooks", {}).items():
        for group in groups:
            for hook in group.get("hooks", []):
                if hook.get("type") == "command":
                    text = hook["command"].replace("${CLAUDE_PLUGIN_ROOT}", root) if root else hook["command"]
                    timeout = hook.get("timeout", DEFAULT_TIMEOUT_SECONDS)
                    commands.append(Command(event, group.get("matcher", ""), text, timeout, root))
    return commands
