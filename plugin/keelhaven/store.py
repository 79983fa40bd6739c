"""Where the service's files lie and how they are read."""
import json
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


def read_object(path):
    """The JSON object in the file at `path`; an empty one when there is no file, no JSON or no object in it, or it is
    larger than MAX_FILE_BYTES."""
    try:
        with path.open("rb") as file:
            data = file.read(MAX_FILE_BYTES + 1)
        value = json.loads(data) if len(data) <= MAX_FILE_BYTES else None
    except (OSError, ValueError, RecursionError):
        return {}
    return value if isinstance(value, dict) else {}


def as_object(value):
    return value if isinstance(value, dict) else {}
