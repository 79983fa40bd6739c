"""A throw-away home in which the real programs run: for the demo and for the end-to-end tests.

The home is found again by the environment of its processes, so a home can tell what is still alive in it and end
exactly that.
"""
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time
from collections.abc import Callable, Iterator

SOURCE = pathlib.Path(__file__).resolve().parent.parent
COMMAND_LIMIT = 60  # seconds; a command asks the login shell at most once
START_LIMIT = 30
STOP_LIMIT = 15
POLL = 0.05  # between two looks at something that tells nobody when it changes


class Failed(Exception):
    pass


class Watch:
    """What `keelhaven watch --json` tells from now on."""

    def __init__(self, home: "ThrowawayHome") -> None:
        self._told = threading.Condition()
        self._events: list[dict] = []
        self._ended = False
        self._process = subprocess.Popen([home.bin / "keelhaven", "watch", "--json"], env=home.environment, stdout=subprocess.PIPE, text=True)
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self) -> None:
        for line in self._process.stdout:
            with self._told:
                self._events.append(json.loads(line))
                self._told.notify_all()
        with self._told:
            self._ended = True
            self._told.notify_all()

    @property
    def events(self) -> list[dict]:
        with self._told:
            return list(self._events)

    def follow(self, seconds: float) -> Iterator[dict]:
        """The events told so far and those that follow, until the time is over."""
        deadline = time.monotonic() + seconds
        index = 0
        while True:
            with self._told:
                while index == len(self._events):
                    if self._ended:
                        raise Failed("the application ended while it was watched")
                    left = deadline - time.monotonic()
                    if left <= 0:
                        raise Failed(f"nothing more was told within {seconds} seconds")
                    self._told.wait(left)
                event = self._events[index]
            index += 1
            yield event

    def wait(self, name: str, run_id: str, seconds: float = 60) -> dict:
        try:
            for event in self.follow(seconds):
                if event["event"] == name and event["record"]["id"] == run_id:
                    return event
        except Failed as failed:
            told = [event["event"] for event in self.events if event["record"]["id"] == run_id]
            raise Failed(f"no “{name}” of run {run_id}: {failed}; told: {told}") from None
        raise AssertionError("unreachable")

    def close(self) -> None:
        self._process.terminate()
        self._process.wait()
        self._reader.join()
        self._process.stdout.close()


