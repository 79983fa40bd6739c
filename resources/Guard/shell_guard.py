"""What a command line touches: its words as paths, the folders it walks, the programs it carries in its text."""

import os
from time import monotonic

from shell_script import Script
from shell_words import LONGEST_PATH, UNKNOWN, Scope, assignment, brace_expanded, has_wildcard, plain

SHELLS = frozenset(("sh", "bash", "zsh", "dash", "ksh", "mksh", "fish", "ash", "busybox"))
AWKS = frozenset(("awk", "gawk", "mawk", "nawk"))
PATTERN_LANGUAGES = AWKS | {"node", "nodejs", "deno", "bun", "perl", "ruby"}  # where /x/ is no path
INTERPRETERS = PATTERN_LANGUAGES | {"python", "pypy", "php", "lua", "osascript", "tclsh", "Rscript"}
PROGRAM_LETTERS = "ceEpr"
PROGRAM_OPTIONS = ("--eval", "--print", "--source")
# They run the command behind their own options.
WRAPPERS = frozenset(
    ("sudo", "env", "time", "nohup", "nice", "ionice", "timeout", "xargs", "command", "builtin", "exec", "stdbuf", "setsid")
)
RUN_THEIR_WORDS = frozenset(("eval", "watch", "trap"))
RUN_AS_SHELLS = frozenset(("su", "runuser", "script", "flock"))  # with -c
TALKERS = frozenset(("echo", "printf", ":", "true", "false"))
ELSEWHERE = frozenset(("ssh", "docker", "podman", "kubectl"))  # the programs they run see other files
CHANGES_FOLDER = frozenset(("cd", "pushd", "popd", "pwd", "export", "set", "exit"))
# Their first operand is a pattern or a program, not a file: the letters of options with a value, the letter of the
# option that brings the pattern.
PATTERN_FIRST = {
    "grep": ("ABCmdD", "e"),
    "egrep": ("ABCmdD", "e"),
    "fgrep": ("ABCmdD", "e"),
    "zgrep": ("ABCm", "e"),
    "rg": ("ABCmgtTjME", "e"),
    "ag": ("ABCmG", ""),
    "ack": ("ABCm", ""),
    "fd": ("detxEcSj", ""),
    "fdfind": ("detxEcSj", ""),
    "sed": ("l", "e"),
    "jq": ("", ""),
    **{name: ("Fv", "") for name in AWKS},
}
WALKERS = frozenset(("find", "rg", "ag", "ack", "fd", "fdfind", "tree", "du", "ncdu", "tar"))
# They walk when one of these letters, or a long option, says so.
WALKS_WITH = {
    "grep": "rR", "egrep": "rR", "fgrep": "rR", "ls": "R", "cp": "rRa", "scp": "r", "rsync": "ra", "rm": "rR", "zip": "r",
    "chmod": "R", "chown": "R", "chgrp": "R", "diff": "r",
}  # fmt: skip
WALKS_LONG = ("--recursive", "--archive", "--dereference-recursive")
DEPTH_OPTIONS = ("-maxdepth", "--max-depth", "--maxdepth", "-L", "-d")
TARGET_LAST = frozenset(("cp", "scp", "rsync"))
TARGET_OPTIONS = ("-t", "--target-directory")
FOLDER_OPTIONS = ("-C", "--directory", "--cwd", "--chdir")
FIND_COMMANDS = ("-exec", "-execdir", "-ok", "-okdir")
FIND_TEXTS = frozenset(("-name", "-iname", "-path", "-ipath", "-wholename", "-regex", "-iregex", "-printf"))
TESTS = frozenset(("[", "[[", "test"))
COMPARES = ("=", "==", "!=", "=~")
WITH_MESSAGES = frozenset(("git", "gh", "hg", "jj", "svn"))
MESSAGE_OPTIONS = frozenset(("-m", "-am", "--message", "--body", "--title", "--grep", "-S", "-G"))
GH_MESSAGES = frozenset(("-b", "-t", "--notes"))
SSH_VALUED = frozenset("bcDEeFIiJLlmOopQRSWw")
CLASSES = {"[:alpha:]": "a-zA-Z", "[:upper:]": "A-Z", "[:lower:]": "a-z", "[:digit:]": "0-9", "[:alnum:]": "a-zA-Z0-9"}
DEEPEST_SCRIPT = 8
MOST_PIECES = 64
MOST_FOLDERS = 4
PATIENCE_SECONDS = 2.0  # of the 5 that a hook gets


