"""The tools a session reports with. Each call adds one line to the run's journal, $KEELHAVEN_RUN_DIR/journal.jsonl."""
import os
from time import time

import event_hook

MAX_TEXT_BYTES = 64 * 1024
MAX_ID_CHARACTERS = 64
TEXT = {"type": "string"}
# What a client may tell its user before it lets a call through.
ANNOTATIONS = {"readOnlyHint": False, "destructiveHint": False, "openWorldHint": False}

# Claude Code keeps tools out of the model's sight until it searches for them. A run is told to use these by name.
IN_SIGHT = {"_meta": {"anthropic/alwaysLoad": True}}


class Refusal(Exception):
    """Why a call had no effect, as one sentence for the model."""


def add_asset(arguments):
    path = absolute(text(arguments, "path", required=True))
    if not os.path.isfile(path):
        raise Refusal(f"There is no file at {path}.")
    members = {"path": path, "kind": text(arguments, "kind"), "caption": text(arguments, "caption")}
    write("asset", members)
    return f"Handed over {os.path.basename(path)}."


def report_progress(arguments):
    write("progress", {"text": text(arguments, "text", required=True)})
    return "Noted."


def ask_question(arguments):
    question = text(arguments, "question", required=True)
    identifier = question_id(arguments)
    write("question", {"question": question, "options": options(arguments), "id": identifier})
    return (
        f"The question was passed on; its id is {identifier}. The answer comes later, as a message: go on with what "
        "does not depend on it."
    )


def schema(required, **properties):
    return {"type": "object", "properties": properties, "required": [required]}


def described(description, **more):
    return TEXT | {"description": description} | more


# name: what it does, in the words a model decides by; its arguments; the function
TOOLS = {
    "add_asset": (
        "Hands a finished file over to the user. Call it once for each deliverable the user asked for, as soon as the "
        "file is final; not for sources, drafts or intermediate files.",
        schema(
            "path",
            path=described("The file: absolute, starting with ~, or relative to the working directory."),
            kind=described("What it is; told from the file's name when left out. One of video, image, html, markdown, "
                           "document, text."),
            caption=described("One line that says what the file shows."),
        ),
        add_asset,
    ),
    "report_progress": (
        "Tells the user in one line how far the work is. Call it at milestones: a step is done, the next one begins, the "
        "plan changed. Nobody answers.",
        schema("text", text=described("The line, in plain words.")),
        report_progress,
    ),
    "ask_question": (
        "Asks the user something only they can decide. Returns at once, without the answer: that comes later, as a message "
        "in this session. Until then go on with what does not depend on it; when nothing is left, say so and stop.",
        schema(
            "question",
            question=described("The question, complete in itself. May hold Markdown."),
            options={"type": "array", "items": TEXT, "description": "Answers to choose from, if there are such."},
            id=described("An id of your own (letters, digits, - and _); one is made when left out."),
        ),
        ask_question,
    ),
}


def listing():
    more = {"annotations": ANNOTATIONS} | (IN_SIGHT if os.environ.get("KEELHAVEN_RUN_DIR") else {})
    return [
        {"name": name, "description": description, "inputSchema": arguments} | more
        for name, (description, arguments, _) in TOOLS.items()
    ]


def call(name, arguments):
    """The text for the model. Raises Refusal."""
    try:
        return TOOLS[name][2](arguments)
    except OSError as error:
        raise Refusal(f"The journal of this run cannot be written: {error.strerror}.") from error


def text(arguments, name, required=False):
    """The argument; None when it is absent or blank and need not be there."""
    value = arguments.get(name)
    if value is not None and not isinstance(value, str):
        raise Refusal(f"The argument “{name}” must be a text.")
    if not (value or "").strip():
        if required:
            raise Refusal(f"The argument “{name}” must be a text that is not empty.")
        return None
    check_length(name, value)
    return value


def options(arguments):
    value = arguments.get("options")
    if value is None:
        return None
    if not isinstance(value, list) or not all(isinstance(option, str) and option.strip() for option in value):
        raise Refusal("The argument “options” must be a list of texts that are not empty.")
    check_length("options", "".join(value))
    return value or None


def question_id(arguments):
    value = text(arguments, "id")
    if value is None:
        return os.urandom(4).hex()
    if len(value) > MAX_ID_CHARACTERS or not all(letter.isascii() and (letter.isalnum() or letter in "-_") for letter in value):
        raise Refusal(f"The argument “id” may hold letters, digits, - and _ only, {MAX_ID_CHARACTERS} at most.")
    return value


def check_length(name, value):
    if len(value.encode("utf-8", "replace")) > MAX_TEXT_BYTES:
        raise Refusal(f"The argument “{name}” is longer than {MAX_TEXT_BYTES // 1024} KB.")


def absolute(path):
    try:
        return os.path.abspath(os.path.expanduser(path))
    except OSError as error:  # the working directory is gone
        raise Refusal(f"The path {path} leads nowhere: {error.strerror}.") from error
    except ValueError:  # no user could be called that
        raise Refusal("The argument “path” is no path.") from None


def write(kind, members):
    folder = os.environ.get("KEELHAVEN_RUN_DIR")
    if not folder:
        raise Refusal("This session is no run of Keelhaven, so there is nobody to report to.")
    line = {"type": kind, "ts": time()}
    if run_id := os.environ.get("KEELHAVEN_RUN_ID"):
        line["run_id"] = run_id
    line |= {key: value for key, value in members.items() if value is not None}
    event_hook.append_whole(os.path.join(folder, "journal.jsonl"), event_hook.encode(line))
