"""Questions at the start of a session: those that are known are answered, no other is touched."""
import unittest

from scenario import Run, Scenario, soak


class Dialogs(Scenario):
    def answers(self, run: Run) -> list[tuple]:
        return [(line["name"], line["choice"]) for line in self.log(run, "dialog_answer")]

    def test_the_trust_question_is_answered_yes_from_either_entry(self):
        self.start()
        runs = [
            self.run_agent(f"{release}-on-{cursor}", TRUST=release, TRUST_CURSOR=cursor)
            for release in ("2.1.330", "2.1.197")
            for cursor in ("yes", "no")
        ]
        for run in runs:
            self.ended(run)
            self.assertEqual(self.answers(run), [("trust", "Yes, I trust this folder")], run.folder.name)

    def test_a_second_question_behind_the_first_is_answered(self):
        self.start()
        for run in [self.run_agent(f"two-after-{release}", TRUST=release, SECOND_DIALOG=1) for release in ("2.1.330", "2.1.197")]:
            self.ended(run)
            self.assertEqual(self.answers(run), [("trust", "Yes, I trust this folder"), ("trust-files", "Yes, proceed")])

    def assert_untouched(self, run: Run, question: str, text: str) -> None:
        self.assertNotIn(question, [name for name, _ in self.answers(run)])
        lines = self.log(run)
        asked = next(index for index, line in enumerate(lines) if line["event"] == "dialog" and line["name"] == question)
        self.assertEqual([line for line in lines[asked:] if line["event"] == "input"], [])
        record = next(record for record in self.history() if record["id"] == run.id)
        self.assertIn(text, self.screen(record))

    def test_a_question_that_nobody_knows_fails_the_launch_untouched(self):
        self.start()
        alone = self.run_agent("alone", UNKNOWN_DIALOG=1)
        behind = self.run_agent("behind", TRUST="2.1.330", SECOND_DIALOG="api-key")
        for run, question, text in ((alone, "unknown", "Which side should the lamp stand on?"), (behind, "api-key", "use this API key?")):
            record = self.ended(run, "launchFailed", prompts=0)
            self.assertIn("agent_blocked", record["outcome"]["launchFailed"]["reason"])
            self.assert_untouched(run, question, text)
        self.assert_no_agent_is_left()

    @soak
    def test_a_screen_that_is_neither_question_nor_box_fails_the_launch_untouched(self):
        self.start()
        run = self.run_agent("bare", UNKNOWN_DIALOG="bare")
        record = self.ended(run, "launchFailed", prompts=0)
        self.assertIn("agent_not_ready", record["outcome"]["launchFailed"]["reason"])
        self.assert_untouched(run, "unknown", "Which side should the lamp stand on?")
        self.assert_no_agent_is_left()


if __name__ == "__main__":
    unittest.main()