def check(roots, command, cwd):
    """Raises Refused when the command touches one of the folders."""
    # Half a surrogate pair, which JSON can spell, is in no command that runs.
    text = command.encode("utf-16-le", "surrogatepass").decode("utf-16-le", "replace")
    Guard(roots).run(text, Scope(cwd))


class Guard:
    def __init__(self, roots):
        self.roots = roots
        self.seen = set()
        self.piped = []  # what the commands of this pipeline print, as far as it is plain
        self.depth = 0
        self.deadline = monotonic() + PATIENCE_SECONDS

    def run(self, text, scope):
        if self.depth >= DEEPEST_SCRIPT:
            return self.roots.check_text(text)
        self.depth += 1
        Script(text, scope, self.visit).run()
        self.depth -= 1

    def visit(self, command, scope):
        for target in command.targets:
            self.check_word(target, scope.folder, scope)
        words = effective(command.words)
        name = plain(words[0]).rpartition("/")[2] if words else ""
        if name and scope.folder and name not in TALKERS and name not in CHANGES_FOLDER:
            self.roots.check(scope.folder)
        self.check_words(command, scope, name, words)
        self.check_walk(command, scope, name, words)
        if not command.is_piped_in:
            self.piped = []
        if name not in ELSEWHERE:
            self.check_programs(command, scope, name, words)
        self.piped += command.texts
        if name in TALKERS:
            self.piped += [plain(word) for word in words[1:]]

    # --- words that are paths

    def check_words(self, command, scope, name, words):
        before = command.words[: len(command.words) - len(words)]
        is_talk = name in TALKERS and not command.is_piped_out and not scope.is_nested
        texts = text_places(name, words)
        folders = [scope.folder] + [self.folder_of(scope, word) for word in option_values(words, FOLDER_OPTIONS)]
        folders = list(dict.fromkeys(folders))[:MOST_FOLDERS]
        for place, word in enumerate(words):
            if is_talk and has_wildcard(word):
                self.check_wildcard(scope.with_home(word), scope.folder, is_listing=True)
            elif not is_talk and place not in texts:
                for folder in folders:
                    self.check_word(word, folder, scope)
        for word in before:
            self.check_word(word, scope.folder, scope)

    @staticmethod
    def folder_of(scope, word):
        path = plain(scope.with_home(word))
        return None if UNKNOWN in path else os.path.join(scope.folder or "/", path)

    def check_word(self, word, folder, scope):
        if monotonic() > self.deadline:
            raise TimeoutError
        if (word, folder) in self.seen:
            return
        self.seen.add((word, folder))
        for expanded in brace_expanded(word):
            for single in expanded.replace("\t", " ").replace("\n", " ").split(" "):
                for candidate in candidates(single):
                    self.check_path(scope.with_home(candidate), folder)

    def check_path(self, candidate, folder):
        if not candidate or candidate == "-" or len(candidate) > LONGEST_PATH:
            return
        if UNKNOWN in candidate:
            candidate = candidate[: candidate.index(UNKNOWN)].rpartition("/")[0]
            if not candidate:
                return
        if has_wildcard(candidate):
            return self.check_wildcard(candidate, folder)
        path = plain(candidate)
        if path.startswith("/"):
            self.roots.check(path)
        elif folder:
            path = os.path.join(folder, path)
            if "/" in candidate or candidate in (".", "..") or os.path.lexists(path):
                self.roots.check(path)

    def check_wildcard(self, pattern, folder, is_listing=False):
        """Refuses a pattern that can become a path in a folder; when it only lists names, a path below one."""
        if not pattern.startswith("/"):
            if not folder:
                return
            pattern = folder.rstrip("/") + "/" + pattern
        base, parts = "", []
        for part in pattern.split("/"):
            if part == ".." and parts:
                parts.pop()
            elif parts or has_wildcard(part):
                parts += [part] if part not in ("", ".") else []
            else:
                base += "/" + plain(part)
        self.roots.check(base)
        for root, way in self.roots.below(base):
            if matches(way.split("/"), parts) and (not is_listing or len(parts) > way.count("/") + 1):
                self.roots.check(root)

    # --- walks from above

    def check_walk(self, command, scope, name, words):
        options = [plain(word) for word in words[1:] if word.startswith("-")]
        letters = "".join(option for option in options if not option.startswith("--"))
        walks = name in WALKERS or any(letter in letters for letter in WALKS_WITH.get(name, ""))
        if not walks and not (name in WALKS_WITH and any(option in WALKS_LONG for option in options)):
            return
        texts = text_places(name, words)
        values = option_values(words, FOLDER_OPTIONS)
        targets = option_values(words, TARGET_OPTIONS) if name in TARGET_LAST else []
        skipped = values + targets
        operands = [word for place, word in enumerate(words) if place and place not in texts and word not in skipped]
        if name == "find":
            ends = [place for place, word in enumerate(operands) if word[:1] in ("-", "(", "!") and word not in ("-H", "-L")]
            operands = operands[: ends[0]] if ends else operands
        operands = [word for word in operands if not word.startswith("-")]
        if name in TARGET_LAST:
            operands = operands if targets else operands[:-1]
        elif not operands and not command.is_piped_in and name != "tar":
            operands = ["."]
        depths = [plain(word) for word in option_values(words, DEPTH_OPTIONS)]
        depth = int(depths[0]) if depths and depths[0].isdecimal() and name not in ("du", "grep") else None
        for folder in [scope.folder] + [self.folder_of(scope, word) for word in values][: MOST_FOLDERS - 1]:
            for operand in operands:
                for word in brace_expanded(operand):
                    self.walk(scope.with_home(word), folder, depth)

    def walk(self, word, folder, depth):
        if monotonic() > self.deadline:
            raise TimeoutError
        path = plain(word)
        if UNKNOWN in path or has_wildcard(word) or not (folder or path.startswith("/")):
            return
        self.roots.check_walk(os.path.join(folder or "/", path), depth)

    # --- programs in words and texts

    def check_programs(self, command, scope, name, words):
        if name in RUN_THEIR_WORDS:
            self.run(" ".join(plain(word) for word in words[1:]), scope if name == "eval" else scope.copy())
        elif name in RUN_AS_SHELLS:
            self.run_shell(words[1:], [], scope)
        texts = command.texts + (self.piped if command.is_piped_in else [])
        for place, word in enumerate(words):
            program = plain(word).rpartition("/")[2].rstrip(".0123456789")
            if program in SHELLS:
                self.run_shell(words[place + 1 :], texts, scope)
            elif program in INTERPRETERS:
                arguments = [plain(word) for word in words[place + 1 :]]
                # What is behind a script's name is no program, and its paths are looked at as words.
                has_program = program in AWKS or any(map(brings_program, arguments))
                for text in (arguments if has_program else []) + texts:
                    self.roots.check_text(text, has_patterns=program in PATTERN_LANGUAGES)
            else:
                continue
            break  # what is behind it are its own arguments

    def run_shell(self, arguments, texts, scope):
        for option, script in zip(arguments, arguments[1:]):
            if option.startswith("-") and "c" in option and not option.startswith("--"):
                self.run(plain(script), scope.copy())
                break
        for text in texts:
            self.run(text, scope.copy())


