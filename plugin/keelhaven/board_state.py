"""The board as the shared files tell it: its projects with their repositories on this machine, and what was said of them."""
import hashlib
import json
import os
from datetime import date, datetime, timezone

from keelhaven import store

DAY_SECONDS = 86400
SESSION_DAYS = 3
FLAG_DAYS = 14
MOST_PROJECTS = 60
MOST_SESSIONS = 5
MOST_FLAGS = 10
MOST_FOUND_REPOSITORIES = 40
LONGEST_ITEM = 300  # characters
LONGEST_PARAGRAPH = 1000
LONGEST_TEXT = 8000
LONGEST_OUTPUT = 24000  # characters; beyond 30000 a session is shown only a part of them
LAST_MOMENT = 253402300800  # the end of the year 9999, in seconds since 1970
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
        with open(path, "rb", opener=store.without_waiting) as log:
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
