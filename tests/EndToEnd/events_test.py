"""The log of hook events as a crash, a clock or a clean-up may leave it."""
import json
import os
import threading
import unittest

from scenario import POLL, Scenario


class Doubler(threading.Thread):
    """Writes every line of the log a second time as soon as it stands there."""

    def __init__(self, path) -> None:
        super().__init__(daemon=True)
        self._path = path
        self._done = threading.Event()
        self.doubled = 0

    def run(self) -> None:
        read = 0
        while not self._done.wait(POLL):
            lines = self._path.read_bytes().splitlines(keepends=True) if self._path.exists() else []
            for line in lines[read:]:
                if line.endswith(b"\n") and not line.endswith(b" \n"):
                    with open(self._path, "ab") as file:
                        file.write(line[:-1] + b" \n")  # a blank marks the copy
                    self.doubled += 1
            read = len(lines)

    def stop(self) -> None:
        self._done.set()
        self.join()


class Events(Scenario):
    def test_doubled_events_end_a_run_once(self):
        self.start(WORK_SECONDS=1)
        doubler = Doubler(self.events_file)
        doubler.start()
        self.addCleanup(doubler.stop)
        for run in [self.run_agent("plain"), self.run_agent("with-sub-agent", SUBAGENT="background")]:
            self.assertEqual(self.ended(run)["completionMessage"], f"Done: {run.command}")
        self.assertGreaterEqual(doubler.doubled, 8)

    def test_torn_and_strange_lines_cost_nothing_but_themselves(self):
        gate = self.gate()
        self.start(WORK_UNTIL=str(gate))
        run = self.run_agent("torn")
        self.wait_working(run)
        whole = json.dumps({"ts": 1, "type": "Stop", "run_id": run.id, "last_message": "half"}).encode()
        for line in (b"[]", b"null", b"\xff\xfe\x00", b'{"ts": "soon", "type": 7}', b"[" * 5000, b"x" * 3_000_000, b"", whole[:20] + b"\n" + whole[20:]):
            self.tell_raw(line + b"\n")
        self.tell_raw(whole[:-5])  # its writer died here; the session's own hook writes next
        self.open_gate(gate)
        self.assertEqual(self.ended(run)["completionMessage"], f"Done: {run.command}")

    def test_a_clock_that_is_an_hour_off_ends_the_run_all_the_same(self):
        self.start(NO_HOOKS=1, WORK_SECONDS=1.5)
        runs = {off: self.run_agent(f"off-by-{off}") for off in (-3600, 3600)}
        for off, run in runs.items():
            self.wait_log(run, "stop")
            for kind, more in (("SessionStart", {}), ("UserPromptSubmit", {}), ("Stop", {"last_message": f"off by {off}"})):
                self.tell(run, kind, off, session_id=f"session-{off}", **more)
        for off, run in runs.items():
            self.assertEqual(self.ended(run)["completionMessage"], f"off by {off}")

    def test_events_in_the_wrong_order_end_the_run_all_the_same(self):
        self.start(NO_HOOKS=1, WORK_SECONDS=1.5)
        run = self.run_agent("backwards")
        self.wait_log(run, "stop")
        for off, kind in ((3, "Stop"), (2, "SubagentStop"), (1, "UserPromptSubmit"), (0, "SessionStart")):
            self.tell(run, kind, off, session_id="backwards", last_message="the end")
        self.assertEqual(self.ended(run)["completionMessage"], "the end")

    def test_a_Stop_in_the_middle_of_the_work_sends_nobody_away(self):
        gate = self.gate()
        self.start(WORK_UNTIL=str(gate))
        run = self.run_agent("too-early")
        self.wait_working(run)
        self.tell(run, "Stop", session_id=self.log(run, "prompt")[0]["session"], last_message="not yet")
        for _ in range(2):
            self.wait_round(run)
        self.assertEqual([line["effect"] for line in self.log(run, "enter")], ["submit"])
        self.open_gate(gate)
        self.assertEqual(self.ended(run)["completionMessage"], f"Done: {run.command}")

    def test_events_of_strangers_end_nothing(self):
        gate = self.gate()
        self.start(WORK_UNTIL=str(gate))
        run = self.run_agent("mine")
        self.wait_working(run)
        for provider, run_id in (("codex", run.id), ("claude", "11111111-2222-3333-4444-555555555555"), ("claude", "")):
            self.tell(run, "SessionEnd", provider=provider, run_id=run_id, session_id="stranger", last_message="stranger")
        self.wait_round(run)
        self.open_gate(gate)
        self.assertEqual(self.ended(run)["completionMessage"], f"Done: {run.command}")

    def test_a_log_that_is_emptied_renamed_replaced_or_removed_loses_no_run(self):
        self.start()
        changes = {
            "emptied": lambda: os.truncate(self.events_file, 0),
            "renamed": lambda: os.rename(self.events_file, self.home.cache / "events.1.jsonl"),
            "replaced": self.replace_log,
            "removed": lambda: os.unlink(self.events_file),
        }
        runs = {name: self.run_agent(name, WORK_UNTIL=str(self.gate(name))) for name in changes}
        for run in runs.values():
            self.wait_working(run)
        for name, change in changes.items():
            change()
            self.open_gate(self.gate(name))
            self.assertEqual(self.ended(runs[name])["completionMessage"], f"Done: {runs[name].command}")

    def replace_log(self) -> None:
        other = self.home.cache / "other.jsonl"
        other.write_text('{"ts": 1, "type": "SessionStart", "session_id": "old"}\n' * 50)
        os.replace(other, self.events_file)


if __name__ == "__main__":
    unittest.main()
