"""The hook script: which line an event leaves, and that lines of parallel sessions stay whole."""
import fcntl
import json
import multiprocessing
import os
import subprocess
import sys
import tempfile
import unittest
import unittest.mock
from pathlib import Path

PLUGIN = Path(__file__).resolve().parents[2] / "plugin"
sys.path.insert(0, str(PLUGIN / "hooks"))

import event_hook  # noqa: E402

BASE = {"session_id": "s-1", "transcript_path": "/t.jsonl", "cwd": "/ws", "prompt_id": "p-1", "permission_mode": "auto"}
LINE = {"ts": 5.5, "provider": "claude", "session_id": "s-1", "cwd": "/ws", "turn_id": "p-1"}
AGENT = {"hook_event_name": "PostToolUse", "tool_name": "Agent", "tool_input": {"prompt": "secret"}}

# what the CLI says besides BASE, what stands in the line besides LINE; None is no line
CASES = {
    "start": ({"hook_event_name": "SessionStart", "source": "startup"}, {"type": "SessionStart"}),
    "prompt": ({"hook_event_name": "UserPromptSubmit", "prompt": "secret"}, {"type": "UserPromptSubmit"}),
    "stop": ({"hook_event_name": "Stop", "last_assistant_message": "all done"}, {"type": "Stop", "last_message": "all done"}),
    "stop with work in the background": (
        {"hook_event_name": "Stop", "last_assistant_message": "", "background_tasks": [{"id": "a1"}]},
        {"type": "Stop"},
    ),
    "stop failure": ({"hook_event_name": "StopFailure", "error": "rate_limit", "last_assistant_message": "API Error"}, None),
    "tool": (
        AGENT | {"tool_name": "Write", "tool_response": "secret"},
        {"type": "PostToolUse", "tool_name": "Write"},
    ),
    "agent in the background": (
        AGENT | {"tool_response": {"status": "async_launched"}},
        {"type": "PostToolUse", "tool_name": "Agent"},
    ),
    "agent in the foreground": (AGENT | {"tool_response": {"status": "completed"}}, None),
    "older task tool in the foreground": (AGENT | {"tool_name": "Task", "tool_response": {"status": "completed"}}, None),
    "agent with an answer that is a list": (AGENT | {"tool_response": [{"type": "text"}]}, None),
    "agent's end": (
        {"hook_event_name": "SubagentStop", "agent_id": "a1", "agent_type": "general-purpose", "last_assistant_message": "hi"},
        {"type": "SubagentStop", "agent_id": "a1", "agent_type": "general-purpose"},
    ),
    "end": ({"hook_event_name": "SessionEnd", "reason": "other"}, {"type": "SessionEnd"}),
    "values of the wrong type": (
        {"hook_event_name": "Stop", "prompt_id": 7, "last_assistant_message": ["x"]},
        {"type": "Stop", "turn_id": None},
    ),
    "another event": ({"hook_event_name": "Notification", "message": "x"}, None),
}


def append_many(folder, writer, count):
    for number in range(count):
        event_hook.append(folder, event_hook.encode({"writer": str(writer), "number": number, "filler": "é" * (37 * writer)}))


