"""The command line, as `claude` takes it."""
import os
import uuid
from dataclasses import dataclass, field

MODES = ("acceptEdits", "auto", "bypassPermissions", "default", "dontAsk", "manual", "plan")


class UsageError(Exception):
    """A command line that is refused; its text goes to standard error, the exit status is 1."""


@dataclass
class Options:
    permission_mode: str = "auto"
    settings: list[str] = field(default_factory=list)
    plugin_dirs: list[str] = field(default_factory=list)
    add_dirs: list[str] = field(default_factory=list)
    model: str = "opus"
    resume: str | None = None
    session_id: str | None = None
    prompt: str | None = None


# flag: (field, takes a list of values up to the next flag)
FLAGS = {
    "--permission-mode": ("permission_mode", False),
    "--settings": ("settings", False),
    "--plugin-dir": ("plugin_dirs", False),
    "--add-dir": ("add_dirs", True),
    "--model": ("model", False),
    "--resume": ("resume", False),
    "-r": ("resume", False),
    "--session-id": ("session_id", False),
}


def parse(arguments: list[str]) -> Options:
    options = Options()
    rest = list(arguments)
    while rest:
        argument = rest.pop(0)
        if argument == "--":
            if rest:
                options.prompt = rest.pop(0)
        elif argument.startswith("-") and len(argument) > 1:
            _take_flag(options, argument, rest)
        elif options.prompt is None:
            options.prompt = argument
    _check(options)
    return options


def _take_flag(options: Options, argument: str, rest: list[str]) -> None:
    flag, glued, value = argument.partition("=")
    if flag not in FLAGS:
        raise UsageError(f"error: unknown option '{argument}'")
    name, takes_many = FLAGS[flag]
    values = [value] if glued else rest[:1]
    if not glued:
        del rest[:1]
    if not values or (not glued and values[0].startswith("-")):
        raise UsageError(f"error: option '{flag} <value>' argument missing")
    while takes_many and rest and not rest[0].startswith("-"):
        values.append(rest.pop(0))
    if isinstance(getattr(options, name), list):
        getattr(options, name).extend(values)
    else:
        setattr(options, name, values[0])


def _check(options: Options) -> None:
    mode = options.permission_mode
    if mode not in MODES:
        allowed = ", ".join(MODES)
        raise UsageError(
            f"error: option '--permission-mode <mode>' argument '{mode}' is invalid. Allowed choices are {allowed}."
        )
    if mode == "bypassPermissions" and os.geteuid() == 0:
        raise UsageError(
            "--dangerously-skip-permissions cannot be used with root/sudo privileges for security reasons"
        )
    if options.session_id is not None:
        try:
            uuid.UUID(options.session_id)
        except ValueError:
            raise UsageError("Error: Invalid session ID. Must be a valid UUID.") from None
