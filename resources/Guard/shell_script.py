"""Reads a command line as a shell does, as far as it takes to tell which files its words name.

`Script(text, scope, visit).run()` hands every simple command to `visit(command, scope)`, those in substitutions and
subshells included, in the order in which they would run. What is not known before the command runs (the output of a
program, a variable of the shell's own) is UNKNOWN in a word; a folder that nobody knows is None.
"""

from shell_words import CLOSE, COMMA, OPEN, UNKNOWN, assignment, is_name, plain, quoted

BREAKS = frozenset(" \t\r\n;&|()<>")
PLAIN_ENDS = BREAKS | frozenset("'\"\\$`")
OPENERS = frozenset(("if", "then", "elif", "else", "while", "until", "do", "{", "}", "!", "fi", "done", "time", "esac"))
DECLARERS = frozenset(("export", "declare", "typeset", "local", "readonly"))
LONGEST_INNER = 4096  # of a ${…} and an arithmetic: looking for an end that is not there costs time
SIGNS = ("<<<", "<<-", "<<", "&>>", "&>", ">>", ">|", ">&", "<&", "<>", "<(", ">(", "<", ">")


class Command:
    """One simple command. Words carry the marks of `quoted`."""

    def __init__(self, is_piped_in=False):
        self.words = []
        self.targets = []  # of redirections
        self.texts = []  # here-documents and here-strings
        self.is_piped_in = is_piped_in
        self.is_piped_out = False


