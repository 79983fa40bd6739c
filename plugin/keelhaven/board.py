"""What a sweep reads of the board and of its repositories, and what it may write to the board.

`board.py brief` prints one JSON object: the projects of the board in their order, each with its repositories on this
machine, its launch, what was noted about it before, and what its sessions said of late. A session reads only so much of
what a program prints: a large board comes in parts, and `next` is the number for `brief NUMBER` that prints the next one.
Where no service has filled the board yet, it names the git repositories in and below the working directory instead. Tokens
lie in a file that it never opens.

`board.py look FOLDER`, `files FOLDER`, `read FOLDER FILE` and `show FOLDER COMMIT [FILE]` print what git knows of one of
these repositories, without changing anything in it or asking anybody over the network. Only what is committed is shown, and
no file whose name says that it holds keys.

`board.py note` takes one JSON object from standard input and adds it to `ai.json`, the file in which an assistant's words
about projects stand. Every other word in that file stays, the file as it was before is kept beside it, and a note on a
project or repository that the board does not know is refused.
"""
import json
import os
import re
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))
from keelhaven import store  # noqa: E402
from keelhaven.board_notes import note, read_notes  # noqa: E402
from keelhaven.board_state import Board, Refused  # noqa: E402
from keelhaven.git_looks import files, look, read, show  # noqa: E402

USAGE = "usage: board.py brief [NUMBER] | look FOLDER | files FOLDER | read FOLDER FILE | show FOLDER COMMIT [FILE] | note < NOTES"


def main(words):
    os.umask(0o077)
    verb, *rest = words or [""]
    try:
        cache_dir, now, here = store.load_config().cache_dir, time.time(), os.getcwd()
        if verb == "brief" and (not rest or len(rest) == 1 and re.fullmatch("[0-9]{1,4}", rest[0])):
            begin = int(rest[0]) if rest else 0
            print(json.dumps(Board(cache_dir, now).brief(here, begin), ensure_ascii=False, indent=1))
        elif verb == "look" and len(rest) == 1:
            print(look(Board(cache_dir, now), rest[0], here))
        elif verb == "files" and len(rest) == 1:
            print(files(Board(cache_dir, now), rest[0], here))
        elif verb == "read" and len(rest) == 2:
            print(read(Board(cache_dir, now), rest[0], rest[1], here))
        elif verb == "show" and len(rest) in (2, 3):
            print(show(Board(cache_dir, now), rest[0], rest[1], rest[2] if len(rest) == 3 else None, here))
        elif words == ["note"]:
            print(f"Noted {note(cache_dir, read_notes(sys.stdin.buffer), now)}.")
        else:
            print(USAGE, file=sys.stderr)
            return 2
    except (Refused, OSError) as refusal:
        print(refusal, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.stdout.reconfigure(encoding="utf-8", errors="replace")
    sys.exit(main(sys.argv[1:]))
