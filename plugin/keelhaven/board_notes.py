"""A sweep's notes on projects and repositories, added to `ai.json` among what others wrote there."""
import fcntl
import json
import os
import tempfile
from pathlib import Path

from keelhaven import store
from keelhaven.board_state import LONGEST_ITEM, LONGEST_TEXT, Board, Refused, as_list, iso, without_nothing

MOST_REVIEW_ITEMS = 6


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
