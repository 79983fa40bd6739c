"""One turn: what the agent does between a prompt and its Stop."""
import json
import os
import re
import time
import uuid
from collections.abc import Generator
from pathlib import Path
from typing import TYPE_CHECKING

from . import dialogs
from .records import append_line

if TYPE_CHECKING:
    from .agent import Agent

POINTER = re.compile(r"My brief for you is in the file (.+?) — read it now")
RESULT = re.compile(r" When you are completely done, write a JSON file at (.+?) shaped like ")
HEADLINE_CHARACTERS = 80
FLOOD_LINE = b"0123456789abcdef" * 4 + b"\r\n"
FLOOD_PART_BYTES = 65536
LOOK_SECONDS = 0.05

# What a turn yields: seconds to wait, or a dialog to ask. It is sent the dialog's answer.
Steps = Generator[float | dialogs.Dialog, int | None, None]


class Turn:
    def __init__(self, agent: "Agent", prompt: str):
        self._agent = agent
        self._prompt = prompt
        self._seconds = agent.script.number("WORK_SECONDS", 1)
        self._run_dir = os.environ.get("KEELHAVEN_RUN_DIR")
        self._task = prompt

    def run(self) -> Steps:
        agent, script = self._agent, self._agent.script
        self._read_brief()
        self._journal("progress", text=f"Working on: {self._headline()}")
        self._ask_question()
        yield self._seconds / 2
        agent.view.say("● Working on it.", "")
        yield from self._flood()
        if script.is_on("PERMISSION"):
            allowed = yield from self._ask_permission()
            if not allowed:
                agent.stop_short()
                return
        kind = script.text("SUBAGENT")
        if kind:
            agent_id = self._start_subagent(kind)
        yield self._seconds / 2
        yield from self._wait_for_file()
        if script.is_on("API_ERROR"):
            self._fail()
            return
        if kind == "background":
            yield from self._wait_for_subagent(agent_id)
        self._hand_over()
        self._write_result()
        message = f"Done: {self._headline()}"
        self._journal("summary", text=message)
        self._stop(message, [])

    def _headline(self) -> str:
        text = RESULT.split(self._task)[0].strip()
        line = text.splitlines()[0] if text else "nothing"
        return line if len(line) <= HEADLINE_CHARACTERS else line[: HEADLINE_CHARACTERS - 1] + "…"

    def _read_brief(self) -> None:
        match = POINTER.search(self._prompt)
        if not match:
            return
        path = Path(match.group(1))
        if self._use_tool("Read", {"file_path": str(path)}, {"type": "text"}, path.is_file):
            self._task = path.read_bytes().decode("utf-8", "replace")
            self._agent.log.add("brief", text=self._task, path=str(path))

    def _wait_for_file(self) -> Steps:
        file = self._agent.script.text("WORK_UNTIL")
        while file and not Path(file).exists():
            yield LOOK_SECONDS

    def _flood(self) -> Steps:
        left = int(self._agent.script.number("FLOOD_MB") * 1024 * 1024)
        part = FLOOD_LINE * (FLOOD_PART_BYTES // len(FLOOD_LINE))
        while left > 0:
            self._agent.terminal.write(part[:left])
            left -= len(part)
            yield 0
        self._agent.terminal.forget_frame()

    def _ask_permission(self) -> Generator[dialogs.Dialog, int | None, bool]:
        agent, command = self._agent, "touch by-bash.txt"
        tool_input = {"command": command, "description": "Run a scripted command"}
        tool = {"tool_name": "Bash", "tool_input": tool_input}
        agent.hooks.fire("PreToolUse", **tool, tool_use_id=tool_use_id())
        agent.hooks.fire("PermissionRequest", **tool, permission_suggestions=[])
        agent.view.say("● Running a scripted command", f"  ⎿  $ {command}", "")
        dialog = dialogs.permission(command, agent.folder, agent.terminal.size[0])
        answer = yield dialog
        if answer not in dialog.accepting:
            return False
        agent.hooks.fire("PostToolUse", **tool, tool_response={"stdout": ""}, tool_use_id=tool_use_id(), duration_ms=4)
        return True

    def _use_tool(self, name: str, tool_input: dict, response: dict, action) -> bool:
        """True when no hook denied the call and `action` succeeded."""
        use = {"tool_name": name, "tool_input": tool_input, "tool_use_id": tool_use_id()}
        denial = self._agent.hooks.fire("PreToolUse", **use)
        if denial:
            self._agent.view.say(f"● {name} was refused: {denial}", "")
            return False
        if action() is False:
            self._agent.view.say(f"● {name} failed", "")
            return False
        self._agent.hooks.fire("PostToolUse", **use, tool_response=response, duration_ms=3)
        return True

    def _start_subagent(self, kind: str) -> str:
        hooks, agent_id = self._agent.hooks, "a" + uuid.uuid4().hex[:16]
        tool_input = {"description": "scripted sub-agent", "prompt": "look around", "subagent_type": "general-purpose"}
        use = {"tool_name": "Agent", "tool_input": tool_input, "tool_use_id": tool_use_id(), "duration_ms": 28}
        who = {"agent_id": agent_id, "agent_type": "general-purpose"}
        hooks.fire("PreToolUse", **{key: value for key, value in use.items() if key != "duration_ms"})
        if kind == "background":
            response = {"isAsync": True, "status": "async_launched", "agentId": agent_id}
            hooks.fire("PostToolUse", **use, tool_response=response)
            hooks.fire("SubagentStart", **who)
        else:
            hooks.fire("SubagentStart", **who)
            hooks.fire("SubagentStop", **who, **self._ending("looked around", []))
            hooks.fire("PostToolUse", **use, tool_response={"status": "completed", "agentId": agent_id})
        return agent_id

    def _wait_for_subagent(self, agent_id: str) -> Steps:
        """The turn stops while the sub-agent runs on; its end begins a further turn that nobody typed."""
        agent = self._agent
        task = {"id": agent_id, "type": "subagent", "status": "running", "agent_type": "general-purpose"}
        self._stop("Waiting for the sub-agent.", [task])
        agent.view.phase = "background"
        yield max(self._seconds, 0.05)
        who = {"agent_id": agent_id, "agent_type": "general-purpose"}
        agent.hooks.fire("SubagentStop", **who, **self._ending("looked around", [task]))
        agent.hooks.prompt_id = str(uuid.uuid4())
        agent.hooks.fire("UserPromptSubmit", prompt=f"<task-notification>{agent_id} finished</task-notification>")
        agent.view.phase = "working"
        yield self._seconds / 2

    def _ask_question(self) -> None:
        question = self._agent.script.text("ASK")
        if question and not any(role == "assistant" for role, _ in self._agent.transcript.conversation()):
            self._journal("question", question=question)

    def _hand_over(self) -> None:
        if not (name := self._agent.script.text("ASSET")):
            return
        path, content = self._agent.folder / Path(name).expanduser(), "Made by the scripted agent.\n"
        tool = {"file_path": str(path), "content": content}, {"type": "create", "filePath": str(path)}
        if path.is_file() or self._use_tool("Write", *tool, lambda: write_text(path, content)):
            self._journal("asset", path=str(path))

    def _write_result(self) -> None:
        match = RESULT.search(self._task)
        if not match:
            return
        path = Path(match.group(1))
        result = json.dumps({"summary": f"The scripted agent worked on: {self._headline()}", "artifacts": [], "links": []})
        tool = {"file_path": str(path), "content": result}, {"type": "create", "filePath": str(path)}
        self._use_tool("Write", *tool, lambda: write_text(path, result))

    def _journal(self, kind: str, **members: str) -> None:
        if not self._run_dir:
            return
        line = {"type": kind, "ts": time.time()} | members
        if run_id := os.environ.get("KEELHAVEN_RUN_ID"):
            line["run_id"] = run_id
        try:
            append_line(Path(self._run_dir) / "journal.jsonl", line)
        except OSError as error:
            self._agent.view.say(f"● The journal cannot be written: {error}", "")

    def _fail(self) -> None:
        agent, text = self._agent, "API Error: 400 scripted error"
        agent.transcript.api_error(text)
        agent.view.say(f"● {text}", "")
        agent.hooks.fire("StopFailure", error="unknown", last_assistant_message=text)

    def _stop(self, message: str, background_tasks: list) -> None:
        agent = self._agent
        agent.transcript.assistant(message)
        clock = time.strftime("%I:%M %p").lstrip("0")
        agent.view.say(f"● {message}", "", f"✻ Crunched for {agent.view.seconds}s · done {clock}", "")
        agent.log.add("stop", message=message)
        agent.hooks.fire("Stop", **self._ending(message, background_tasks))

    @staticmethod
    def _ending(message: str, background_tasks: list) -> dict:
        return {
            "stop_hook_active": False,
            "last_assistant_message": message,
            "background_tasks": background_tasks,
            "session_crons": [],
        }


def write_text(path: Path, text: str) -> bool:
    try:
        path.write_text(text)
    except OSError:
        return False
    return True


def tool_use_id() -> str:
    return "toolu_" + uuid.uuid4().hex[:24]
