"""The session: input, screen, dialogs and turns, driven by one loop."""
import os
import signal
import time
import uuid
from dataclasses import dataclass
from pathlib import Path

from . import dialogs
from .hooks import Hooks
from .inputbox import InputBox
from .keys import Event, KeyReader
from .loop import Signals, Timers, wait
from .options import Options
from .records import FolderTrust, Log, SessionFile, Transcript, model_id
from .screen import View, frame
from .script import Script
from .terminal import Terminal
from .work import Turn

READ_BYTES = 65536
ESCAPE_SECONDS = 0.05
SPINNER_SECONDS = 0.5
RESTLESS_SECONDS = 0.2
SECOND_CTRL_C_SECONDS = 1.0
GO_ON_SECONDS = 0.3
EXIT_COMMANDS = ("/exit", "/quit")


class Leave(Exception):
    """The end of the session. Without a `reason` no session had begun."""

    def __init__(self, status: int, reason: str | None = None, text: str = ""):
        super().__init__(text)
        self.status, self.reason, self.text = status, reason, text


@dataclass(frozen=True)
class Prompt:
    """`text` is what arrived, `wrapped` what the model would be given; `source` is typed, queued, argument or own."""

    text: str
    wrapped: str
    source: str


class Agent:
    def __init__(self, options: Options, script: Script, home: Path, folder: Path):
        self.options, self.script, self.folder = options, script, folder
        self._home = home
        self.session_id = options.resume or options.session_id or str(uuid.uuid4())
        self.terminal = Terminal()
        self.view = View(str(folder), options.permission_mode, model=options.model)
        self.transcript = Transcript(home, self.session_id, folder, options.model)
        self.hooks = Hooks(options, self.session_id, self.transcript.path, folder, not script.is_on("NO_HOOKS"))
        self.log = Log(script.text("LOG"), self.session_id)
        self._session_file = SessionFile(home, self.session_id, folder, not script.is_on("NO_SESSION_FILE"))
        self._timers = Timers()
        self._keys = KeyReader()
        self._box = InputBox()
        self._queue: list[Prompt] = []
        self._prompt: Prompt | None = None
        self._flow = None  # the generator that is running: the start-up or a turn
        self._lines_before_turn = 0
        self._turn_began = 0.0
        self._swallow_left = int(script.number("SWALLOW_ENTER"))
        self._went_on = False
        self._hung = False

    def run(self) -> int:
        """Until the session ends; its exit status."""
        signals = Signals()
        self.terminal.open()
        try:
            self._start(self._start_up())
            while True:
                self._loop_once(signals)
        except Leave as leave:
            return self._leave(leave)
        finally:
            self.terminal.close()

    def stop_short(self) -> None:
        """The turn was interrupted or refused: no hook tells of it."""
        self.view.say("  ⎿  Interrupted · What should Claude do instead?", "")

    def _loop_once(self, signals: Signals) -> None:
        self._draw()
        # One that hangs reads nothing and keeps no time: only a signal reaches it.
        watched = [signals.descriptor] if self._hung else [signals.descriptor, self.terminal.input]
        ready = wait(watched, None if self._hung else self._timers.timeout())
        if signals.descriptor in ready:
            self._take_signals(signals.take())
        if self.terminal.input in ready:
            self._read()
        if not self._hung:
            self._timers.run_due()

    def _draw(self) -> None:
        self.view.box = self._box.shown()
        self.view.queued = [prompt.text for prompt in self._queue]
        rows, cursor = frame(self.view, *self.terminal.size)
        self.terminal.show(rows, cursor, "" if self.view.phase == "starting" else self.view.title)
        if self.view.phase != "starting":
            waiting = "permission prompt" if self.view.dialog else None
            self._session_file.tell("waiting" if waiting else "busy" if self._is_busy else "idle", waiting)

    def _take_signals(self, numbers: set[int]) -> None:
        if signal.SIGWINCH in numbers:
            self.terminal.forget_frame()
        for number in (signal.SIGHUP, signal.SIGTERM, signal.SIGINT):
            if number in numbers:
                raise Leave(128 + number, "other")

    def _read(self) -> None:
        try:
            data = os.read(self.terminal.input, READ_BYTES)
        except OSError:
            data = b""
        if not data:
            raise Leave(128 + signal.SIGHUP, "other")
        self.log.add("input", bytes=len(data))
        self._timers.cancel("escape")
        self._take_events(self._keys.feed(data))
        if self._keys.is_ambiguous:
            self._timers.after("escape", ESCAPE_SECONDS, lambda: self._take_events(self._keys.flush()))

    def _take_events(self, events: list[Event]) -> None:
        for event in events:
            if self.view.dialog:
                self._answer_dialog(event)
            elif self.view.phase != "starting" and not self._hung:
                self._edit(event)

    # --- the running flow

    @property
    def _is_busy(self) -> bool:
        return self._flow is not None or self._hung

    def _start(self, flow) -> None:
        self._flow = flow
        self._advance()

    def _advance(self, answer: int | None = None) -> None:
        try:
            request = self._flow.send(answer)
        except StopIteration:
            self._flow = None
            self._rest()
            return
        if isinstance(request, dialogs.Dialog):
            self.log.add("dialog", name=request.name)
            self.view.dialog = request
        else:
            self._timers.after("flow", request, self._advance)

    def _start_up(self):
        kind = self.script.text("TRUST")
        if kind and not FolderTrust(self._home).covers(self.folder):
            yield from self._insist(dialogs.trust(kind, str(self.folder), self.script.text("TRUST_CURSOR")))
            FolderTrust(self._home).accept(self.folder)
        if self.script.is_on("SECOND_DIALOG"):
            yield from self._insist(dialogs.second(self.script.text("SECOND_DIALOG"), str(self.folder)))
        if self.script.is_on("UNKNOWN_DIALOG"):
            yield dialogs.unknown(self.script.text("UNKNOWN_DIALOG"))
        self._begin_session()

    @staticmethod
    def _insist(dialog: dialogs.Dialog):
        answer = yield dialog
        if answer not in dialog.accepting:
            raise Leave(1, None, "Claude Code didn't start because this folder isn't trusted.")

    def _begin_session(self) -> None:
        if self.options.resume:
            for role, text in self.transcript.conversation():
                self.view.say(("❯ " if role == "user" else "● ") + text, "")
        self.view.phase = "idle"
        source = "resume" if self.options.resume else "startup"
        self.hooks.fire("SessionStart", source=source, model=model_id(self.options.model))
        if self.options.prompt:
            self._queue.append(Prompt(self.options.prompt, self.options.prompt, "argument"))
        if self.script.is_on("RESTLESS"):
            self._fidget()

    def _rest(self) -> None:
        self._timers.cancel("spinner")
        self.view.phase = "idle"
        if self._queue:
            self._submit(self._queue.pop(0))
        elif self._prompt and self.script.is_on("GO_ON") and not self._went_on:
            self._went_on = True
            text = "And now for the rest of it."
            seconds = self.script.number("GO_ON_AFTER", GO_ON_SECONDS)
            self._timers.after("go-on", seconds, lambda: self._submit(Prompt(text, text, "own")))

    def _submit(self, prompt: Prompt) -> None:
        self._timers.cancel("go-on")
        text = prompt.text.strip()
        if text in EXIT_COMMANDS:
            raise Leave(0, "prompt_input_exit")
        self.view.say(*("❯ " + text).splitlines(), "")
        if text.startswith("/") and text[1:].isalpha():
            self.view.say(f"Unknown command: {text}", "")
            self._rest()
            return
        self._prompt = prompt
        self.log.add("prompt", text=prompt.text, source=prompt.source)
        self.hooks.prompt_id = str(uuid.uuid4())
        self.hooks.fire("UserPromptSubmit", prompt=prompt.wrapped)
        self.transcript.user(self.hooks.prompt_id, prompt.wrapped, prompt.source)
        self._lines_before_turn = len(self.view.lines)
        self.view.phase, self.view.seconds = "working", 0
        self._turn_began = time.monotonic()
        self._timers.after("spinner", SPINNER_SECONDS, self._spin)
        if self.script.is_on("HANG"):
            self._hung = True
            return
        self._start(Turn(self, prompt.text).run())

    def _interrupt(self) -> None:
        self.log.add("interrupt")
        self._flow.close()
        self._flow = None
        self._timers.cancel("flow")
        if len(self.view.lines) == self._lines_before_turn and self._prompt:
            self._box.add(self._prompt.text, 0)  # nothing was printed yet: the prompt goes back into the box
        else:
            self.stop_short()
        self._rest()

    def _spin(self) -> None:
        self.view.tick += 1
        self.view.seconds = int(time.monotonic() - self._turn_began)
        self._timers.after("spinner", SPINNER_SECONDS, self._spin)

    def _fidget(self) -> None:
        self.view.tick += 1
        self.view.note = f"refreshing {self.view.tick}"
        self._timers.after("restless", RESTLESS_SECONDS, self._fidget)

    # --- keys

    def _answer_dialog(self, event: Event) -> None:
        presses = {"enter": ["enter"], "swallowed": ["enter"], "key": [event.text], "text": list(event.text)}
        keys = presses.get(event.kind, [])
        for index, key in enumerate(keys):
            dialog = self.view.dialog
            answered, choice = dialog.press(key)
            if answered:
                told = None if choice is None else dialog.entries[choice]
                self.log.add("dialog_answer", name=dialog.name, choice=told)
                self.view.dialog = None
                self._advance(choice)
                rest = "".join(keys[index + 1 :])
                if rest:
                    self._take_events([Event("text", rest, event.burst)])
                return

    def _edit(self, event: Event) -> None:
        if event.kind == "text":
            self._box.add(event.text, event.burst)
        elif event.kind == "paste":
            self._box.add(event.text, 0)
        elif event.kind in ("newline", "swallowed"):
            self._box.add("\n", event.burst)
            if event.kind == "swallowed":
                self.log.add("enter", effect="line-break")
        elif event.kind == "enter":
            self._enter()
        elif event.text == "backspace":
            self._box.backspace()
        elif event.text == "ctrl-u":
            self._box.clear()
        elif event.text == "escape" and self._is_busy:
            self._interrupt()
        elif event.text == "ctrl-c":
            self._control_c()

    def _enter(self) -> None:
        effect = self._effect_of_enter()
        self.log.add("enter", effect=effect)
        if effect in ("empty", "swallowed"):
            return
        prompt = Prompt(self._box.text, self._box.wrapped(), "queued" if effect == "queue" else "typed")
        self._box.clear()
        if effect == "queue":
            self._queue.append(prompt)
        elif effect == "submit":
            self._submit(prompt)

    def _effect_of_enter(self) -> str:
        if self._box.is_empty:
            return "empty"
        if self._swallow_left > 0:
            self._swallow_left -= 1
            return "swallowed"
        if self.script.is_on("IGNORE_EXIT") and self._box.text.strip() in EXIT_COMMANDS:
            return "ignored"
        return "queue" if self._is_busy else "submit"

    def _control_c(self) -> None:
        if self.script.is_on("IGNORE_EXIT"):
            return
        if self._is_busy:
            self._interrupt()
        elif not self._box.is_empty:
            self._box.clear()
        elif self._timers.is_set("ctrl-c"):
            raise Leave(0, "prompt_input_exit")
        else:
            self.view.note = "Press Ctrl-C again to exit"
            self._timers.after("ctrl-c", SECOND_CTRL_C_SECONDS, self._forget_control_c)

    def _forget_control_c(self) -> None:
        self.view.note = ""

    def _leave(self, leave: Leave) -> int:
        self.log.add("exit", reason=leave.reason, status=leave.status)
        if self.view.phase != "starting":
            self.hooks.fire("SessionEnd", reason=leave.reason)
            self._session_file.remove()
        self.terminal.close()
        text = leave.text
        if leave.reason == "prompt_input_exit":
            text = f"\nResume this session with:\nclaude --resume {self.session_id}"
        if text:
            self.terminal.write((text + "\n").encode())
        return leave.status