class Script:
    def __init__(self, text, scope, visit):
        self.text = text
        self.at = 0
        self.scope = scope
        self.visit = visit
        self.documents = {}  # the end of a line: the end of the here-documents behind it
        self.printed = []

    # --- commands

    def run(self, closing=None):
        """Reads commands up to the end of the text, or past `closing`."""
        command = Command()
        while self.at < len(self.text):
            c = self.text[self.at]
            if c in " \t\r":
                self.at += 1
            elif self.text.startswith("\\\n", self.at):
                self.at += 2
            elif c == "#":
                end = self.text.find("\n", self.at)
                self.at = len(self.text) if end < 0 else end
            elif c == closing:
                self.at += 1
                break
            elif c == "\n":
                self.at = self.documents.get(self.at, self.at + 1)
                command = self.finished(command)
            elif c in ";&|" and not self.text.startswith("&>", self.at):
                command = self.separator(command)
            elif c in "<>&":
                self.redirection(command)
            elif c == "(":
                command = self.parenthesis(command)
            elif c == ")":
                self.at += 1
                command = Command()  # the pattern of a case, which names no file
            else:
                word = self.word()
                if word is not None:
                    command.words.append(word)
        self.finished(command)

    def separator(self, command):
        c = self.text[self.at]
        double = self.text.startswith(c * 2, self.at)
        self.at += 2 if double or self.text.startswith("|&", self.at) else 1
        is_pipe = c == "|" and not double
        command.is_piped_out = is_pipe
        return self.finished(command, is_pipe)

    def parenthesis(self, command):
        if self.text.startswith("((", self.at) and self.skip_arithmetic(self.at + 2):
            return command
        self.at += 1
        rest = self.text[self.at : self.at + 16].lstrip()
        if command.words and rest.startswith(")"):  # a function's head
            self.at = self.text.index(")", self.at) + 1
            return Command()
        outer = self.scope
        self.scope = outer.copy()
        self.run(")")
        self.scope = outer
        return command

    def skip_arithmetic(self, start):
        """Passes over `…))` that begins at `start`; False when it is none."""
        depth = 0
        for at in range(start, min(len(self.text), start + LONGEST_INNER)):
            c = self.text[at]
            if c == "(":
                depth += 1
            elif c == ")" and depth:
                depth -= 1
            elif c == ")":
                if not self.text.startswith("))", at):
                    return False
                self.at = at + 2
                return True
        return False

    def finished(self, command, is_pipe=False):
        words = command.words
        while words and words[0] in OPENERS:
            del words[0]
        if words and words[0] in ("for", "select") and len(words) > 2 and is_name(words[1]):
            values = [self.scope.with_home(word) for word in words[3:]]
            several = OPEN[1] + COMMA[1].join(values) + CLOSE[1]
            self.scope.variables[words[1]] = several if len(values) > 1 else "".join(values) or UNKNOWN
        elif words and words[0] == "case":
            del words[:3]
        if words or command.targets:
            self.visit(command, self.scope)
            self.remember(command)
        return Command(is_piped_in=is_pipe)

    def remember(self, command):
        words = command.words
        while words[:1] in (["builtin"], ["command"]):
            words = words[1:]
        names = [plain(word) for word in words[:1]]
        declared = [word for word in words[1:] if word[:1] != "-"] if names and names[0] in DECLARERS else words
        pairs = [assignment(word) for word in declared]
        if all(pairs):
            for name, value in pairs:
                self.scope.variables[name] = plain(self.scope.with_home(value))
        elif names[0] == "read":
            for word in words[1:]:
                self.scope.variables[plain(word)] = UNKNOWN
        elif names[0] in ("cd", "pushd"):
            operands = [word for word in words[1:] if not word.startswith("-") or word == "-"]
            self.scope.change_folder(operands[0] if operands else "")
        elif names[0] == "popd":
            self.scope.change_folder("-")
        self.printed.append(self.output(names, words))

    def output(self, names, words):
        """What the command prints, where that is plain."""
        if names == ["pwd"] and len(words) == 1:
            return quoted(self.scope.value("PWD"))
        if names == ["echo"] and not any(word.startswith("-") for word in words[1:]):
            return " ".join(self.scope.with_home(word) for word in words[1:])
        return UNKNOWN

    # --- redirections

    def redirection(self, command):
        sign = next(sign for sign in SIGNS if self.text.startswith(sign, self.at))
        if sign in ("<(", ">("):
            command.words.append(self.word())
            return
        self.at += len(sign)
        while self.text.startswith((" ", "\t"), self.at):
            self.at += 1
        if sign in ("<<", "<<-"):
            command.texts.append(self.document(is_indented=sign == "<<-"))
        elif sign == "<<<":
            command.texts.append(plain(self.word() or ""))
        else:
            command.targets.append(self.word() or "")

    def document(self, is_indented):
        """The here-document whose end mark stands next. It begins on the next line, behind those already found."""
        start = self.at
        mark = plain(self.word() or "")
        is_literal = any(c in "'\"\\" for c in self.text[start : self.at])
        line_end = self.text.find("\n", self.at)
        if line_end < 0:
            return ""
        begin = at = self.documents.get(line_end, line_end + 1)
        end = len(self.text)
        while at < len(self.text):
            next_line = self.text.find("\n", at) + 1 or len(self.text) + 1
            line = self.text[at : next_line - 1]
            if (line.lstrip("\t") if is_indented else line) == mark:
                end, at = at, next_line
                break
            at = next_line
        self.documents[line_end] = min(at, len(self.text))
        body = self.text[begin:end]
        return body if is_literal else plain(Script(body, self.scope, self.visit).double_quoted(None))

    # --- words

    def word(self):
        parts = []
        start = self.at
        while self.at < len(self.text):
            c = self.text[self.at]
            if c in BREAKS:
                if self.text.startswith(("<(", ">("), self.at) and self.at == start:
                    self.at += 2
                    parts.append(self.substituted())
                    continue
                break
            if c == "'":
                parts.append(quoted(self.up_to("'")))
            elif c == '"':
                self.at += 1
                parts.append(self.double_quoted('"'))
            elif c == "\\":
                following = self.text[self.at + 1 : self.at + 2]
                parts.append("" if following == "\n" else quoted(following))
                self.at += 2
            elif c == "$":
                parts.append(self.dollar(False))
            elif c == "`":
                parts.append(self.backquoted(False))
            else:
                parts.append(self.plain_run())
        word = "".join(parts)
        if word.isdigit() and self.text.startswith(("<", ">"), self.at) and self.text[start : self.at] == word:
            return None  # the number of a descriptor
        return word

    def plain_run(self):
        start = self.at
        at = start + 1
        while at < len(self.text) and self.text[at] not in PLAIN_ENDS:
            at += 1
        self.at = at
        return self.text[start:at]

    def up_to(self, sign):
        """What stands between the character here and the next `sign`."""
        start = self.at + 1
        end = self.text.find(sign, start)
        end = len(self.text) if end < 0 else end
        self.at = end + 1
        return self.text[start:end]

    def double_quoted(self, closing):
        parts = []
        while self.at < len(self.text):
            c = self.text[self.at]
            if c == closing:
                self.at += 1
                break
            if c == "\\" and self.text[self.at + 1 : self.at + 2] in ("$", "`", '"', "\\", "\n"):
                following = self.text[self.at + 1]
                parts.append("" if following == "\n" else following)
                self.at += 2
            elif c == "$":
                parts.append(self.dollar(True))
            elif c == "`":
                parts.append(self.backquoted(True))
            else:
                start = self.at
                self.at += 1
                while self.at < len(self.text) and self.text[self.at] not in '"\\$`':
                    self.at += 1
                parts.append(quoted(self.text[start : self.at]))
        return "".join(parts)

    def dollar(self, is_quoted):
        """The value of what begins with $ here."""
        following = self.text[self.at + 1 : self.at + 2]
        if following == "(":
            if self.text.startswith("$((", self.at) and self.skip_arithmetic(self.at + 3):
                return UNKNOWN
            self.at += 2
            return self.shown(self.substituted(), is_quoted)
        if following == "{":
            return self.shown(self.parameter(), is_quoted)
        if following == "'" and not is_quoted:
            self.at += 1
            return quoted(self.escaped())
        if following == '"' and not is_quoted:
            self.at += 1
            return ""
        end = self.at + 1
        while end < len(self.text) and (self.text[end] == "_" or self.text[end].isalnum()) and self.text[end].isascii():
            end += 1
        name = self.text[self.at + 1 : end]
        if is_name(name):
            self.at = end
            return self.shown(self.scope.value(name), is_quoted)
        is_special = following and following in "@*#?$!-0123456789"
        self.at += 2 if is_special else 1
        return UNKNOWN if is_special else "$"

    @staticmethod
    def shown(value, is_quoted):
        return quoted(value) if is_quoted else value.replace("~", quoted("~"))

    def parameter(self):
        """The value of the ${…} that begins here."""
        start = self.at + 2
        depth = 1
        at = start
        while at < min(len(self.text), start + LONGEST_INNER) and depth:
            depth += {"{": 1, "}": -1}.get(self.text[at], 0)
            at += 1
        self.at = at
        inner = self.text[start : at - 1] if not depth else self.text[start:]
        length = 0
        while length < len(inner) and (inner[length] == "_" or inner[length].isalnum()):
            length += 1
        name, rest = inner[:length], inner[length:]
        if not is_name(name):
            return UNKNOWN
        value = self.scope.value(name)
        if not rest or rest.startswith((":?", "?")):
            return value
        if rest.startswith((":-", ":=", "-", "=")):
            other = Script(rest.lstrip(":")[1:], self.scope, self.visit)
            return plain(self.scope.with_home(other.double_quoted(None))) if value in ("", UNKNOWN) else value
        return UNKNOWN

    def escaped(self):
        """The text of a $'…', whose first quote is here."""
        at = self.at + 1
        while at < len(self.text) and self.text[at] != "'":
            at += 2 if self.text[at] == "\\" else 1
        raw = self.text[self.at + 1 : at]
        self.at = at + 1
        try:
            decoded = raw.encode("latin-1", "backslashreplace").decode("unicode_escape")
        except UnicodeDecodeError:
            return raw
        try:
            return decoded.encode("latin-1").decode("utf-8")  # \x names bytes
        except UnicodeError:
            return decoded

    def backquoted(self, is_quoted):
        start = self.at + 1
        at = start
        while at < len(self.text) and self.text[at] != "`":
            at += 2 if self.text[at] == "\\" else 1
        inner = self.text[start:at]
        self.at = at + 1
        for sign in "`$\\":
            inner = inner.replace("\\" + sign, sign)
        script = Script(inner, self.scope.copy(is_nested=True), self.visit)
        script.run()
        return self.shown(script.output_of_one(), is_quoted)

    def output_of_one(self):
        return plain(self.printed[0]) if len(self.printed) == 1 else UNKNOWN

    def substituted(self):
        """The output of the commands from here to the parenthesis that closes."""
        outer, before = self.scope, self.printed
        self.scope, self.printed = outer.copy(is_nested=True), []
        self.run(")")
        output = self.output_of_one()
        self.scope, self.printed = outer, before
        return output
