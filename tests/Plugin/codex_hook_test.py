"""The hook script of Codex sessions: which line an event leaves in the run's file, and in which sessions."""
import json
import os
import shlex
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

PLUGIN = Path(__file__).resolve().parents[2] / "plugin"
sys.path[:0] = [str(PLUGIN), str(PLUGIN / "hooks")]

import codex_hook  # noqa: E402
from keelhaven import codex_hooks  # noqa: E402

RUN_ID = "6F9619FF-8B86-D011-B42D-00CF4FC964FF"
COMMON = {"session_id": "s-1", "turn_id": "t-1", "cwd": "/ws"}
BASE = COMMON | {"transcript_path": "/r.jsonl", "model": "m", "permission_mode": "default"}
LINE = COMMON | {"ts": 5.5, "provider": "codex", "source": "codex", "run_id": RUN_ID}
TOOL = {"tool_name": "Bash", "tool_input": {"command": "secret"}, "tool_use_id": "c-1"}

# event: what Codex says besides BASE, what stands in the line besides LINE; None is no line
CASES = {
    "SessionStart": ({"source": "startup", "turn_id": None}, {"start_source": "startup", "turn_id": None}),
    "UserPromptSubmit": ({"prompt": "secret"}, {}),
    "PreToolUse": (TOOL, {"tool_name": "Bash"}),
    "PermissionRequest": (TOOL, {"tool_name": "Bash"}),
    "PostToolUse": (TOOL | {"tool_response": "secret"}, {"tool_name": "Bash"}),
    "SubagentStart": ({"agent_id": "a-1", "agent_type": "x"}, {"agent_id": "a-1"}),
    "SubagentStop": ({"agent_id": "a-1", "last_assistant_message": "looked"}, {"agent_id": "a-1"}),
    "Stop": ({"stop_hook_active": False, "last_assistant_message": "hello, all done"}, {"last_message": "hello, all"}),
    "Interrupt": ({"session_id": 7}, {"session_id": None}),
    "SessionEnd": ({"reason": "other"}, {}),
    "PreCompact": ({}, None),
}


class CodexHookTest(unittest.TestCase):
    def setUp(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        self.home = home.name
        self.folder = Path(self.home, ".cache/keelhaven/codex-runs")

    def run_hook(self, data, run_id, script=codex_hooks.SCRIPT):
        environment = {"HOME": self.home, "PATH": os.environ["PATH"], "KEELHAVEN_RUN_ID": run_id}
        command = shlex.split(codex_hooks.command().replace(str(codex_hooks.SCRIPT), str(script)))
        done = subprocess.run(command, input=data, capture_output=True, env=environment)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))

    def test_each_event_leaves_its_line(self):
        for kind, (said, expected) in CASES.items():
            with self.subTest(kind):
                record = codex_hook.event_record(BASE | {"hook_event_name": kind} | said, 5.5, RUN_ID, 10)
                if expected is not None:
                    expected = {key: value for key, value in (LINE | {"type": kind} | expected).items() if value is not None}
                self.assertEqual(record, expected)

    def test_events_that_are_installed_are_those_recorded(self):
        self.assertEqual(tuple(codex_hooks.EVENTS), codex_hook.RECORDED_TYPES)

    def test_installed_command_writes_private_lines_into_the_file_of_the_run(self):
        for kind in ("SessionStart", "Stop"):
            self.run_hook(json.dumps(BASE | {"hook_event_name": kind}).encode(), RUN_ID.lower())
        path = self.folder / f"{RUN_ID}.jsonl"
        told = [(line["type"], line["run_id"]) for line in map(json.loads, path.read_bytes().splitlines())]
        self.assertEqual(told, [("SessionStart", RUN_ID), ("Stop", RUN_ID)])
        places = (self.folder.parent, self.folder, path)
        self.assertEqual([os.stat(place).st_mode & 0o777 for place in places], [0o700, 0o700, 0o600])

    def test_other_sessions_and_trouble_leave_nothing(self):
        good = json.dumps(BASE | {"hook_event_name": "Stop"}).encode()
        for run_id in ("", "7", "../../../../x", RUN_ID + "0", RUN_ID.replace("6", "g"), RUN_ID.replace("-", ""), "/" * 36):
            self.run_hook(good, run_id)
        for data in (b"", b"{", b"[]", b"[" * 100000, good + b" x"):
            self.run_hook(data, RUN_ID)
        self.run_hook(good, RUN_ID, script="/gone/hooks/codex_hook.py")
        self.assertEqual(list(Path(self.home).rglob("*.jsonl")), [])


if __name__ == "__main__":
    unittest.main()