class ThrowawayHome:
    """Use as a context manager: at the end everything in the home is ended and the home removed."""

    def __init__(self, bin_folder: pathlib.Path, real: bool = False) -> None:
        self.bin = bin_folder.resolve()
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="kh-demo-", dir="/tmp"))
        self.data = self.path / ".local/share/keelhaven"
        self.cache = self.path / ".cache/keelhaven"
        self.host_socket = self.path / ".config/herdr/sessions/keelhaven/herdr.sock"
        self.application: subprocess.Popen | None = None
        self.errors = None  # where the application's standard error goes; by default to ours
        runtime = self.path / ".run"
        runtime.mkdir(mode=0o700)
        kept = ("PATH", "LANG", "TERM", "USER", "LOGNAME")
        self.environment = {name: os.environ[name] for name in kept if name in os.environ}
        self.environment.update(HOME=str(self.path), XDG_RUNTIME_DIR=str(runtime), DBUS_SYSTEM_BUS_ADDRESS=f"unix:path={runtime}/no-bus", SHELL="/bin/bash", DISABLE_AUTOUPDATER="1")
        self.environment.setdefault("LANG", "C.UTF-8")
        try:
            self._install_agent(real)
        except BaseException:
            shutil.rmtree(self.path)
            raise

    def __enter__(self) -> "ThrowawayHome":
        return self

    def __exit__(self, *_) -> None:
        self.close()

    def _install_agent(self, real: bool) -> None:
        tools = self.path / "tools"
        tools.mkdir()
        if real:
            claude = shutil.which("claude")
            if not claude:
                raise Failed("--real needs a signed-in claude on the PATH")
            (tools / "claude").symlink_to(claude)
            self._take_over_sign_in()
        else:
            (tools / "claude").symlink_to(SOURCE / "tools" / "scripted-agent")
        # A login shell sets its own PATH, so the profile is the place where the agent is found.
        (self.path / ".profile").write_text(f'export PATH="{tools}:$PATH" DISABLE_AUTOUPDATER=1\n')

    def _take_over_sign_in(self) -> None:
        own = pathlib.Path.home()
        for name in (".claude.json", ".claude/.credentials.json"):
            if (own / name).exists():
                (self.path / name).parent.mkdir(mode=0o700, exist_ok=True)
                shutil.copy(own / name, self.path / name)
                (self.path / name).chmod(0o600)

    def project(self, name: str) -> pathlib.Path:
        folder = self.path / "code" / name
        folder.mkdir(parents=True, exist_ok=True)
        return folder

    def script(self, folder: pathlib.Path | None = None, **wishes) -> None:
        """How the stand-in agent behaves, in that folder or everywhere."""
        values = {name if name.startswith("SCRIPTED_") else "SCRIPTED_" + name: value for name, value in wishes.items()}
        ((folder or self.path) / ".scripted-agent.json").write_text(json.dumps(values))

    def settings(self, **values) -> None:
        folder = self.path / ".config/keelhaven"
        folder.mkdir(parents=True, mode=0o700, exist_ok=True)
        (folder / "settings.json").write_text(json.dumps(values))

    # --- the application

    def keelhaven(self, *arguments: str, text: str | None = None) -> str:
        result = subprocess.run([self.bin / "keelhaven", *arguments], env=self.environment, cwd=self.path, input=text, capture_output=True, text=True, timeout=COMMAND_LIMIT)
        if result.returncode != 0:
            raise Failed(f"keelhaven {' '.join(arguments)}: {result.stderr.strip() or 'failed'}")
        return result.stdout

    def launch(self) -> subprocess.Popen:
        """Starts the application without waiting for it."""
        return subprocess.Popen([self.bin / "keelhaven", "--headless"], env=self.environment, start_new_session=True, stderr=self.errors)

    def answers(self) -> bool:
        return subprocess.run([self.bin / "keelhaven", "status"], env=self.environment, capture_output=True).returncode == 0

    def start(self) -> None:
        self.application = self.launch()

        def is_up() -> bool:
            if self.application.poll() is not None:
                raise Failed(f"the application ended with status {self.application.returncode}")
            return self.answers()

        wait_until(is_up, "the application to come up", START_LIMIT)

    def stop(self) -> int | None:
        """The orderly quit; gives the exit status."""
        application, self.application = self.application, None
        if not application:
            return None
        application.send_signal(signal.SIGTERM)
        try:
            return application.wait(STOP_LIMIT)
        except subprocess.TimeoutExpired:
            application.kill()
            application.wait()
            raise Failed(f"the application did not end within {STOP_LIMIT} seconds") from None

    def kill(self) -> None:
        self.application.kill()
        self.application.wait()
        self.application = None

    # --- the session host and everything else that lives here

    def host_call(self, method: str, **parameters) -> dict:
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(STOP_LIMIT)
            connection.connect(str(self.host_socket))
            connection.sendall(json.dumps({"id": "1", "method": method, "params": parameters}).encode() + b"\n")
            with connection.makefile() as answer:
                response = json.loads(answer.readline())
        if "error" in response:
            raise Failed(f"{method}: {response['error']}")
        return response["result"]

    def close_host(self) -> None:
        """Ends the session host and its panes."""
        for host in [*self.data.glob("herdr/*/herdr"), self.bin / "keelhaven-host"]:
            subprocess.run([host, "server", "stop", "--panes"], env=self.environment, capture_output=True, timeout=STOP_LIMIT)
            return

    def processes(self) -> dict[int, str]:
        """Command lines, by id, of everything that was started in this home."""
        mark = f"HOME={self.path}".encode()
        found = {}
        for folder in pathlib.Path("/proc").iterdir():
            if not folder.name.isdecimal():
                continue
            try:
                if mark in (folder / "environ").read_bytes().split(b"\0"):
                    found[int(folder.name)] = (folder / "cmdline").read_bytes().replace(b"\0", b" ").decode("utf-8", "replace").strip()
            except OSError:
                continue  # gone meanwhile, or not ours
        return {number: line for number, line in found.items() if line}

    def close(self) -> None:
        try:
            self.stop()
        finally:
            self.close_host()
            for number in self.processes():
                try:
                    os.kill(number, signal.SIGKILL)
                except ProcessLookupError:
                    pass
            # The installed host's folder is read-only.
            for folder in self.data.glob("herdr/*"):
                folder.chmod(0o700)
            shutil.rmtree(self.path, ignore_errors=True)


def wait_until(is_so: Callable[[], object], what: str, seconds: float = 30) -> object:
    """Looks until `is_so` gives something true, and gives that. For things that tell nobody when they change."""
    deadline = time.monotonic() + seconds
    while True:
        value = is_so()
        if value:
            return value
        if time.monotonic() >= deadline:
            raise Failed(f"waited {seconds} seconds in vain for {what}")
        time.sleep(POLL)