def effective(words):
    """The words from the command that does the work on: without assignments and wrappers in front."""
    place = 0
    while place < len(words):
        word = plain(words[place])
        if assignment(word):
            place += 1
        elif word.rpartition("/")[2] in WRAPPERS:
            place += 1
            while place < len(words) and (words[place].startswith("-") or words[place][:1].isdigit()):
                place += 1
        else:
            break
    return words[place:]


def option_values(words, options):
    """The words behind the options that take one, or behind their "="."""
    values = [value for option, value in zip(words, words[1:]) if option in options]
    return values + [word.partition("=")[2] for word in words if "=" in word and word.partition("=")[0] in options]


def text_places(name, words):
    """The places of words that are no paths: patterns, programs, messages."""
    places = {place for place, word in enumerate(words) if word.startswith(("--exclude", "--ignore"))}
    places |= {place + 1 for place in places if "=" not in words[place]}
    if name in WITH_MESSAGES:
        options = MESSAGE_OPTIONS | GH_MESSAGES if name == "gh" else MESSAGE_OPTIONS
        places |= {place + 1 for place, word in enumerate(words) if word in options}
        places |= {place for place, word in enumerate(words) if word.partition("=")[0] in options}
        places |= {place for place, word in enumerate(words) if word[:2] in ("-S", "-G")}
    elif name == "find":
        places |= {place + 1 for place, word in enumerate(words) if word in FIND_TEXTS}
    elif name == "tree":
        places |= {place + 1 for place, word in enumerate(words) if word in ("-I", "-P")}
    elif name in TESTS:
        places |= {place + side for place, word in enumerate(words) if word in COMPARES for side in (-1, 1)}
    elif name in PATTERN_FIRST:
        places |= pattern_places(name, [plain(word) for word in words])
    inner = inner_command(name, words)
    if inner:
        places |= {inner + place for place in text_places(plain(words[inner]).rpartition("/")[2], words[inner:])}
    elsewhere = remote_command(name, words)
    return places | set(range(elsewhere, len(words))) if elsewhere else places


