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
import fcntl
import hashlib
import json
import os
import re
import subprocess
import sys
import tempfile
import time
from datetime import date, datetime, timezone
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))
from keelhaven import store  # noqa: E402

DAY_SECONDS = 86400
SESSION_DAYS = 3
FLAG_DAYS = 14
MOST_PROJECTS = 60
MOST_SESSIONS = 5
MOST_FLAGS = 10
MOST_FOUND_REPOSITORIES = 40
MOST_REVIEW_ITEMS = 6
LONGEST_ITEM = 300  # characters
LONGEST_TEXT = 8000
LAST_MOMENT = 253402300800  # the end of the year 9999, in seconds since 1970
LONGEST_PARAGRAPH = 1000
LONGEST_OUTPUT = 24000  # characters; beyond 30000 a session is shown only a part of them
GIT_SECONDS = 30
TAIL_BYTES = 4 * 1024 * 1024  # of the event log
PRUNED_FOLDERS = {"node_modules", "vendor", "target", "build", "dist", ".venv", "venv"}


class Refused(Exception):
    """The sentence for whoever called."""


def as_list(value):
    return value if isinstance(value, list) else []


def text_of(value, longest=LONGEST_TEXT):
    return value[:longest] if isinstance(value, str) and value.strip() else None


def shortened(value):
    """A number or truth as it is, and of anything else what a line holds."""
    return value if isinstance(value, (int, float)) else text_of(value, LONGEST_ITEM)


def without_nothing(entries):
    return {key: value for key, value in entries.items() if value not in (None, [], {})}


