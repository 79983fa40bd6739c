#!/usr/bin/env python3
"""Walks the includes under src/ and fails on one that points up, or to the right on its own floor."""
import pathlib
import re
import sys

# Bottom to top; on a floor, left to right. A room may include lower floors and rooms further left.
FLOORS = [
    ["Platform"],
    ["Contract", "Contract/Models", "Scheduler/Model", "Store/SQLite", "Herdr/Wire"],
    ["Assets", "Ships", "Store", "Engine"],
    ["Notifications", "Setup", "Journal", "Scheduler/Usage", "Plugins", "Scheduler/Prompt", "Herdr"],
    ["Scheduler"],
    ["Mirror", "Captain", "Dispatch"],
    ["Surfaces", "App", "App/Commands"],
    ["MenuBar", "UI"],
]
# Programs of their own, outside the floors.
SEPARATE = {"SessionHost": {"Platform", "Contract", "Herdr/Wire"}, "Front": {"App"}, "SecretHelper": {"Platform"}, "Thumbnailer": {"Platform"}}
PLACES = {room: (floor, place) for floor, rooms in enumerate(FLOORS) for place, room in enumerate(rooms)}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')


def may_include(room: str, other: str) -> bool:
    if room == other:
        return True
    if room in SEPARATE:
        return other in SEPARATE[room]
    if other in SEPARATE:
        return False
    if room == "App" and other == "App/Commands":
        return True  # one library
    return PLACES[other] < PLACES[room] if PLACES[other][0] == PLACES[room][0] else PLACES[other][0] < PLACES[room][0]


def main() -> int:
    source = pathlib.Path(sys.argv[1]) / "src"
    failures = []
    seen = 0
    for path in sorted([*source.rglob("*.h"), *source.rglob("*.cpp")]):
        room = path.parent.relative_to(source).as_posix()
        if room == ".":
            continue
        if room not in PLACES and room not in SEPARATE:
            failures.append(f"{path}: the room {room} has no floor; add it to {__file__}")
            continue
        for number, line in enumerate(path.read_text().splitlines(), 1):
            match = INCLUDE.match(line)
            if not match or "/" not in match[1]:
                continue
            other = match[1].rsplit("/", 1)[0]
            seen += 1
            if other not in PLACES and other not in SEPARATE:
                failures.append(f"{path}:{number}: includes the unknown room {other}")
            elif not may_include(room, other):
                failures.append(f"{path}:{number}: {room} may not know {other}")
    if seen < 50:
        failures.append(f"only {seen} includes found: the walk itself is broken")
    print("\n".join(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
