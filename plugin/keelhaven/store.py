"""Where the service's files lie and how they are read."""
import json
from dataclasses import dataclass
from pathlib import Path


@dataclass(frozen=True)
class Config:
    """`cache_dir` holds the contract files; `max_body_bytes` bounds the body of one call."""

    cache_dir: Path
    max_body_bytes: int = 1024 * 1024


def load_config():
    return Config(cache_dir=Path.home() / ".cache" / "keelhaven")


def read_object(path):
    """The JSON object in the file at `path`; an empty one when there is no file, no JSON or no object in it."""
    try:
        value = json.loads(path.read_bytes())
    except (OSError, ValueError, RecursionError):
        return {}
    return value if isinstance(value, dict) else {}


def as_object(value):
    return value if isinstance(value, dict) else {}
