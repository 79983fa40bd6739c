"""A throw-away home with the scripted agent, for the scripts beside this file."""
import json
import os
import pathlib
import shutil
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time
import uuid

SOURCE = pathlib.Path(__file__).resolve().parent.parent
RUNS = 10_000


class Home:
    """A home folder whose login shell finds the scripted agent as `claude`. Everything in it goes at the end."""

    def __init__(self, programs: str, **wishes) -> None:
        self.programs = pathlib.Path(programs).resolve()
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="kh-bench-", dir="/tmp"))
        (self.path / ".run").mkdir(mode=0o700)
        self.project = self.path / "project"
        self.project.mkdir()
        tools = self.path / "tools"
        tools.mkdir()
        (tools / "claude").symlink_to(SOURCE / "tools" / "scripted-agent")
        (self.path / ".profile").write_text(f'export PATH="{tools}:$PATH"\nunset HISTFILE\n')
        self.log = self.path / "agent.log"
        (self.path / ".scripted-agent.json").write_text(json.dumps({"SCRIPTED_LOG": str(self.log), **wishes}))
        self.environment = {"HOME": str(self.path), "XDG_RUNTIME_DIR": str(self.path / ".run"), "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={self.path}/.run/no-bus", "PATH": os.environ["PATH"], "SHELL": "/bin/bash", "LANG": "C.UTF-8"}
        self.socket = str(self.path / ".config/herdr/sessions/keelhaven/herdr.sock")
        self._children: list[subprocess.Popen] = []

    def __enter__(self):
        return self

    def __exit__(self, *_) -> None:
        for child in reversed(self._children):
            child.send_signal(signal.SIGTERM)
        subprocess.run([self.programs / "keelhaven-host", "server", "stop", "--panes"], env=self.environment, capture_output=True, timeout=30)
        for child in self._children:
            child.wait(20)
        # The installed host's folder is read-only.
        for folder in self.path.glob(".local/share/keelhaven/herdr/*"):
            folder.chmod(0o700)
        shutil.rmtree(self.path, ignore_errors=True)

    def spawn(self, *words, **options) -> subprocess.Popen:
        """A child that lives until the end."""
        self._children.append(subprocess.Popen(words, env=self.environment, cwd=self.path, **options))
        return self._children[-1]

    def start_host(self) -> None:
        self.spawn(self.programs / "keelhaven-host", "server", stderr=subprocess.DEVNULL)
        wait_for("the session host", lambda: os.path.exists(self.socket))

    def start_instance(self) -> subprocess.Popen:
        instance = self.spawn(self.programs / "keelhaven", "--headless")
        wait_for("the application", lambda: subprocess.run([self.programs / "keelhaven", "status"], env=self.environment, capture_output=True).returncode == 0)
        return instance

    def keelhaven(self, *words: str) -> str:
        done = subprocess.run([self.programs / "keelhaven", *words], env=self.environment, cwd=self.project, capture_output=True, text=True, timeout=60)
        if done.returncode != 0:
            sys.exit(f"keelhaven {' '.join(words)}: {done.stderr.strip()}")
        return done.stdout

    def call(self, method: str, **params) -> dict:
        """One request to the session host; gives the whole answer."""
        with socket.socket(socket.AF_UNIX) as connection:
            connection.connect(self.socket)
            connection.sendall(json.dumps({"id": "b", "method": method, "params": params}).encode() + b"\n")
            answer = bytearray()
            while not answer.endswith(b"\n"):
                part = connection.recv(1 << 20)
                if not part:
                    break
                answer += part
        return json.loads(answer)

    def must(self, method: str, **params) -> dict:
        answer = self.call(method, **params)
        if "result" not in answer:
            sys.exit(f"{method}: {answer}")
        return answer["result"]

    def start_agent(self, name: str, workspace: str | None = None) -> dict:
        """A new tab with an agent that is coming up; without `workspace` in a new one."""
        where = {"cwd": str(self.project), "label": name}
        made = self.must("tab.create", workspace_id=workspace, **where) if workspace else self.must("workspace.create", **where)
        pane = made["root_pane"]
        start = {"name": name, "kind": "claude", "pane_id": pane["pane_id"]}
        wait_for(f"the shell of {name}", lambda: self.call("agent.start", **start).get("error", {}).get("code") != "agent_pane_busy")
        return pane

    def wait_for_agents(self, count: int) -> None:
        """Until that many agents rest in front of their input boxes."""

        def are_resting() -> bool:
            agents = self.must("agent.list")["agents"]
            return len(agents) == count and all(each["agent_status"] == "idle" and not each["launch_pending"] for each in agents)

        wait_for("the agents", are_resting)

    def logged(self, event: str, begin: int = 0) -> list[dict]:
        """The agents' log lines of that kind, from byte `begin` of the log on."""
        if not self.log.exists():
            return []
        with open(self.log, "rb") as file:
            file.seek(begin)
            lines = [json.loads(line) for line in file.read().split(b"\n")[:-1]]
        return [line for line in lines if line["event"] == event]


def wait_for(what: str, condition, pause: float = 0.02, limit: float = 60):
    """Gives the first true value of `condition`."""
    deadline = time.monotonic() + limit
    while not (value := condition()):
        if time.monotonic() > deadline:
            sys.exit(f"waited {limit:g} s for {what}")
        time.sleep(pause)
    return value


def print_ratio(name: str, ratio: float, limit: float) -> bool:
    """The line that scripts/bench users look for; whether the aim is reached."""
    print(f"{name} ratio={ratio:.2f} (aim <= {limit:g})", flush=True)
    return ratio <= limit


def resident_kib(pid: int) -> int:
    for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines():
        if line.startswith("VmRSS:"):
            return int(line.split()[1])
    raise ValueError("no VmRSS")


def store_runs(database: pathlib.Path, agent: str) -> None:
    """Puts RUNS finished runs of one agent into a closed database."""
    connection = sqlite3.connect(database)
    with connection:
        for number in range(RUNS):
            record = {"id": str(uuid.uuid4()).upper(), "slotID": agent, "slotName": "Agent", "cwd": "/tmp", "command": "Look around. " * 8,
                      "trigger": "scheduled", "startedAt": f"2026-01-{number % 28 + 1:02}T{number % 24:02}:{number % 60:02}:00.000Z", "outcome": {"completed": {}},
                      "completionMessage": "All is well. " * 20, "summary": "Nothing to report. " * 10}
            connection.execute("INSERT INTO runs (id, agent_id, agent_name, trigger, cwd, started_at, outcome, payload) VALUES (?,?,?,?,?,?,?,?)",
                               (record["id"], agent, "Agent", "scheduled", "/tmp", 1767225600 + number, "completed", json.dumps(record)))
    connection.close()