class EventHookTest(unittest.TestCase):
    def setUp(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        self.home = home.name
        self.folder = home.name + "/.cache/keelhaven"
        self.log = Path(self.folder, "events.jsonl")

    def run_hook(self, data, event="Stop", root=PLUGIN, **environment):
        hooks = json.loads((PLUGIN / "hooks/hooks.json").read_text())["hooks"]
        command = hooks[event][0]["hooks"][0]["command"].replace("${CLAUDE_PLUGIN_ROOT}", str(root))
        environment = {"HOME": self.home, "PATH": os.environ["PATH"]} | environment
        return subprocess.run(["/bin/sh", "-c", command], input=data, capture_output=True, env=environment)

    def lines(self, name="events.jsonl"):
        return [json.loads(line) for line in Path(self.folder, name).read_bytes().splitlines()]

    def test_each_event_leaves_its_line(self):
        for name, (said, expected) in CASES.items():
            with self.subTest(name):
                record = event_hook.event_record(BASE | said, 5.5, {})
                if expected is not None:
                    expected = {key: value for key, value in (LINE | expected).items() if value is not None}
                self.assertEqual(record, expected)

    def test_a_run_that_is_hung_up_has_not_ended_its_session(self):
        run = {"KEELHAVEN_RUN_ID": "6F96"}
        for reason, is_written in [("other", False), ("prompt_input_exit", True), ("clear", True), (None, True)]:
            with self.subTest(reason):
                record = event_hook.event_record(BASE | {"hook_event_name": "SessionEnd", "reason": reason}, 5.5, run)
                self.assertEqual(record is not None, is_written)

    def test_hooks_file_names_exactly_the_recorded_events(self):
        hooks = json.loads((PLUGIN / "hooks/hooks.json").read_text())["hooks"]
        # PreToolUse records nothing: it lets the reporting tools through.
        self.assertEqual(set(hooks) - {"PreToolUse"}, set(event_hook.RECORDED_TYPES))

    def test_registered_command_writes_a_private_line_with_the_run(self):
        os.makedirs(self.folder, 0o755)
        done = self.run_hook(json.dumps(BASE | CASES["stop"][0]).encode(), KEELHAVEN_RUN_ID="6F96")
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))
        self.assertEqual([line["run_id"] for line in self.lines()], ["6F96"])
        self.assertEqual([os.stat(path).st_mode & 0o777 for path in (self.folder, self.log)], [0o700, 0o600])

    def test_trouble_never_reaches_the_session(self):
        good = json.dumps(BASE | CASES["stop"][0]).encode()
        for name, data, home in [("no JSON", b"{", self.home), ("a list", b"[]", self.home), ("nothing", b"", self.home),
                                 ("deep", b"[" * 100000, self.home), ("no place to write", good, "/dev/null")]:
            with self.subTest(name):
                done = self.run_hook(data, HOME=home)
                self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))
        for event, _ in json.loads((PLUGIN / "hooks/hooks.json").read_text())["hooks"].items():
            for name, changed in [("no script", {"root": "/gone"}), ("no Python", {"PATH": "/gone"})]:
                with self.subTest(name, event=event):
                    done = self.run_hook(good, event, **changed)
                    self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))
        self.assertFalse(self.log.exists())

    def test_a_python_with_another_scanner_reads_the_same(self):
        for trouble in (AttributeError("array_hook"), TypeError("two arguments")):
            with unittest.mock.patch("_json.make_scanner", side_effect=trouble):
                self.assertEqual(event_hook.parse(' {"a": ["\t", 1.5]}\n'), {"a": ["\t", 1.5]})
                with self.assertRaises(ValueError):
                    event_hook.parse("{} x")

    def test_a_file_system_without_locks_or_modes_costs_no_event(self):
        os.makedirs(self.folder, 0o755)
        with unittest.mock.patch("fcntl.flock", side_effect=OSError(95, "not supported")):
            with unittest.mock.patch("os.chmod", side_effect=PermissionError):
                event_hook.append(self.folder, b'{"number": 1}\n')
        self.assertEqual(self.lines(), [{"number": 1}])

    def test_any_text_makes_a_line_that_can_be_read_again(self):
        for text in ["\"quoted\" \\ back", "line\nfeed\ttab\r\x01\x7f", "é ✓ 🚢 \u2028", "x" * 70000]:
            payload = event_hook.parse(json.dumps(BASE | CASES["stop"][0] | {"last_assistant_message": text}))
            line = event_hook.encode(event_hook.event_record(payload, 1.0, {}))
            self.assertEqual(line.count(b"\n"), 1)
            self.assertEqual(json.loads(line)["last_message"], text[: event_hook.MAX_MESSAGE_CHARACTERS])
        halved = event_hook.parse('{"text": "\\ud83d"}')
        self.assertEqual(json.loads(event_hook.encode(halved).decode("utf-8")), {"text": "?"})

    def test_parallel_sessions_tear_nothing(self):
        writers = [multiprocessing.Process(target=append_many, args=(self.folder, writer, 100)) for writer in range(8)]
        for writer in writers:
            writer.start()
        for writer in writers:
            writer.join()
        seen = [(line["writer"], line["number"]) for line in self.lines()]
        self.assertEqual(sorted(seen), sorted((str(writer), number) for writer in range(8) for number in range(100)))

    def test_rotation_keeps_both_files_below_the_limit_and_no_line_twice(self):
        for number in range(100):
            event_hook.append(self.folder, b'{"number": %d}\n' % number, max_bytes=300)
        older, newer = ([line["number"] for line in self.lines(name)] for name in ("events.1.jsonl", "events.jsonl"))
        self.assertEqual(older + newer, list(range(older[0], 100)))
        self.assertTrue(older and newer)
        self.assertLessEqual(max(path.stat().st_size for path in Path(self.folder).glob("*.jsonl")), 300)

    def test_line_after_a_torn_one_stands_alone(self):
        event_hook.append(self.folder, b'{"number": 1}\n')
        with self.log.open("ab") as log:
            log.write(b'{"number": 2, "text": "half')
        event_hook.append(self.folder, b'{"number": 3}\n')
        lines = self.log.read_bytes().splitlines()
        self.assertEqual([lines[0], lines[-1]], [b'{"number": 1}', b'{"number": 3}'])

    def test_a_lock_that_is_never_given_back_costs_no_event(self):
        event_hook.append(self.folder, b"{}\n")
        impatient = unittest.mock.patch.object(event_hook, "LOCK_PATIENCE_SECONDS", 0.01)
        with open(self.folder + "/events.lock", "rb") as lock, impatient:
            fcntl.flock(lock, fcntl.LOCK_EX)
            event_hook.append(self.folder, b'{"number": 2}\n')
        self.assertEqual(self.lines()[-1], {"number": 2})


if __name__ == "__main__":
    unittest.main()
