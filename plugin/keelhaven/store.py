"""Where the service's files lie and how they are read."""
import json
import os
import stat
from dataclasses import dataclass
from pathlib import Path

MAX_FILE_BYTES = 64 * 1024 * 1024  # the application reads no larger one either


@dataclass(frozen=True)
class Config:
    """`cache_dir` holds the contract files; `max_body_bytes` bounds the body of one call."""

    cache_dir: Path
    max_body_bytes: int = 1024 * 1024


def load_config():
    return Config(cache_dir=Path.home() / ".cache" / "keelhaven")


def without_waiting(path, flags):
    return os.open(path, flags | os.O_NONBLOCK)  # a pipe in the place of a file would be waited for


def read_object(path):
    """The JSON object in the file at `path`; an empty one when there is no file, no JSON or no object in it, or it is
    larger than MAX_FILE_BYTES."""
    try:
        with open(path, "rb", opener=without_waiting) as file:
            data = file.read(MAX_FILE_BYTES + 1) if stat.S_ISREG(os.fstat(file.fileno()).st_mode) else b""
        value = json.loads(data) if len(data) <= MAX_FILE_BYTES else None
    except (OSError, ValueError, RecursionError):
        return {}
    return value if isinstance(value, dict) else {}


def as_object(value):
    return value if isinstance(value, dict) else {}