def iso(seconds):
    return datetime.fromtimestamp(seconds, timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")


def review_key(project, text):
    """How the service names a review item that the user has dismissed."""
    return hashlib.sha1(f"{project}\0{text}".encode("utf-8", "replace")).hexdigest()


def tail_events(path):
    """The events at the end of the log, oldest first."""
    try:
        with open(path, "rb") as log:
            size = log.seek(0, os.SEEK_END)
            log.seek(max(0, size - TAIL_BYTES))
            lines = log.read().split(b"\n")
    except OSError:
        return []
    events = []
    for line in lines[1:] if size > TAIL_BYTES else lines:
        try:
            event = json.loads(line)
        except (ValueError, RecursionError):
            continue
        if isinstance(event, dict):
            events.append(event)
    return events


def moment(event):
    """Seconds since 1970; 0 for an event without a time that a calendar could tell."""
    value = event.get("ts")
    if not isinstance(value, (int, float)) or isinstance(value, bool):
        return 0.0
    return float(value) if 0 < value < LAST_MOMENT else 0.0


def is_path(value):
    """Whether a file could be called that: JSON texts may hold what no name on a disk can."""
    try:
        return isinstance(value, str) and b"\0" not in os.fsencode(value)
    except UnicodeEncodeError:
        return False


class Board:
    """The shared files as they are now, seen from this machine."""

    def __init__(self, cache_dir, now, machine=None):
        self.now = now
        self.state = store.read_object(cache_dir / "state.json")
        self.ai = store.read_object(cache_dir / "ai.json")
        self.context = store.read_object(cache_dir / "context.json")
        self.projects = store.as_object(self.state.get("projects"))
        machine = machine or os.uname().nodename or "unknown"
        links = {slug: path for slug, path in self._of_machine("local_links", machine).items() if is_path(path)}
        # What the user keeps off the board is not for a sweep to read either.
        self.excluded = {slug for slug in as_list(self.state.get("excluded_repos")) if isinstance(slug, str)}
        self.links = {slug: path for slug, path in links.items() if slug not in self.excluded}
        self.excluded_folders = {os.path.realpath(path) for slug, path in links.items() if slug in self.excluded}
        self.sync = self._of_machine("local_sync", machine)
        self.events = self._events_by_slug(tail_events(cache_dir / "events.jsonl"))

    def brief(self, folder, begin=0):
        order = [name for name in as_list(self.state.get("project_order")) if isinstance(name, str)]
        shown = [name for name in dict.fromkeys(order) if isinstance(self.projects.get(name), dict)]
        result = {
            "now": iso(self.now),
            "board": without_nothing(
                {key: shortened(self.state.get(key)) for key in ("schema_version", "last_refresh", "last_error")}
            ),
            "projects": [],
        }
        size = 0
        for number, name in enumerate(shown[begin:MOST_PROJECTS], begin):
            project = self._project(name)
            size += len(json.dumps(project, ensure_ascii=False, indent=1))
            if size > LONGEST_OUTPUT and result["projects"]:
                result["next"] = number
                break
            result["projects"].append(project)
        if len(shown) > MOST_PROJECTS:
            result["left_out"] = shown[MOST_PROJECTS:]
        if not shown:
            found = found_repositories(folder)
            result["repositories_found"] = [place for place in found if os.path.realpath(place) not in self.excluded_folders]
        return result

    def repositories(self, name):
        repos = store.as_object(store.as_object(self.projects.get(name)).get("repos"))
        return {slug: store.as_object(repo) for slug, repo in repos.items() if slug not in self.excluded}

    def _project(self, name):
        state = store.as_object(self.projects.get(name))
        context = store.as_object(self.context.get(name))
        summary = store.as_object(store.as_object(self.ai.get("summaries")).get(name))
        digest = store.as_object(store.as_object(self.ai.get("digests")).get(name))
        signature = state.get("head_sig")
        slugs = list(self.repositories(name))
        return without_nothing(
            {
                "name": name,
                "display": text_of(context.get("display"), LONGEST_ITEM) or text_of(state.get("display"), LONGEST_ITEM),
                "status": text_of(context.get("status"), LONGEST_PARAGRAPH),
                "vision": text_of(context.get("vision"), LONGEST_PARAGRAPH),
                "launch": self._launch(context.get("active_launch")),
                "commits_today": state.get("commits_today"),
                "days_idle": state.get("days_idle"),
                "latest_commit_date": state.get("latest_commit_date"),
                "summary": text_of(summary.get("text"), LONGEST_PARAGRAPH),
                "summary_at": summary.get("at"),
                "is_summary_current": bool(signature) and summary.get("head_sig") == signature,
                "narrative": text_of(digest.get("narrative"), LONGEST_PARAGRAPH),
                "repos": [self._repository(slug, repo) for slug, repo in self.repositories(name).items()],
                "flags": self._flags(name, slugs),
                "sessions": self._sessions(slugs),
            }
        )

    def _repository(self, slug, repo):
        path = self.links.get(slug)
        sync = store.as_object(self.sync.get(slug))
        architecture = store.as_object(store.as_object(self.ai.get("architecture")).get(slug))
        return without_nothing(
            {
                "slug": slug,
                "path": path,
                "is_path_there": os.path.isdir(path) if path else None,
                "branch": repo.get("branch"),
                "head": repo.get("head"),
                "last_date": repo.get("last_date"),
                "fetch_error": text_of(repo.get("fetch_error"), LONGEST_ITEM),
                "sync": {key: shortened(sync[key]) for key in ("status", "dirty", "ahead", "detail", "checked_at") if key in sync},
                "has_architecture": bool(architecture.get("text")),
            }
        )

    def _launch(self, launch):
        launch = store.as_object(launch)
        kept = {key: text_of(launch.get(key), LONGEST_PARAGRAPH) for key in ("type", "title", "action", "target_date", "goals")}
        try:
            target = date.fromisoformat(kept["target_date"] or "")
            kept["days_until"] = (target - datetime.fromtimestamp(self.now).date()).days
        except ValueError:
            pass
        return without_nothing(kept)

    def _of_machine(self, key, machine):
        return store.as_object(store.as_object(self.state.get(key)).get(machine))

    def _events_by_slug(self, live):
        """Recent events by repository: those of the log, or where it has none, those that the service kept."""
        events = {}
        for event in live:
            hint = event.get("repo_hint")
            slug = hint if isinstance(hint, str) and hint in self.links else self._slug_of(event.get("cwd"))
            if slug:
                events.setdefault(slug, []).append(event)
        for slug, activity in store.as_object(self.state.get("activity")).items():
            recent = as_list(store.as_object(activity).get("recent"))
            events.setdefault(slug, [event for event in recent if isinstance(event, dict)])
        return events

    def _slug_of(self, folder):
        if not isinstance(folder, str) or not folder:
            return None
        folder = os.path.normpath(folder)
        roots = [(os.path.normpath(path), slug) for slug, path in self.links.items()]
        holding = [(len(root), slug) for root, slug in roots if folder == root or folder.startswith(root + "/")]
        return max(holding)[1] if holding else None

    def _recent(self, slugs, days):
        since = self.now - days * DAY_SECONDS
        events = [event for slug in slugs for event in self.events.get(slug, []) if moment(event) > since]
        return sorted(events, key=moment, reverse=True)

    def _flags(self, name, slugs):
        dismissed = set(map(str, as_list(self.state.get("dismissed_reviews"))))
        flags = [event for event in self._recent(slugs, FLAG_DAYS) if event.get("type") == "flag"]
        flags = [event for event in flags if text_of(event.get("note")) and review_key(name, event["note"]) not in dismissed]
        return [{"at": iso(moment(event)), "note": event["note"][:LONGEST_PARAGRAPH]} for event in flags[:MOST_FLAGS]]

    def _sessions(self, slugs):
        said = [e for e in self._recent(slugs, SESSION_DAYS) if e.get("type") == "Stop" and text_of(e.get("last_message"))]
        return [{"at": iso(moment(event)), "said": event["last_message"][:600]} for event in said[:MOST_SESSIONS]]


def found_repositories(folder):
    """Git repositories at `folder` and up to two folders below it."""
    found = []
    for place, folders, _ in os.walk(folder):
        depth = 0 if place == folder else os.path.relpath(place, folder).count("/") + 1
        is_repository = os.path.exists(os.path.join(place, ".git"))
        if is_repository:
            found.append(place)
        if is_repository and place != folder or depth == 2 or len(found) >= MOST_FOUND_REPOSITORIES:
            folders.clear()
        folders[:] = sorted(name for name in folders if not name.startswith(".") and name not in PRUNED_FOLDERS)
    return found[:MOST_FOUND_REPOSITORIES]


# A repository's own configuration could name programs for git to run; none of these is wanted for a look.
GIT = ("git", "--no-pager", "-c", "core.fsmonitor=false", "-c", "log.showSignature=false", "-c", "color.ui=false")
GIT_ENVIRONMENT = {"GIT_OPTIONAL_LOCKS": "0", "GIT_TERMINAL_PROMPT": "0", "GIT_NO_LAZY_FETCH": "1", "LC_ALL": "C.UTF-8"}
SECRET_NAME = re.compile(r"(^|/)(\.env[^/]*|id_[^/]*|[^/]*\.(pem|key|p12|pfx|keystore)|[^/]*(secret|credential)[^/]*)$", re.IGNORECASE)
SECRET_GLOBS = ("*.env*", "id_*", "*/id_*", "*.pem", "*.key", "*.p12", "*.pfx", "*.keystore", "*secret*", "*credential*")
NO_SECRETS = tuple(f":(exclude,icase){glob}" for glob in SECRET_GLOBS)
LOOKS = {
    "Status": ("status", "--short", "--branch", "--ignore-submodules"),
    "Commits of the last 14 days": (
        "log", "--since=14 days ago", "--max-count=40", "--date=iso-strict", "--format=%h %ad %an: %s", "--no-ext-diff",
        "--no-textconv", "--shortstat",
    ),
    "Stashes": ("stash", "list", "--date=iso-strict"),
    "Branches": (
        "for-each-ref", "--sort=-committerdate", "--count=15",
        "--format=%(refname:short) %(committerdate:iso-strict) %(upstream:track)", "refs/heads",
    ),
}


def git(folder, *words, longest=LONGEST_OUTPUT):
    """What git prints, cut to what a session can read. Raises Refused."""
    command = [*GIT, "-C", folder, *words]
    try:
        done = subprocess.run(
            command, capture_output=True, stdin=subprocess.DEVNULL, timeout=GIT_SECONDS, env=os.environ | GIT_ENVIRONMENT
        )
    except (OSError, subprocess.TimeoutExpired) as failure:
        raise Refused(f"git gave no answer in {folder}: {type(failure).__name__}") from None
    text = done.stdout.decode("utf-8", "replace").rstrip()
    if done.returncode != 0:
        raise Refused(done.stderr.decode("utf-8", "replace").strip()[:LONGEST_ITEM] or f"git failed in {folder}.")
    return text if len(text) <= longest else text[:longest] + "\n… cut"


def checked_folder(board, folder, here):
    """`folder`, if it is a repository of the board or one that brief would find. Raises Refused."""
    wanted = os.path.realpath(folder)
    known = [*board.links.values(), *found_repositories(here)]
    if wanted in board.excluded_folders or wanted not in map(os.path.realpath, known):
        raise Refused(f"{folder} is no repository of the board.")
    return wanted


def look(board, folder, here):
    place = checked_folder(board, folder, here)
    said, failed = [], 0
    for title, words in LOOKS.items():
        try:
            said.append(f"{title}\n{git(place, *words, longest=LONGEST_OUTPUT // len(LOOKS)) or 'none'}")
        except Refused as refusal:  # a new repository has no commits, and yet much to tell
            said.append(f"{title}\n{refusal}")
            failed += 1
    if failed == len(LOOKS):
        raise Refused(said[0].partition("\n")[2])
    return "\n\n".join(said)


def show(board, folder, commit, file, here):
    if not re.fullmatch("[0-9a-f]{4,64}", commit):
        raise Refused(f"{commit} is no commit's hash.")
    words = ["show", "--stat", "--patch", "--no-ext-diff", "--no-textconv", "--format=fuller", commit, "--"]
    # A folder's name, or a pattern, stands for files whose names nobody has checked.
    shown = f":(literal){checked_file(file)}" if file else "."
    return git(checked_folder(board, folder, here), *words, shown, *NO_SECRETS)


def files(board, folder, here):
    return git(checked_folder(board, folder, here), "ls-tree", "-r", "--name-only", "HEAD")


def read(board, folder, file, here):
    return git(checked_folder(board, folder, here), "show", "--no-textconv", f"HEAD:{checked_file(file)}")


def checked_file(file):
    if SECRET_NAME.search(file):
        raise Refused(f"{file} may hold secrets.")
    return os.path.normpath(file)


def checked_text(value, what, longest=LONGEST_TEXT):
    if not isinstance(value, str) or not value.strip():
        raise Refused(f"{what} must be a text.")
    if len(value) > longest:
        raise Refused(f"{what} is longer than {longest} characters.")
    return value.strip()


def checked_object(value, what, keys):
    if not isinstance(value, dict) or set(value) - set(keys):
        raise Refused(f"{what} must be an object of: {', '.join(keys)}.")
    return value


def new_panels(notes, board):
    """The panels that `notes` ask for: a map of ai.json's maps to their new entries. Raises Refused."""
    checked_object(notes, "A note", ("summaries", "digests", "architecture"))
    at = iso(board.now)
    heads = {slug: repo.get("head") for name in board.projects for slug, repo in board.repositories(name).items()}
    panels = {"summaries": {}, "digests": {}, "architecture": {}}
    for kind, known in (("summaries", board.projects), ("digests", board.projects), ("architecture", heads)):
        for name in checked_object(notes.get(kind, {}), f'"{kind}"', tuple(known)) if notes.get(kind) else ():
            value, what = notes[kind][name], f'"{kind}" of {name}'
            if kind == "summaries":
                signature = store.as_object(board.projects[name]).get("head_sig")
                panels[kind][name] = without_nothing({"text": checked_text(value, what), "at": at, "head_sig": signature})
            elif kind == "digests":
                checked_object(value, what, ("narrative", "review"))
                review = [checked_text(item, f"An item of {what}", LONGEST_ITEM) for item in as_list(value.get("review"))]
                if len(review) > MOST_REVIEW_ITEMS:
                    raise Refused(f"{what} has more than {MOST_REVIEW_ITEMS} items to review.")
                panels[kind][name] = {"narrative": checked_text(value.get("narrative"), what), "review": review, "at": at}
            else:
                checked_object(value, what, ("text", "mermaid"))
                panel = {"text": checked_text(value.get("text"), what), "at": at, "head": heads[name]}
                if value.get("mermaid"):
                    panel["mermaid"] = checked_text(value["mermaid"], what)
                panels[kind][name] = without_nothing(panel)
    return panels


def replace_file(path, content):
    descriptor, temporary = tempfile.mkstemp(dir=path.parent, prefix=path.name)
    try:
        with os.fdopen(descriptor, "wb") as file:
            file.write(content)
            file.flush()
            os.fsync(file.fileno())
        os.replace(temporary, path)
    except BaseException:
        os.unlink(temporary)
        raise


def rendered(document):
    try:
        return json.dumps(document, ensure_ascii=False, indent=1, allow_nan=False).encode("utf-8")
    except UnicodeEncodeError:  # half a surrogate pair, which only an escape can spell
        return json.dumps(document, indent=1, allow_nan=False).encode("utf-8")


def no_constant(name):
    raise ValueError(f"{name} is no JSON")


def note(cache_dir, notes, now):
    """Adds `notes` to ai.json; gives how many entries that were."""
    path = Path(os.path.realpath(cache_dir / "ai.json"))  # a link stays a link
    with open(cache_dir / "ai.json.lock", "a") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        panels = new_panels(notes, Board(cache_dir, now))
        before = path.read_bytes() if path.exists() else b"{}"
        try:
            document = json.loads(before, parse_constant=no_constant)
        except (ValueError, RecursionError):
            document = None
        if not isinstance(document, dict):
            raise Refused(f"{path} is no JSON object; it stays as it is.")
        for kind, entries in panels.items():
            if entries:
                document[kind] = store.as_object(document.get(kind)) | entries
        count = sum(map(len, panels.values()))
        if count:
            try:
                after = rendered(document)
            except (ValueError, RecursionError):  # a number or a depth that Python reads and cannot write again
                raise Refused(f"{path} holds what cannot be written again; it stays as it is.") from None
            replace_file(cache_dir / "ai.json.previous", before)
            replace_file(path, after)
        return count


def read_notes(file):
    try:
        return json.load(file)
    except (ValueError, RecursionError):
        raise Refused("The notes are not JSON.") from None


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
