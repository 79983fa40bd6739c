"""Which tool calls the plugin lets through by itself."""
import json
import pathlib
import subprocess
import sys
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "plugin" / "hooks" / "allow_reporting.py"
PREFIX = "mcp__plugin_keelhaven_keelhaven__"


def answer(payload: bytes, in_run: bool = True) -> str:
    environment = {"KEELHAVEN_RUN_DIR": "/tmp/run"} if in_run else {}
    result = subprocess.run([sys.executable, "-I", "-S", SCRIPT], input=payload, env=environment, capture_output=True, check=True)
    return result.stdout.decode()


class AllowReporting(unittest.TestCase):
    def test_only_our_tools_in_a_run_are_allowed(self):
        for tool, in_run, allowed in [(PREFIX + "add_asset", True, True), (PREFIX + "ask_question", True, True), (PREFIX + "add_asset", False, False),
                                      (PREFIX + "delete_all", True, False), ("Bash", True, False), ("x" + PREFIX + "add_asset", True, False)]:
            with self.subTest(tool=tool, in_run=in_run):
                output = answer(json.dumps({"hook_event_name": "PreToolUse", "tool_name": tool}).encode(), in_run)
                self.assertEqual(bool(output), allowed)
                if allowed:
                    self.assertEqual(json.loads(output)["hookSpecificOutput"]["permissionDecision"], "allow")

    def test_bad_input_gives_no_answer(self):
        for payload in (b"", b"{", b"[]", b'{"tool_name": []}', b"[" * 100000, b"\xff"):
            self.assertEqual(answer(payload), "")


if __name__ == "__main__":
    unittest.main()
