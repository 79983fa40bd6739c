"""The session host and its panes under other hands than the application's."""
import os
import signal
import unittest

from scenario import Scenario, wait_until


class Host(Scenario):
    def host(self) -> int | None:
        return next((number for number, line in self.home.processes().items() if line.endswith("/herdr server")), None)

    def test_runs_outlive_a_killed_host(self):
        gate = self.gate()
        self.start()
        run = self.run_agent("survivor", WORK_UNTIL=str(gate))
        self.wait_working(run)
        killed = self.host()
        os.kill(killed, signal.SIGKILL)
        wait_until(lambda: self.host() not in (killed, None), "another host")
        self.wait_state(run, "working")
        self.assertEqual(len(self.agents()), 1)
        self.open_gate(gate)
        self.assertEqual(self.ended(run)["completionMessage"], f"Done: {run.command}")
        self.assert_no_agent_is_left()

    def test_a_removed_socket_comes_back(self):
        gate = self.gate()
        self.start(WORK_UNTIL=str(gate))
        run = self.run_agent("cut-off")
        self.wait_working(run)
        host = self.host()
        os.unlink(self.home.host_socket)
        wait_until(self.home.host_socket.exists, "the socket to come back")
        self.assertEqual(self.host(), host)
        self.wait_round(run)
        self.open_gate(gate)
        self.ended(run)
        self.assert_no_agent_is_left()

    def test_a_pane_closed_by_hand_ends_its_run(self):
        self.start(WORK_UNTIL=str(self.gate()))
        run = self.run_agent("closed")
        self.wait_working(run)
        self.home.host_call("pane.close", pane_id=self.session(run)["pane_id"])
        record = self.ended(run, "processExited")
        self.assertNotIn("scrollbackFile", record)
        self.assert_no_agent_is_left()

    def test_a_tab_renamed_by_hand_changes_nothing(self):
        gate = self.gate()
        self.start(WORK_UNTIL=str(gate))
        run = self.run_agent("renamed")
        self.wait_working(run)
        tab = self.session(run)["tab_id"]
        self.home.host_call("tab.rename", tab_id=tab, label="⚓ mine")
        self.wait_round(run)
        self.open_gate(gate)
        self.ended(run)
        self.assertEqual(self.home.host_call("workspace.list")["workspaces"], [])


if __name__ == "__main__":
    unittest.main()
