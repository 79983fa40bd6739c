"""The application killed, ended and started at bad moments, and as many runs at once as it takes."""
import datetime
import json
import sqlite3
import unittest

from scenario import LAUNCH_LIMIT, Failed, Run, Scenario, wait_until


class Application(Scenario):
    def schedule_agent(self, name: str, **script) -> Run:
        """An agent whose schedule fires within seconds; the run's id is the session's to tell."""
        fires = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(seconds=1.5)
        agent, folder = self.add_agent(name, f"Look around in {name}.", "--enable", once=fires.isoformat(timespec="milliseconds"), **script)
        for event in self.watch.follow(20):
            if event["event"] == "fired" and event["record"]["slotID"] == agent["id"]:
                return Run(event["record"]["id"], agent["id"], agent["command"], folder)
        raise AssertionError("unreachable")

    def close_sessions(self) -> None:
        """Ends the sessions that a killed application left to the user."""
        for agent in self.home.host_call("agent.list")["agents"]:
            self.home.host_call("pane.close", pane_id=agent["pane_id"])

    def test_a_kill_at_any_moment_costs_no_history_and_starts_nothing_twice(self):
        self.start(WORK_UNTIL=str(self.gate()))
        before = self.run_agent("before", WORK_UNTIL="")
        self.ended(before)
        interrupted = []
        for moment in ("fired", "sessionOpened", "launched"):
            run = self.schedule_agent(moment)
            self.watch.wait(moment, run.id)
            self.home.kill()
            self.start_application()
            interrupted.append(run)
            with self.subTest(moment):
                agent = next(agent for agent in json.loads(self.home.keelhaven("agents", "list", "--json")) if agent["id"] == run.slot_id)
                self.assertFalse(agent["enabled"])
        after = self.run_agent("after", WORK_UNTIL="")
        self.ended(after)
        for run in interrupted:
            with self.subTest(run.folder.name):
                self.assertLessEqual(len(self.log(run, "start")), 1)
                self.assertLessEqual(len([line for line in self.log() if line["event"] == "start" and line["cwd"] == str(run.folder)]), 1)
        history = [record["id"] for record in self.history()]
        self.assertEqual(len(history), len(set(history)))
        self.assertLessEqual({before.id, after.id}, set(history))
        self.assertEqual(json.loads(self.home.keelhaven("status", "--json"))["active"], [])
        self.assert_database_is_sound()
        self.close_sessions()

    def assert_database_is_sound(self) -> None:
        with sqlite3.connect(f"file:{self.home.data}/keelhaven.sqlite?mode=ro", uri=True) as database:
            self.assertEqual(database.execute("PRAGMA integrity_check").fetchall(), [("ok",)])

    def test_a_conversation_is_open_once_also_after_a_restart(self):
        self.start()
        run = self.run_agent("again")
        conversation = self.ended(run)["sessionID"]
        self.home.keelhaven("runs", "resume", run.id)
        closed = wait_until(lambda: next((each for each in self.history() if each.get("resumeSessionID") == conversation), None), "the resumed session's first turn to end", LAUNCH_LIMIT)
        for record in (run.id, closed["id"]):
            self.assertIn("is still open", self.home.keelhaven("runs", "resume", record))
        self.assertEqual(self.home.stop(), 0)
        self.start_application()
        with self.assertRaisesRegex(Failed, "This conversation is open in another terminal"):
            self.home.keelhaven("runs", "resume", run.id)
        self.assertEqual(len(self.agents()), 1)
        self.close_sessions()
        self.assert_no_agent_is_left()
        self.assertIn("is on its way", self.home.keelhaven("runs", "resume", run.id))
        wait_until(self.agents, "the conversation to be opened anew", LAUNCH_LIMIT)
        self.assertEqual(len([line for line in self.log(event="start") if conversation in line["argv"]]), 2)
        self.assertEqual(self.home.stop(), 0)
        self.close_sessions()

    def test_quit_in_the_turn_records_the_run_as_cancelled_and_closes_its_pane(self):
        self.start(WORK_UNTIL=str(self.gate()))
        run = self.run_agent("cut-short")
        self.wait_working(run)
        self.assertEqual(self.home.stop(), 0)
        self.assert_no_agent_is_left()
        self.start_application()
        (record,) = self.history()
        self.assertEqual((record["id"], record["outcome"]), (run.id, {"cancelled": {}}))
        self.assertEqual(len(self.log(run, "start")), 1)

    def test_quit_in_the_launch_leaves_a_record_and_no_session(self):
        self.start(SLOW_START=60)
        run = self.run_agent("not-yet")
        self.watch.wait("sessionOpened", run.id)
        self.wait_log(run, "start")
        self.assertEqual(self.home.stop(), 0)
        self.assert_no_agent_is_left()
        self.start_application()
        self.assertEqual([(record["id"], record["outcome"]) for record in self.history()], [(run.id, {"cancelled": {}})])

    def test_starts_at_the_same_moment_give_one_instance(self):
        started = [self.home.launch() for _ in range(4)]
        wait_until(self.home.answers, "an instance to answer")
        wait_until(lambda: sum(process.poll() is None for process in started) == 1, "all others to leave")
        (self.home.application,) = [process for process in started if process.poll() is None]
        self.assertEqual([process.returncode for process in started if process is not self.home.application], [1, 1, 1])
        self.home.errors.flush()
        self.assertEqual((self.home.path / "application.log").read_text().count("Keelhaven is already running."), 3)

    def test_twenty_runs_live_at_once_and_one_waits(self):
        gate = self.gate()
        self.start(WORK_UNTIL=str(gate))
        runs = [self.run_agent(f"agent-{number}") for number in range(21)]
        for run in runs[:20]:
            self.wait_working(run)
        status = json.loads(self.home.keelhaven("status", "--json"))
        self.assertEqual((len(status["active"]), [entry["record"]["id"] for entry in status["queued"]]), (20, [runs[20].id]))
        self.assertEqual(len(self.agents()), 20)
        self.open_gate(gate)
        for run in runs:
            self.assertEqual(self.ended(run)["completionMessage"], f"Done: {run.command}")
        self.assert_no_agent_is_left()


if __name__ == "__main__":
    unittest.main()
