"""What a session may do between its prompt and its end, and what becomes of the run."""
import os
import signal
import unittest

from scenario import Scenario, soak


class Agents(Scenario):
    def test_a_screen_that_never_stands_still_gets_its_prompt(self):
        self.start(RESTLESS=1)
        self.ended(self.run_agent("restless"))

    def test_a_slow_start_is_waited_for(self):
        self.start(SLOW_START=6)
        self.ended(self.run_agent("sleepy"))

    def test_an_agent_that_exits_at_once_fails_the_launch(self):
        self.start(EXIT_AT_ONCE=3)
        run = self.run_agent("gone")
        record = self.ended(run, "launchFailed", prompts=0)
        # Told at once by a host that saw it go, else when the wait for it is over.
        reason = record["outcome"]["launchFailed"]["reason"]
        self.assertRegex(reason, "ended as soon as it was started|no agent in the pane")
        self.assertIn("launch failed", self.home.keelhaven("runs", "show", run.id))

    def test_an_agent_that_dies_in_its_turn_ends_the_run(self):
        self.start(WORK_UNTIL=str(self.gate()))
        run = self.run_agent("killed")
        self.wait_working(run)
        os.kill(self.log(run, "prompt")[0]["pid"], signal.SIGKILL)
        record = self.ended(run, "processExited")
        self.assertEqual(record["outcome"], {"processExited": {"code": -1}})
        self.assertIn(run.command, self.screen(record))

    def test_fifty_megabytes_of_output_are_survived(self):
        self.start(FLOOD_MB=50)
        record = self.ended(self.run_agent("flood"))
        self.assertEqual(record["completionMessage"], "Done: Look around in flood.")

    def test_an_agent_that_ignores_its_exit_is_closed(self):
        self.start(IGNORE_EXIT=1)
        run = self.run_agent("stays")
        self.ended(run)
        self.assertEqual([line["effect"] for line in self.log(run, "enter")], ["submit", "ignored"])
        self.assertIn(self.log(run, "exit")[0]["status"], (128 + signal.SIGHUP, 128 + signal.SIGTERM))
        self.assert_no_agent_is_left()

    def test_an_agent_that_goes_on_is_not_sent_away(self):
        self.start(GO_ON=1, GO_ON_AFTER=0.05, WORK_SECONDS=2)
        run = self.run_agent("goes-on")
        record = self.ended(run)
        lines = [line["event"] for line in self.log(run) if line["event"] in ("prompt", "stop", "exit")]
        self.assertEqual(lines, ["prompt", "stop", "prompt", "stop", "exit"])
        self.assertEqual(record["completionMessage"], "Done: And now for the rest of it.")

    def test_sub_agents_end_before_their_run_does(self):
        self.start(WORK_SECONDS=1)
        for run in [self.run_agent(kind, SUBAGENT=kind) for kind in ("background", "foreground")]:
            record = self.ended(run)
            self.assertEqual(record["completionMessage"], f"Done: {run.command}")
            lines = [line["event"] for line in self.log(run) if line["event"] in ("stop", "exit")]
            self.assertEqual(lines, ["stop"] * (2 if run.folder.name == "background" else 1) + ["exit"])

    def test_two_runs_in_one_folder_each_follow_their_own_session(self):
        gate = self.gate()
        self.start(WORK_UNTIL=str(gate))
        first = self.run_agent("first", "Paint the bow.", folder=self.home.project("shared"))
        self.watch.wait("sessionOpened", first.id)
        second = self.run_agent("second", "Paint the stern.", folder=self.home.project("shared"))
        for run in (first, second):
            self.wait_working(run)
        self.open_gate(gate)
        records = [self.ended(run) for run in (first, second)]
        self.assertEqual([record["completionMessage"] for record in records], ["Done: Paint the bow.", "Done: Paint the stern."])
        sessions = [self.log(run, "prompt")[0]["session"] for run in (first, second)]
        self.assertEqual([record["sessionID"] for record in records], sessions)

    def test_a_question_in_the_turn_is_told_once_and_the_run_waits_for_the_answer(self):
        self.start(PERMISSION=1)
        run = self.run_agent("asks")
        self.watch.wait("waiting", run.id)
        self.assertIn("waiting for input", self.home.keelhaven("status"))
        self.assertEqual(self.log(run, "dialog_answer"), [])
        self.home.host_call("pane.send_text", pane_id=self.session(run)["pane_id"], text="\r")
        record = self.ended(run)
        self.assertIn("stalledAt", record)
        told = [event["event"] for event in self.watch.events if event["record"]["id"] == run.id]
        self.assertEqual(told.count("waiting"), 1)

    @soak
    def test_an_API_error_without_a_Stop_ends_at_the_time_limit(self):
        self.start(API_ERROR=1)
        run = self.run_agent("refused", None, "--timeout-minutes", "1")
        record = self.ended(run, "timeout", seconds=120)
        self.assertIn("API Error: 400 scripted error", self.screen(record))
        self.assert_no_agent_is_left()

    @soak
    def test_an_agent_that_hangs_is_closed_at_the_time_limit(self):
        self.start(HANG=1)
        self.ended(self.run_agent("hangs", None, "--timeout-minutes", "1"), "timeout", seconds=120)
        self.assert_no_agent_is_left()


if __name__ == "__main__":
    unittest.main()
