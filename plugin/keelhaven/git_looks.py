"""What git knows of the repositories that a sweep may look at. Nothing here changes anything or asks over the network."""
import os
import re
import subprocess

from keelhaven.board_state import LONGEST_ITEM, LONGEST_OUTPUT, Refused, found_repositories

GIT_SECONDS = 30

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
    # A session that was started by a hook of git is told of another repository.
    environment = {name: value for name, value in os.environ.items() if not name.startswith("GIT_")} | GIT_ENVIRONMENT
    try:
        done = subprocess.run(
            command, capture_output=True, stdin=subprocess.DEVNULL, timeout=GIT_SECONDS, env=environment
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
