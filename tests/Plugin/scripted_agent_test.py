"""The scripted agent against the behaviour of the command line it stands in for."""
import json
import signal
import unittest

from agent_session import ROOT, RUN_ID, AgentSession, Home

PLUGIN = ("--plugin-dir", str(ROOT / "plugin"))
POINTER = "My brief for you is in the file {} — read it now and carry it out exactly."
CONTRACT = ' When you are completely done, write a JSON file at {} shaped like {{"summary": "…"}} — then stop.'
PASTE = "\x1b[200~{}\x1b[201~"
DOWN = "\x1b[B"
LONG = "x" * 64
ODD = LONG * 3 + "\n;-\ttab ✓ 🚢\\"


class ScriptedAgentTest(unittest.TestCase):
    def setUp(self):
        self.home = Home()
        self.addCleanup(self.home.close)

    def start(self, *arguments, **script):
        session = AgentSession(self.home, arguments, **script)
        self.addCleanup(session.close)
        return session

    def start_idle(self, *arguments, **script):
        session = self.start(*arguments, **script)
        session.wait_for_rest()
        return session

    def event_types(self):
        return [line["type"] for line in self.home.lines(".cache/keelhaven/events.jsonl")]

    def recording(self, event, matcher="*", then="true"):
        """Settings whose hook keeps the payload in `hook.jsonl` and then runs a command."""
        command = f'(cat; echo) >> "$HOME/hook.jsonl"; {then}'
        return json.dumps({"hooks": {event: [{"matcher": matcher, "hooks": [{"type": "command", "command": command}]}]}})

    def test_prompt_to_result(self):
        brief, result = self.home.run / "brief.md", self.home.run / "result.json"
        brief.write_text("Count the boats." + CONTRACT.format(result))
        session = self.start_idle(*PLUGIN, "--permission-mode", "auto", "--add-dir", "/a", "/b", "--model", "opus")
        session.wait_for_text("auto mode on")
        self.assertEqual([session.command_line[0], session.command_line[-1]], ["claude", "opus"])
        self.assertIn("\x1b]0;✳ Claude Code\x07".encode(), session.output)
        session.type(PASTE.format(POINTER.format(brief)), "\r")
        session.wait_for("stop")
        session.wait_for_rest()
        session.type("/exit", "\r")
        self.assertEqual(session.wait_for_exit(), 0)

        self.assertIn("esc to interrupt", session.output.decode())
        self.assertTrue(session.output.decode().rstrip().endswith("claude --resume " + session.events("exit")[0]["session"]))
        self.assertEqual(json.loads(result.read_text())["summary"], "The scripted agent worked on: Count the boats.")
        journal = self.home.lines("run/journal.jsonl")
        self.assertEqual([(line["type"], line["run_id"]) for line in journal], [("progress", RUN_ID), ("summary", RUN_ID)])
        expected = ["SessionStart", "UserPromptSubmit", "PostToolUse", "PostToolUse", "Stop", "SessionEnd"]
        self.assertEqual(self.event_types(), expected)
        stop = self.home.lines(".cache/keelhaven/events.jsonl")[4]
        self.assertEqual((stop["run_id"], stop["last_message"]), (RUN_ID, "Done: Count the boats."))
        transcript = next((self.home.path / ".claude/projects").rglob("*.jsonl"))
        self.assertEqual(transcript.parent.name, "".join(c if c.isalnum() else "-" for c in str(self.home.work)))
        said = self.home.lines(transcript)
        self.assertEqual([line["type"] for line in said], ["user", "assistant"])
        self.assertEqual(said[1]["message"]["usage"]["output_tokens"], 20)
        self.assertIsNone(self.home.session_status())

    def test_what_submits_and_what_breaks_the_line(self):
        cases = [
            ("short text with Enter", ["hello\r"], ["hello"]),
            ("glued Enter is swallowed", [LONG + "\r", "\r"], [LONG + "\n"]),
            ("Enter in a write of its own", [LONG, "\r"], [LONG]),
            ("line feed", ["a\nb", "\r"], ["a\nb"]),
            ("paste with Enter right behind it", [PASTE.format(ODD) + "\r"], [ODD]),
            ("paste in two writes", ["\x1b[200~ab", "cd\x1b[201~", "\r"], ["abcd"]),
            ("character in two writes", [b"\xe2\x9c", b"\x93", "\r"], ["✓"]),
            ("cleared line", ["wrong", "\x15", "right\r"], ["right"]),
            ("answer of the terminal", ["\x1b_Gi=31;OK\x1b\\ok\r"], ["ok"]),
        ]
        session, total = self.start_idle(), 0
        for name, writes, prompts in cases:
            with self.subTest(name):
                session.type(*writes)
                session.wait_for("stop", total + len(prompts))
                self.assertEqual(session.prompts()[total:], prompts)
                total += len(prompts)
                session.wait_for_rest()

    def test_large_paste_arrives_exactly_and_wrapped_for_the_hook(self):
        text = "".join(f"{number} é ✓ 🚢 ; \\ 'quoted'\t\n" for number in range(4000)) + "end"
        session = self.start_idle("--settings", self.recording("UserPromptSubmit"))
        self.assertGreater(len(text.encode()), 100_000)
        session.type(PASTE.format(text), "\r")
        session.wait_for("stop")
        self.assertEqual(session.prompts(), [text])
        prompt = self.home.lines("hook.jsonl")[0]["prompt"]
        self.assertRegex(prompt[:40], r'^\n\n<pasted_content id="\w+">\n0 é')
        self.assertIn(text, prompt)

    def test_positional_prompt_is_not_wrapped(self):
        text = "line\n" * 300
        session = self.start("--settings", self.recording("UserPromptSubmit"), "--", text)
        session.wait_for("stop")
        self.assertEqual(self.home.lines("hook.jsonl")[0]["prompt"], text)

    def test_swallowed_enter_leaves_the_text_in_the_box(self):
        session = self.start_idle(SWALLOW_ENTER=2)
        session.type("do it", "\r", "\r", "\r")
        session.wait_for("stop")
        self.assertEqual([event["effect"] for event in session.events("enter")], ["swallowed", "swallowed", "submit"])
        self.assertEqual(session.prompts(), ["do it"])

    def test_trust_question(self):
        cases = [
            ("2.1.330", ["\r"], "❯ No, exit", 1),
            ("2.1.330", ["1", "\r"], "❯ No, exit", 1),
            ("2.1.330", [PASTE.format("my prompt"), "\r"], "❯ No, exit", 1),
            ("2.1.197", ["\x1b"], "❯ 1. Yes, I trust this folder", 1),
            ("2.1.330", [DOWN, "\r"], "❯ No, exit", 0),
        ]
        for release, writes, selected, status in cases:
            with self.subTest(release=release, writes=writes):
                session = self.start(TRUST=release)
                session.wait_for_text("Enter to confirm")
                self.assertIn(selected, session.screen)
                session.type(*writes)
                if status == 0:
                    session.wait_for_rest()
                    session.type("/exit\r")
                self.assertEqual(session.wait_for_exit(), status)
                self.assertEqual("this folder isn't trusted" in session.output.decode(), status == 1)
                self.assertEqual(session.prompts(), [])
        self.start_idle(TRUST="2.1.330")  # the answer was kept

    def test_older_trust_question_and_those_behind_it(self):
        session = self.start(TRUST="2.1.197", SECOND_DIALOG=1, UNKNOWN_DIALOG=1)
        for text in ("❯ 1. Yes, I trust", "❯ 1. Yes, proceed", "❯ 1. Left"):
            session.wait_for_text(text)
            self.assertIsNone(self.home.session_status())
            session.type("\r")
        session.wait_for_rest()
        names = [(event["name"], event["choice"]) for event in session.events("dialog_answer")]
        self.assertEqual(names, [("trust", "Yes, I trust this folder"), ("trust-files", "Yes, proceed"), ("unknown", "Left")])

    def test_permission_in_the_middle_of_the_turn(self):
        session = self.start_idle(*PLUGIN, PERMISSION=1)
        session.type("go\r")
        session.wait_for_text("Do you want to proceed?\r\n ❯ 1. Yes")
        session.wait_for_status("waiting")
        session.type("\x1b")
        session.wait_for_text("Interrupted · What should Claude do instead?")
        session.type("again\r")
        session.wait_for("dialog", 2)
        session.type("\r")
        session.wait_for("stop")
        session.wait_for_rest()
        self.assertEqual(self.event_types().count("Stop"), 1)

    def test_turns_that_end_otherwise(self):
        both = ["SessionStart", "UserPromptSubmit"]
        cases = [
            ({"API_ERROR": 1}, both, "API Error: 400"),
            ({"SUBAGENT": "background"}, [*both, "PostToolUse", "Stop", "SubagentStop", "UserPromptSubmit", "Stop"], "Done: go"),
            ({"SUBAGENT": "foreground"}, [*both, "SubagentStop", "Stop"], "Done: go"),
            ({"GO_ON": 1}, [*both, "Stop", "UserPromptSubmit", "Stop"], "Done: And now"),
            ({"FLOOD_MB": 1}, [*both, "Stop"], "Done: go"),
            ({"NO_HOOKS": 1}, [], "Done: go"),
        ]
        for script, expected, shown in cases:
            with self.subTest(script):
                (self.home.path / ".cache/keelhaven/events.jsonl").unlink(missing_ok=True)
                session = self.start_idle(*PLUGIN, **script)
                session.type("go\r")
                session.wait_for_text(shown)
                session.wait_for_rest()
                self.assertEqual(self.event_types(), expected)
                session.type("/exit\r")
                self.assertEqual(session.wait_for_exit(), 0)

    def test_typing_while_busy_is_queued_and_escape_interrupts(self):
        session = self.start_idle(*PLUGIN, WORK_SECONDS=600)
        session.type("first\r", "second\r")
        session.wait_for_text("Press up to edit queued messages")
        session.type("\x1b")
        session.wait_for("prompt", 2)
        session.type("\x1b")
        session.wait_for("interrupt", 2)
        session.wait_for_rest()
        self.assertEqual(session.prompts(), ["first", "second"])
        self.assertNotIn("Stop", self.event_types())
        session.type("\x15", "\x03", "\x03")  # nothing had been printed: the prompt was back in the box
        self.assertEqual(session.wait_for_exit(), 0)

    def test_one_that_will_not_leave_and_one_that_hangs(self):
        for script, prompt in [({"IGNORE_EXIT": 1}, "go\r"), ({"HANG": 1}, "go\r")]:
            with self.subTest(script):
                session = self.start_idle("--settings", self.recording("SessionEnd"), **script)
                session.type(prompt)
                session.wait_for("prompt")
                if "HANG" in script:
                    session.wait_for_status("busy")
                else:
                    session.wait_for_rest()
                    session.type("/exit", "\r", "\x03", "\x03")
                    session.wait_for("enter", 2)
                session.signal(signal.SIGHUP)
                self.assertEqual(session.wait_for_exit(), 129)
        self.assertEqual([payload["reason"] for payload in self.home.lines("hook.jsonl")], ["other", "other"])

    def test_question_and_asset_go_into_the_journal(self):
        session = self.start_idle(ASK="Red or blue?", ASSET="out.txt")
        for count in (1, 2):
            session.type("go\r")
            session.wait_for("stop", count)
            session.wait_for_rest()
        journal = [line for line in self.home.lines("run/journal.jsonl") if line["type"] in ("question", "asset")]
        asset = ("asset", None, str(self.home.work / "out.txt"))
        told = [(line["type"], line.get("question"), line.get("path")) for line in journal]
        self.assertEqual(told, [("question", "Red or blue?", None), asset, asset])
        self.assertTrue((self.home.work / "out.txt").read_text())

    def test_hook_that_denies_the_write_stops_the_result(self):
        result = self.home.run / "result.json"
        session = self.start_idle("--settings", self.recording("PreToolUse", "Bash|Write", "echo no >&2; exit 2"))
        session.type(PASTE.format("go" + CONTRACT.format(result)), "\r")
        session.wait_for("stop")
        session.wait_for_text("Write was refused: no")
        self.assertFalse(result.exists())

    def test_sessions_are_taken_up_again_by_their_id(self):
        session = self.start_idle()
        session.type("remember me\r")
        session.wait_for("stop")
        name = session.events("prompt")[0]["session"]
        session.type("/exit\r")
        session.wait_for_exit()
        session = self.start_idle("--resume", name, "--settings", self.recording("SessionStart"))
        session.wait_for_text("❯ remember me")
        payload = self.home.lines("hook.jsonl")[0]
        self.assertEqual((payload["session_id"], payload["source"]), (name, "resume"))

    def test_command_lines_that_never_start(self):
        unknown = "00000000-0000-4000-8000-000000000000"
        cases = [
            (["--nonsense"], {}, 1, "unknown option '--nonsense'"),
            (["--permission-mode", "careless"], {}, 1, "Allowed choices are"),
            (["--resume", unknown], {}, 1, "No conversation found with session ID: " + unknown),
            ([], {"EXIT_AT_ONCE": 7}, 7, ""),
            (["auth", "status", "--json"], {}, 0, '"loggedIn": true'),
        ]
        for arguments, script, status, text in cases:
            with self.subTest(arguments):
                session = self.start(*arguments, **script)
                self.assertEqual(session.wait_for_exit(), status)
                self.assertIn(text, session.output.decode())

    def test_variables_may_come_from_a_file(self):
        (self.home.path / ".scripted-agent.json").write_text('{"SCRIPTED_EXIT_AT_ONCE": 5}')
        self.assertEqual(self.start().wait_for_exit(), 5)


if __name__ == "__main__":
    unittest.main()
