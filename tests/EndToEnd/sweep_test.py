"""The sweep: started by hand, read as the morning report, gone on with in person, and started as the application opens."""
import json
import time
import unittest

from scenario import LAUNCH_LIMIT, Failed, Scenario, wait_until


class Sweep(Scenario):
    def report(self) -> dict:
        return json.loads(self.home.keelhaven("sweep", "--report", "--json"))

    def refused(self, *words: str) -> str:
        with self.assertRaises(Failed) as refusal:
            self.home.keelhaven(*words)
        return str(refusal.exception)

    def test_a_sweep_reports_and_its_conversation_is_picked_up(self):
        folder = self.home.project("everything")
        self.start(settings={"keelhavenRunDirectory": str(folder), "sweepKeelhavenOnOpen": False})
        self.assertEqual(self.report()["latest"], None)
        self.home.keelhaven("settings", "set", "keelhavenRunDirectory", str(folder / "gone"))
        self.assertIn(f"Keelhaven run directory is missing: {folder}/gone", self.refused("sweep", "--force"))
        self.assertIn(f"mkdir -p '{folder}/gone'", self.home.keelhaven("setup"))
        self.home.keelhaven("settings", "set", "keelhavenRunDirectory", str(folder))
        (run_id,) = json.loads(self.home.keelhaven("sweep", "--json"))
        self.watch.wait("finished", run_id, LAUNCH_LIMIT)
        (record,) = self.history()
        self.assertEqual((record["id"], record["outcome"]), (run_id, {"completed": {}}))
        self.assertEqual((record["slotName"], record["agentKind"]), ("Morning report", "system"))
        (prompt,) = self.log(event="prompt")
        self.assertEqual(prompt["text"].split()[0], "/keelhaven:keelhaven")
        self.assertEqual(self.report()["latest"], record)
        self.assertIn(record["completionMessage"], self.home.keelhaven("sweep", "--report"))
        self.assertIn("less than two hours ago", self.refused("sweep"))

        # Once its turn is over, the session is the user's and its record closed.
        self.home.script(folder, WORK_UNTIL=str(self.gate()))
        self.home.keelhaven("sweep", "--resume")
        live = wait_until(lambda: self.report()["live"], "the follow-up to be live", LAUNCH_LIMIT)
        self.assertEqual(live["resumeSessionID"], record["sessionID"])
        self.assertIn("under way", self.refused("sweep", "--resume"))
        self.home.keelhaven("runs", "stop", live["id"])
        self.watch.wait("finished", live["id"], LAUNCH_LIMIT)
        self.assertEqual([follow_up["id"] for follow_up in self.report()["followUps"]], [live["id"]])

    def test_opening_starts_one_only_when_the_last_is_two_hours_old(self):
        folder = self.home.project("everything")
        last = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(time.time() - 7300))
        self.start(settings={"keelhavenRunDirectory": str(folder), "keelhavenLastSweepAt": {"date": last}})
        record = wait_until(lambda: self.report()["latest"], "the sweep on open to end", LAUNCH_LIMIT)
        self.assertEqual(record["outcome"], {"completed": {}})
        self.assertEqual(self.home.stop(), 0)
        self.start_application()
        self.assertIn("less than two hours ago", self.refused("sweep"))
        self.assertEqual([entry["id"] for entry in self.history()], [record["id"]])


if __name__ == "__main__":
    unittest.main()
