"""What every scenario has: a throw-away home with the real programs, and a look at what the agents saw.

Each test runs the built application, the session host, tmux and the scripted agent. The agent's own log counts what really
reached it; nothing here waits for a fixed time where an event or a file tells the moment.
"""
import json
import os
import pathlib
import sys
import time
import unittest
from dataclasses import dataclass

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))

from throwaway_home import POLL, Failed, ThrowawayHome, Watch, wait_until  # noqa: E402, F401

BIN = pathlib.Path(os.environ.get("KEELHAVEN_BIN_DIR", ROOT / "build" / "bin"))
LAUNCH_LIMIT = 90  # seconds; the slowest launch of all gives up after 45 s
SHOWN_LOG_CHARACTERS = 20000


def soak(test):
    """Marks a test that takes about a minute or more; CMakeLists.txt reads the mark."""
    return test


@dataclass
class Run:
    id: str
    slot_id: str
    command: str
    folder: pathlib.Path


class Scenario(unittest.TestCase):
    maxDiff = None

    def setUp(self) -> None:
        self.home = ThrowawayHome(BIN)
        self.addCleanup(self._close)
        self.home.errors = open(self.home.path / "application.log", "ab")
        self.addCleanup(self.home.errors.close)
        self._agent_log = self.home.path / "agent.jsonl"
        self.watch: Watch | None = None

    def _close(self) -> None:
        # CTest shows this only when the test failed.
        log = (self.home.path / "application.log").read_text(errors="replace")
        print(f"--- application\n{log[-SHOWN_LOG_CHARACTERS:]}--- agents", *map(str, self.log()), sep="\n")
        self._stop_watching()
        self.home.close()

    def tearDown(self) -> None:
        self._stop_watching()
        if self.home.application:
            self.assertEqual(self.home.stop(), 0)
        self.assert_no_agent_is_left()
        self.home.close_host()
        self._assert_gone(lambda: self.home.processes())

    def _stop_watching(self) -> None:
        if self.watch:
            self.watch.close()
            self.watch = None

    def _assert_gone(self, living) -> None:
        try:
            wait_until(lambda: not living(), "the processes of the home to end", 15)
        except Failed as failed:
            self.fail(f"{failed}: {living()}")

    def agents(self) -> dict[int, str]:
        return {number: line for number, line in self.home.processes().items() if line.split()[0] == "claude"}

    def assert_no_agent_is_left(self) -> None:
        self._assert_gone(self.agents)

    # --- doing

    def start(self, settings: dict | None = None, **script) -> None:
        self.home.settings(schedulerConcurrencyCap=20, **(settings or {}))
        self.home.script(LOG=str(self._agent_log), **{"WORK_SECONDS": 0.2} | script)
        self.start_application()

    def start_application(self) -> None:
        self._stop_watching()
        self.home.start()
        self.watch = Watch(self.home)

    def add_agent(self, name: str, command: str, *options: str, folder: pathlib.Path | None = None, once: str = "2099-01-01T00:00:00Z", **script) -> tuple[dict, pathlib.Path]:
        folder = folder or self.home.project(name)
        if script:
            self.home.script(folder, **script)
        words = ("agents", "add", "--name", name, "--cwd", str(folder), f"--command={command}", "--once", once, *options, "--json")
        return json.loads(self.home.keelhaven(*words)), folder

    def run_agent(self, name: str, command: str | None = None, *options: str, folder: pathlib.Path | None = None, **script) -> Run:
        """Adds an agent and runs it at once."""
        command = command or f"Look around in {name}."
        agent, folder = self.add_agent(name, command, *options, folder=folder, **script)
        (run_id,) = json.loads(self.home.keelhaven("agents", "run", agent["id"], "--json"))
        return Run(run_id, agent["id"], command, folder)

    def gate(self, name: str = "gate") -> pathlib.Path:
        """For WORK_UNTIL: the turn ends once this file is made."""
        return self.home.path / name

    # --- looking

    def log(self, run: Run | None = None, event: str | None = None) -> list[dict]:
        """What the agents logged; of one run, or of all."""
        try:
            lines = [json.loads(line) for line in self._agent_log.read_text().splitlines()]
        except FileNotFoundError:
            return []
        if run:
            own = {line["pid"] for line in lines if line["event"] == "start" and any(run.id in word for word in line["argv"])}
            lines = [line for line in lines if line["pid"] in own]
        return [line for line in lines if event in (None, line["event"])]

    def wait_log(self, run: Run, event: str, seconds: float = LAUNCH_LIMIT, **values) -> dict:
        def found():
            return next((line for line in self.log(run, event) if values.items() <= line.items()), None)

        return wait_until(found, f"the agent of {run.folder.name} to log {event} {values or ''}", seconds)

    def wait_working(self, run: Run) -> None:
        """Until the run is live and its agent in the middle of the turn."""
        self.watch.wait("launched", run.id, LAUNCH_LIMIT)
        self.wait_log(run, "prompt")

    def live(self, run: Run) -> dict | None:
        status = json.loads(self.home.keelhaven("status", "--json"))
        return next((entry for entry in status["active"] if entry["record"]["id"] == run.id), None)

    def wait_state(self, run: Run, state: str) -> None:
        wait_until(lambda: (self.live(run) or {}).get("agentState") == state, f"{run.folder.name} to be {state}")

    def wait_round(self, run: Run) -> None:
        """Until the engine has looked at this working session once more."""
        before = self.live(run)["lastActivityAt"]
        wait_until(lambda: self.live(run)["lastActivityAt"] != before, "the next round of supervision")

    def session(self, run: Run) -> dict:
        """The run's entry in the host's list of agents."""
        text = self.watch.wait("sessionOpened", run.id, LAUNCH_LIMIT)["text"]
        return next(agent for agent in self.home.host_call("agent.list")["agents"] if agent["pane_id"] in text)

    def history(self) -> list[dict]:
        return json.loads(self.home.keelhaven("runs", "list", "--all", "--json"))

    def screen(self, record: dict) -> str:
        """The screen that was kept with the record."""
        self.assertEqual(record["scrollbackFile"], f"runs/{record['id']}.txt")
        return (self.home.data / record["scrollbackFile"]).read_text()

    # --- judging

    def ended(self, run: Run, outcome: str = "completed", prompts: int = 1, seconds: float = LAUNCH_LIMIT) -> dict:
        """Waits for the end of the run; it has exactly one record, one session and that many prompts. Gives the record."""
        self.watch.wait("finished", run.id, seconds)
        with self.subTest(run.folder.name):
            records = [record for record in self.history() if record["id"] == run.id]
            self.assertEqual([list(record["outcome"]) for record in records], [[outcome]], records)
            told = [event["event"] for event in self.watch.events if event["record"]["id"] == run.id]
            self.assertEqual(told.count("finished"), 1)
            self.assertEqual(len(self.log(run, "start")), 1)
            given = [line["text"] for line in self.log(run, "prompt") if line["source"] in ("typed", "queued")]
            self.assertEqual(len(given), prompts, given)
            self.assertIsNone(self.live(run))
            return records[0]
        raise AssertionError(f"{run.folder.name} did not end as it should have")

    def open_gate(self, gate: pathlib.Path) -> None:
        gate.touch()

    # --- the log of hook events

    @property
    def events_file(self) -> pathlib.Path:
        return self.home.cache / "events.jsonl"

    def tell_raw(self, data: bytes) -> None:
        self.home.cache.mkdir(parents=True, mode=0o700, exist_ok=True)
        with open(self.events_file, "ab") as file:
            file.write(data)

    def tell(self, run: Run, kind: str, off: float = 0, **values) -> None:
        """Adds a hook event of the run, from a clock that is `off` seconds off."""
        line = {"ts": time.time() + off, "type": kind, "provider": "claude", "run_id": run.id, "cwd": str(run.folder)} | values
        self.tell_raw((json.dumps(line) + "\n").encode())