def inner_command(name, words):
    """Where the command begins that `find` or `git` runs with the words behind it; 0 when there is none."""
    for place, word in enumerate(words[1:-1], 1):
        if name == "find" and word in FIND_COMMANDS:
            return place + 1
        if name == "git" and word == "grep":
            return place
    return 0


def remote_command(name, words):
    """Where the words begin that are read on another machine; 0 when there are none."""
    if name in ELSEWHERE and name != "ssh":
        return words.index("exec") if "exec" in words[1:4] else 0
    skips = False
    for place, word in enumerate(words[1:] if name == "ssh" else (), 1):
        if skips or word.startswith("-"):
            skips = not skips and len(word) == 2 and word[1] in SSH_VALUED
        else:
            return place
    return 0


def brings_program(option):
    """Whether an interpreter reads a program from this option or the word behind it."""
    if option.startswith("--"):
        return option.startswith(PROGRAM_OPTIONS)
    return option == "eval" or (option.startswith("-") and any(letter in option for letter in PROGRAM_LETTERS))


def pattern_places(name, words):
    valued, brings_pattern = PATTERN_FIRST[name]
    places, is_open, skips = set(), True, False
    for place, word in enumerate(words[1:], 1):
        if skips:
            skips = False
        elif word.startswith("--"):
            option = word.partition("=")[0]
            if option in ("--regexp", "--expression"):
                places.add(place if "=" in word else place + 1)
            if option in ("--regexp", "--expression", "--file", "--from-file", "--files"):
                is_open = False
        elif word.startswith("-") and len(word) > 1:
            for at, letter in enumerate(word[1:], 1):
                is_last = at == len(word) - 1
                if letter in brings_pattern:
                    places.add(place + 1 if is_last else place)
                    is_open, skips = False, is_last
                elif letter == "f" and name not in ("fd", "fdfind", "ag", "ack"):
                    is_open = False
                elif letter in valued:
                    skips = is_last
                else:
                    continue
                break
        elif is_open:
            places.add(place)
            is_open = False
    return places


def candidates(word):
    """The word itself and what else in it can be a path: behind "=", "," and an option's letter, before a ":"."""
    if "://" in word:
        begin = word.find("file://")
        if begin >= 0:
            rest = word[begin + len("file://") :]
            yield rest[len("localhost") :] if rest.startswith("localhost/") else rest
        return
    yield word
    if word.startswith("-") and word[2:3] in ("/", "@"):
        yield word[2:].lstrip("@")
    starts = [0] + [at + 1 for at, c in enumerate(word[:LONGEST_PATH]) if c in "=,"]
    for start in starts[:MOST_PIECES]:
        rest = word[start:]
        rest = rest[1:] if rest.startswith("@") else rest
        if not rest.startswith(("/", "~", ".")) and not (start and word[start - 1] == "="):
            continue
        yield rest
        yield rest.partition(",")[0]
        yield rest.partition(":")[0]
    named = assignment(word)
    if named:
        yield from named[1].split(":", MOST_PIECES)


def matches(names, parts):
    """Whether the pattern's parts can lead to, or below, the folder with these names."""
    from fnmatch import fnmatchcase

    for index, name in enumerate(names):
        if index >= len(parts):
            return False
        part = parts[index]
        if part == "**":
            return True
        for group, letters in CLASSES.items():
            part = part.replace(group, letters)
        literal = "".join("[" + c + "]" if plain(c) != c and plain(c) in "*?[" else c for c in part.replace("[^", "[!"))
        if name.startswith(".") and not part.startswith("."):
            return False
        if not fnmatchcase(name, plain(literal)):
            return False
    return True
