"""The variables that steer the scripted agent."""
import json
import os
from pathlib import Path

PREFIX = "SCRIPTED_"


class Script:
    """Reads the variables once. Names are given without the prefix."""

    def __init__(self, places: list[Path], environment: dict[str, str] | os._Environ):
        """`places` are the folders that may hold a file of variables; a later one wins over an earlier one."""
        self._values = {}
        for place in places:
            self._values |= {key: str(value) for key, value in self._from_file(place / ".scripted-agent.json").items()}
        self._values |= {key: value for key, value in environment.items() if key.startswith(PREFIX)}

    def text(self, name: str) -> str:
        return self._values.get(PREFIX + name, "")

    def is_on(self, name: str) -> bool:
        return self.text(name).lower() not in ("", "0", "false")

    def number(self, name: str, default: float = 0) -> float:
        text = self.text(name)
        try:
            return float(text) if text else default
        except ValueError:
            raise SystemExit(f"{PREFIX}{name} is not a number: {text}") from None

    @staticmethod
    def _from_file(path: Path) -> dict:
        try:
            value = json.loads(path.read_text())
        except FileNotFoundError:
            return {}
        except (OSError, ValueError) as error:
            raise SystemExit(f"{path}: {error}") from None
        if not isinstance(value, dict):
            raise SystemExit(f"{path}: not an object")
        # JSON true and false stand for 1 and 0
        return {key: int(item) if isinstance(item, bool) else item for key, item in value.items()}
