"""The command line's entry: answers that need no terminal, then the session."""
import ctypes
import json
import os
import sys
import time
from pathlib import Path

from . import VERSION, __doc__ as description
from .agent import Agent
from .options import UsageError, parse
from .records import Log, Transcript
from .script import Script

SUB_COMMANDS = ("plugin", "mcp", "update", "doctor")


def main(arguments: list[str]) -> int:
    call_process("claude")
    home = Path.home()
    script = Script([home, Path.cwd()], os.environ)
    if arguments[:1] in (["--version"], ["-v"]):
        print(f"{VERSION} (Claude Code)")
        return 0
    if arguments[:1] in (["--help"], ["-h"]):
        print(description)
        return 0
    if arguments[:2] == ["auth", "status"]:
        return auth_status(home, signed_out=script.is_on("SIGNED_OUT"))
    if arguments and arguments[0] in SUB_COMMANDS:
        print(f"error: '{arguments[0]}' is not scripted", file=sys.stderr)
        return 1
    try:
        return interactive(arguments, script, home)
    except UsageError as error:
        print(error, file=sys.stderr)
        return 1


def call_process(name: str) -> None:
    """Makes this process look like a program of that name: those who look for it in a pane see its command line."""
    Path("/proc/self/comm").write_text(name)
    arguments = Path("/proc/self/cmdline").read_bytes().split(b"\0")
    script = os.fsencode(sys.argv[0])
    own = arguments[arguments.index(script) + 1 :] if script in arguments else []
    shown = b"\0".join([name.encode(), *own])
    fields = Path("/proc/self/stat").read_text().rpartition(")")[2].split()
    begin, end = int(fields[45]), int(fields[46])  # where the kernel put the arguments of this process
    if 0 < begin and len(shown) < end - begin:
        ctypes.memmove(begin, shown.ljust(end - begin, b"\0"), end - begin)


def auth_status(home: Path, signed_out: bool) -> int:
    status = {
        "loggedIn": not signed_out,
        "authMethod": "none" if signed_out else "oauth_token",
        "apiProvider": "firstParty",
        "analyticsDisabled": False,
        "projectsDirectory": str(home / ".claude" / "projects"),
        "configDirectory": str(home / ".claude"),
        "loginExpiresAt": None,
    }
    print(json.dumps(status, indent=2))
    return 1 if signed_out else 0


def interactive(arguments: list[str], script: Script, home: Path) -> int:
    options = parse(arguments)
    folder = Path.cwd()
    if options.resume and not Transcript(home, options.resume, folder, options.model).exists():
        raise UsageError(f"No conversation found with session ID: {options.resume}")
    if not (os.isatty(0) and os.isatty(1)):
        raise UsageError("Error: the scripted agent needs a terminal")
    Log(script.text("LOG"), "").add("start", argv=arguments, cwd=str(folder))
    if script.text("EXIT_AT_ONCE"):
        return int(script.number("EXIT_AT_ONCE"))
    time.sleep(script.number("SLOW_START"))
    return Agent(options, script, home, folder).run()
