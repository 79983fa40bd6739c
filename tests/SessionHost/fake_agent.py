#!/usr/bin/python3
"""Stands in for `claude` and `codex`: takes the terminal, draws an input box and writes down what reaches it.

Arguments: --dialog (asks for trust first; Down, Enter accepts), --no-session (keeps no session file), --no-paste (does
not ask for bracketed paste), --crash (ends before its box shows). A prompt "/exit" or "/quit" ends it.
"""
import json
import os
import sys
import time
import tty
import termios

HOME = os.environ["HOME"]
KIND = os.path.basename(sys.argv[0])
OPTIONS = sys.argv[1:]
OUT = sys.stdout.buffer


def note(**what):
    with open(f"{HOME}/{KIND}.log", "a") as log:
        log.write(json.dumps(what) + "\n")


def session(status):
    if KIND != "claude" or "--no-session" in OPTIONS:
        return
    folder = f"{HOME}/.claude/sessions"
    os.makedirs(folder, exist_ok=True)
    start = open("/proc/self/stat").read().rsplit(")", 1)[1].split()[19]
    path = f"{folder}/{os.getpid()}.json"
    with open(path + ".new", "w") as file:
        json.dump({"pid": os.getpid(), "procStart": start, "status": status}, file)
    os.rename(path + ".new", path)


def draw(text, title):
    OUT.write(b"\x1b[2J\x1b[H" + f"\x1b]2;{title}\x07{text}".replace("\n", "\r\n").encode())
    OUT.flush()


def rest():
    if KIND == "claude":
        rule = "─" * 60
        draw(f"a reply\n\n{rule}\n❯ \n{rule}\n  ? for shortcuts\n", "✳ Claude Code")
    else:
        draw("a reply\n\n› Ask Codex to do anything\n  ? for shortcuts\n", "folder")
    session("idle")


def work():
    if KIND == "claude":
        rule = "─" * 60
        draw(f"✻ Thinking… (1s)\n{rule}\n❯ \n{rule}\n  esc to interrupt\n", "◐ Claude Code")
    else:
        draw("› Ask Codex to do anything\n", "⠙ folder")
    session("busy")


def read():
    data = os.read(0, 1 << 20)
    if not data:
        sys.exit(0)
    return data


def main():
    note(argv=OPTIONS, cwd=os.getcwd(), run=os.environ.get("KEELHAVEN_RUN_ID"))
    if "--crash" in OPTIONS:
        print("cannot start: no licence")
        sys.exit(3)
    tty.setraw(0)
    if "--dialog" in OPTIONS:
        draw(" Is this a project you trust?\n ❯ No, exit\n   Yes, I trust this folder\n\n Enter to confirm · Esc to cancel\n", "")
        keys = b""
        while b"\x1b[B" not in keys or not keys.endswith(b"\r"):
            keys += read()
    if "--no-paste" not in OPTIONS:
        OUT.write(b"\x1b[?2004h")
    rest()
    typed = b""
    while True:
        data = read()
        typed += data
        if not typed.endswith(b"\r"):
            continue
        # `enter` tells whether Enter came in a read of its own.
        note(typed=typed[:-1].decode("latin-1"), enter=data == b"\r")
        prompt = typed[:-1].removeprefix(b"\x1b[200~").removesuffix(b"\x1b[201~")
        typed = b""
        if prompt in (b"/exit", b"/quit"):
            return
        work()
        while not os.path.exists(f"{HOME}/finish"):
            time.sleep(0.01)
        rest()


settings = termios.tcgetattr(0)
try:
    main()
finally:
    termios.tcsetattr(0, termios.TCSANOW, settings)
    OUT.write(b"\x1b[?2004l")
    OUT.flush()
