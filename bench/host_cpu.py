#!/usr/bin/env python3
"""What the session host costs the processor, against a loop that spawns tmux.

    bench/host_cpu.py [build folder] [panes]

Prints, one a line:
  host_refresh_cpu ratio=…   CPU of a spawning loop over CPU of `agent.list` (host, tmux server and control client), one
                             refresh a second each, for panes that hold agents. At least 15 is wanted.
  host_idle_wakeups ratio=…  times the idle host wakes in ten seconds, that is context switches it makes of its own will.
                             Below 1 is wanted.
"""
import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time

BUILD = sys.argv[1] if len(sys.argv) > 1 else "build"
PANES = int(sys.argv[2]) if len(sys.argv) > 2 else 50
HOST = os.path.abspath(f"{BUILD}/bin/keelhaven-host")

# An agent at rest: an input box on the screen, no session file, so that its screen has to be looked at.
AGENT = """#!/bin/sh
stty raw -echo
rule=──────────────────────────────
printf 'a reply\\r\\n%s\\r\\n❯ \\r\\n%s\\r\\n  ? for shortcuts\\r\\n' $rule $rule
exec -a claude sleep 100000
"""


def processor_seconds(pid):
    """Time of one process on a processor, to the nanosecond."""
    total = 0
    for thread in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{thread}/schedstat") as file:
            total += int(file.read().split()[0])
    return total / 1e9


def wakeups(pid):
    total = 0
    for thread in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{thread}/status") as file:
            total += sum(int(line.split()[1]) for line in file if line.startswith("voluntary_ctxt"))
    return total


def call(path, method, params=None):
    with socket.socket(socket.AF_UNIX) as connection:
        connection.connect(path)
        connection.sendall(json.dumps({"id": "b", "method": method, "params": params or {}}).encode() + b"\n")
        answer = b""
        while not answer.endswith(b"\n"):
            answer += connection.recv(65536)
    return json.loads(answer)


def must(path, method, params=None):
    answer = call(path, method, params)
    if "result" not in answer:
        sys.exit(f"{method}: {answer}")
    return answer["result"]


def fill(path, home):
    workspace = None
    for number in range(PANES):
        where = {"cwd": home, "label": f"tab {number}"}
        if workspace:
            made = must(path, "tab.create", {**where, "workspace_id": workspace})
        else:
            made = must(path, "workspace.create", where)
            workspace = made["workspace"]["workspace_id"]
        start = {"name": f"agent-{number}", "kind": "claude", "pane_id": made["root_pane"]["pane_id"]}
        for _ in range(400):
            answer = call(path, "agent.start", start)
            if answer.get("error", {}).get("code") != "agent_pane_busy":
                break
            time.sleep(0.05)
    for _ in range(200):
        agents = must(path, "agent.list")["agents"]
        if all(not each["launch_pending"] for each in agents):
            break
        time.sleep(0.1)
    states = [each.get("agent_status") for each in agents]
    if states != ["idle"] * PANES:
        sys.exit(f"the agents did not come to rest: {states}")


def spawning_refresh(mux):
    """What a program without a connection does: one tmux for the list, one for each screen."""
    command = ["tmux", "-S", mux, "-f", "/dev/null"]
    rows = subprocess.run([*command, "list-panes", "-a", "-F", "#{pane_id} #{pane_pid} #{pane_title}"], capture_output=True).stdout
    for row in rows.decode().splitlines():
        subprocess.run([*command, "capture-pane", "-p", "-t", row.split()[0]], capture_output=True)


def main():
    home = tempfile.mkdtemp(prefix="kh-bench-", dir="/tmp")
    os.makedirs(f"{home}/bin")
    agent = f"{home}/bin/claude"
    with open(agent, "w") as file:
        file.write(AGENT.replace("/bin/sh", shutil.which("bash")))
    os.chmod(agent, 0o755)
    with open(f"{home}/.bash_profile", "w") as file:
        file.write('PATH="$HOME/bin:$PATH"\n')
    environment = {"HOME": home, "PATH": os.environ["PATH"], "SHELL": shutil.which("bash"), "LANG": "C.UTF-8"}
    server = subprocess.Popen([HOST, "server"], env=environment, stderr=subprocess.DEVNULL)
    path = f"{home}/.config/herdr/sessions/keelhaven/herdr.sock"
    mux = f"{path}.mux"
    try:
        for _ in range(200):
            if os.path.exists(path):
                break
            time.sleep(0.05)
        fill(path, home)
        tmux = int(subprocess.run(["tmux", "-S", mux, "display-message", "-p", "#{pid}"], capture_output=True).stdout)
        client = next(int(pid) for pid in subprocess.run(
            ["tmux", "-S", mux, "list-clients", "-F", "#{client_pid}"], capture_output=True).stdout.split())
        time.sleep(2.5)

        rounds = 20
        everyone = [server.pid, tmux, client]
        before = sum(map(processor_seconds, everyone))
        for _ in range(rounds):
            must(path, "agent.list")
            time.sleep(1)
        held = (sum(map(processor_seconds, everyone)) - before) / rounds

        rounds = 5
        before = processor_seconds(tmux) + sum(os.times()[2:4])
        for _ in range(rounds):
            spawning_refresh(mux)
        spawned = (processor_seconds(tmux) + sum(os.times()[2:4]) - before) / rounds
        print(f"host_refresh_cpu ratio={spawned / max(held, 0.0001):.1f} spawning={spawned * 1000:.1f}ms host={held * 1000:.2f}ms panes={PANES}")

        time.sleep(12)  # timers of the last calls run out
        before = wakeups(server.pid)
        time.sleep(30)
        print(f"host_idle_wakeups ratio={(wakeups(server.pid) - before) / 3:.2f} seconds=30 panes={PANES}")
    finally:
        subprocess.run([HOST, "server", "stop", "--panes"], env=environment, stdout=subprocess.DEVNULL)
        server.wait(10)
        shutil.rmtree(home, ignore_errors=True)


main()
