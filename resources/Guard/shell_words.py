"""Words of a shell: their quotes, their home folder, their braces, and the scope that their variables have.

Quoted characters that would mean something without the quotes are moved to a private plane; `plain` brings them back.
"""

import os

UNKNOWN = "\0"  # no file's name can hold it
QUOTE = {ord(c): 0xF0000 + ord(c) for c in "*?[]{}~ \t\n,"}
UNQUOTE = {mark: c for c, mark in QUOTE.items()}
MOST_BRACES = 256
LONGEST_PATH = 4096  # the kernel opens no longer one
# The braces of a shell, and the ones that stand for the turns of a loop. Those count inside quotes too.
OPEN, COMMA, CLOSE = "{\ufdd1", ",\ufdd2", "}\ufdd3"


def quoted(text):
    return text.translate(QUOTE)


def plain(word):
    """The text of a word without the marks of its quotes."""
    return word.translate(UNQUOTE)


def is_name(text):
    return text.isascii() and text.isidentifier()


def assignment(word):
    """Name and value of a word such as NAME=value; None for other words."""
    name, equals, value = word.partition("=")
    name = name[:-1] if name.endswith("+") else name
    return (name, value) if equals and is_name(name) else None


class Scope:
    """What a shell knows while it runs. A subshell gets a copy."""

    def __init__(self, folder):
        self.folder = folder
        self.previous = None
        self.variables = {}
        self.is_nested = False  # in a substitution: what is printed becomes a word

    def copy(self, is_nested=False):
        other = Scope(self.folder)
        other.previous, other.variables = self.previous, dict(self.variables)
        other.is_nested = self.is_nested or is_nested
        return other

    def value(self, name):
        if name == "PWD":
            return self.folder or UNKNOWN
        if name == "OLDPWD":
            return self.previous or UNKNOWN
        return self.variables.get(name, os.environ.get(name, UNKNOWN))

    def with_home(self, word):
        """`word` with the ~ in front replaced, if it is not quoted."""
        if not word.startswith("~"):
            return word
        user, slash, rest = word.partition("/")
        if UNKNOWN in user:
            return word
        if user == "~":
            return quoted(self.value("HOME")) + slash + rest
        if user in ("~+", "~-"):
            return quoted(self.value("PWD" if user == "~+" else "OLDPWD")) + slash + rest
        return quoted(os.path.expanduser(user)) + slash + rest

    def change_folder(self, word):
        path = plain(self.with_home(word)) if word else self.value("HOME")
        old = self.folder
        if path == "-":
            self.folder = self.previous
        elif UNKNOWN in path or has_wildcard(word) or (old is None and not path.startswith("/")):
            self.folder = None
        else:
            # As the shell does it: behind a link ".." leads back to where the link lies.
            path = os.path.join(old or "/", path)
            self.folder = os.path.normpath(path) if len(path) <= LONGEST_PATH else None
        self.previous = old


def has_wildcard(word):
    return any(c in word for c in "*?[")


def brace_expanded(word):
    """The words that the braces of `word` make, at most about MOST_BRACES."""
    done, left = [], [word]
    while left and len(done) + len(left) < MOST_BRACES:
        current = left.pop()
        places = brace_places(current)
        if not places:
            done.append(current)
        for begin, end in zip(places, places[1:]):
            left.append(current[: places[0]] + current[begin + 1 : end] + current[places[-1] + 1 :])
    return done + left


def brace_places(word):
    """Where a { with commas, its commas and its } stand; empty when no braces are to be expanded."""
    stack = []
    for at, c in enumerate(word):
        if c in OPEN:
            stack.append((OPEN.index(c), [at]))
        elif stack and c in COMMA and stack[-1][0] == COMMA.index(c):
            stack[-1][1].append(at)
        elif stack and c in CLOSE and stack[-1][0] == CLOSE.index(c):
            places = stack.pop()[1]
            if len(places) > 1:
                return places + [at]
    return []
