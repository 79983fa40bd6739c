"""Prompts reach the agent exactly once and byte for byte, or the run ends visibly."""
import unittest

from scenario import Run, Scenario, soak

CONTRACT = " When you are completely done, write a JSON file at "
RULE = " Unattended run: stay inside this project"


class Prompts(Scenario):
    def assert_arrived(self, run: Run, text: str) -> None:
        """`text` is what the agent was given: the user's words, then the contract and the rule, each once."""
        with self.subTest(run.folder.name):
            self.assertEqual(text.partition(CONTRACT)[0], run.command)
            self.assertEqual((text.count(CONTRACT), text.count(RULE)), (1, 1))

    def test_a_swallowed_Enter_is_pressed_again_without_the_text(self):
        self.start()
        runs = {count: self.run_agent(f"swallows-{count}", SWALLOW_ENTER=count) for count in (1, 2)}
        for count, run in runs.items():
            self.ended(run)
            effects = [line["effect"] for line in self.log(run, "enter")]
            self.assertEqual(effects, ["swallowed"] * count + ["submit"] * 2)  # the last one is behind /exit
            self.assert_arrived(run, self.log(run, "prompt")[0]["text"])

    @soak
    def test_Enter_swallowed_for_ever_ends_at_the_time_limit(self):
        self.start(SWALLOW_ENTER=1000)
        run = self.run_agent("deaf", "Listen.", "--timeout-minutes", "1")
        record = self.ended(run, "timeout", prompts=0, seconds=120)
        self.assertIn("Listen.", self.screen(record))
        self.assertIn("timed out", self.home.keelhaven("runs", "show", run.id))
        self.assert_no_agent_is_left()

    def test_short_prompts_arrive_byte_for_byte(self):
        self.start()
        prompts = {
            "quotes": """Say "it's" 'done' “so”""",
            "lines": "First\n\nsecond\tafter a tab\n  third",
            "shell": "$(touch pwned) `touch pwned` ${HOME} $PATH && ls > pwned",
            "letters": "🚢 ⚓️ 👩‍🚀 帆 e\u0301 ñ عربى",
            "slash": "/review the hull",
            "bang": "!ls -la",
            "dash": "-n --help -- -x",
            "semicolon": "Look around;",
            "backslash": "Look \\around \\n\\",
            "formats": "#{pane_id} %s %1 #S ~ * ?",
        }
        runs = [self.run_agent(name, text) for name, text in prompts.items()]
        for run in runs:
            self.ended(run)
            self.assert_arrived(run, self.log(run, "prompt")[0]["text"])
            self.assertFalse((run.folder / "pwned").exists())

    def test_long_prompts_arrive_byte_for_byte_in_a_file(self):
        self.start()
        lines = ["Read all of this; it's long: $(touch pwned) 🚢\\"]
        lines += [f"{number}\t“Ahoy” `ls` #{{x}};" for number in range(3800)]
        prompts = {"a-kilobyte": "x" * 1000, "four-kilobytes": "a\n" * 2048 + "end", "hundred-kilobytes": "\n".join(lines)}
        self.assertGreater(len(prompts["hundred-kilobytes"].encode()), 100_000)
        runs = [self.run_agent(name, text) for name, text in prompts.items()]
        for run in runs:
            self.ended(run)
            (brief,) = self.log(run, "brief")
            self.assert_arrived(run, brief["text"])
            self.assertEqual(brief["path"], str(self.home.data / "runs" / run.id / "brief.md"))
            self.assertIn(f"My brief for you is in the file {brief['path']} ", self.log(run, "prompt")[0]["text"])


if __name__ == "__main__":
    unittest.main()
