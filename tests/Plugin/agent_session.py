"""The scripted agent in a real pseudo-terminal, with a home of its own."""
import fcntl
import json
import os
import pty
import re
import select
import signal
import struct
import tempfile
import termios
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
FRAME_BEGIN = b"\x1b[?25l\x1b[H"
ESCAPES = re.compile(r"\x1b(\[[0-?]*[ -/]*[@-~]|\][^\x07]*\x07|_[^\x1b]*\x1b\\)")
DEADLINE_SECONDS = 20
RUN_ID = "6F9619FF-8B86-D011-B42D-00CF4FC964FF"


class Home:
    """A home folder with a working folder and a run folder, removed with `close()`."""

    def __init__(self):
        self._folder = tempfile.TemporaryDirectory()
        self.path = Path(os.path.realpath(self._folder.name))
        self.work, self.run = self.path / "work", self.path / "run"
        self.log = self.path / "log.jsonl"
        self.work.mkdir()
        self.run.mkdir()

    def close(self):
        self._folder.cleanup()

    def lines(self, path):
        """The whole lines of a file that may be growing."""
        try:
            data = (self.path / path).read_bytes()
        except FileNotFoundError:
            return []
        return [json.loads(line) for line in data[: data.rfind(b"\n") + 1].splitlines()]

    def session_status(self):
        """None without a session."""
        for path in (self.path / ".claude/sessions").glob("[0-9]*.json"):
            try:
                return json.loads(path.read_text())["status"]
            except FileNotFoundError:
                pass
        return None


class AgentSession:
    """One run of the agent. `arguments` as on the command line, `script` the variables without their prefix."""

    def __init__(self, home, arguments=(), **script):
        self.home = home
        self._first_log_line = len(home.lines("log.jsonl"))
        self.output = b""
        self.status = None
        self._sent = 0
        self._pid, self._terminal = pty.fork()
        if self._pid == 0:
            os.chdir(home.work)
            script = {"WORK_SECONDS": 0.02, "LOG": home.log} | script
            environment = {"SCRIPTED_" + key: str(value) for key, value in script.items()}
            environment |= {"HOME": str(home.path), "PATH": os.environ["PATH"], "TERM": "tmux-256color"}
            environment |= {"KEELHAVEN_RUN_DIR": str(home.run), "KEELHAVEN_RUN_ID": RUN_ID}
            os.execve(ROOT / "tools/scripted-agent", ["claude", *arguments], environment)
        fcntl.ioctl(self._terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))

    def close(self):
        if self.status is None:
            os.kill(self._pid, signal.SIGKILL)
            os.waitpid(self._pid, 0)
        os.close(self._terminal)

    @property
    def screen(self):
        """The last frame as text."""
        return ESCAPES.sub("", self.output.rpartition(FRAME_BEGIN)[2].decode("utf-8", "replace"))

    @property
    def command_line(self):
        return Path(f"/proc/{self._pid}/cmdline").read_bytes().rstrip(b"\0").decode().split("\0")

    def events(self, name):
        return [event for event in self.home.lines("log.jsonl")[self._first_log_line :] if event["event"] == name]

    def prompts(self):
        return [event["text"] for event in self.events("prompt")]

    def type(self, *writes):
        """Each text is a write of its own, which the agent has read before the next one comes."""
        for text in writes:
            data = text if isinstance(text, bytes) else text.encode()
            self._sent += len(data)
            while data:
                _, writable, _ = select.select([], [self._terminal], [], DEADLINE_SECONDS)
                data = data[os.write(self._terminal, data[:1024]) :] if writable else data
                self.pump(0)
            self.wait(lambda: sum(event["bytes"] for event in self.events("input")) >= self._sent, "input taken")

    def wait(self, condition, what):
        """Reads the terminal until `condition()` holds."""
        deadline = time.monotonic() + DEADLINE_SECONDS
        while not condition():
            if time.monotonic() > deadline:
                raise AssertionError(f"waited in vain for {what}; the screen:\n{self.screen}")
            self.pump(0.02)

    def wait_for_text(self, text):
        self.wait(lambda: text in self.screen, repr(text))

    def wait_for_status(self, status):
        self.wait(lambda: self.home.session_status() == status, f"status {status}")

    def wait_for_rest(self):
        self.wait_for_status("idle")

    def wait_for(self, event, count=1):
        self.wait(lambda: len(self.events(event)) >= count, f"{count} of {event}")

    def wait_for_exit(self):
        self.wait(self._has_ended, "the end")
        while self.pump(0):
            pass
        return self.status

    def signal(self, number):
        os.kill(self._pid, number)

    def pump(self, seconds):
        """Takes what the agent wrote; True when there was something."""
        if not select.select([self._terminal], [], [], seconds)[0]:
            return False
        try:
            data = os.read(self._terminal, 65536)
        except OSError:  # the other side is closed
            return False
        self.output += data
        return bool(data)

    def _has_ended(self):
        if self.status is None:
            pid, status = os.waitpid(self._pid, os.WNOHANG)
            self.status = os.waitstatus_to_exitcode(status) if pid else None
        return self.status is not None
