"""The guard as Claude Code runs it: one event on standard input, the verdict as exit status."""

import json
import os
import subprocess
import sys
import tempfile
import unittest

HOOK = os.path.join(os.path.dirname(__file__), "..", "..", "resources", "Guard", "protected_paths_hook.py")


class GuardTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = os.path.realpath(folder.name)
        self.project = os.path.join(self.home, "project")
        self.closed = os.path.join(self.home, "Documents")
        os.makedirs(self.project)
        os.makedirs(os.path.join(self.closed, "taxes"))
        os.symlink(self.closed, os.path.join(self.project, "link"))

    def run_hook(self, event, roots=None):
        text = event if isinstance(event, str) else json.dumps(event)
        environment = {"PATH": os.environ["PATH"], "HOME": self.home}
        environment["KEELHAVEN_PROTECTED_ROOTS"] = f"{self.closed}:/Volumes" if roots is None else roots
        return subprocess.run([sys.executable, HOOK], input=text, env=environment, capture_output=True, text=True, check=False)

    def status(self, tool, fields, **more):
        return self.run_hook({"tool_name": tool, "tool_input": fields, "cwd": self.project, **more}).returncode

    def test_file_tools(self):
        for tool, fields, expected in [
            ("Read", {"file_path": f"{self.closed}/taxes/a"}, 2),
            ("Read", {"file_path": self.closed}, 2),
            ("Read", {"file_path": f"{self.closed}Old/a"}, 0),
            ("Write", {"file_path": "../Documents/new"}, 2),
            ("Edit", {"file_path": "~/Documents/a"}, 2),
            ("MultiEdit", {"file_path": "link/a"}, 2),
            ("NotebookEdit", {"notebook_path": "/Volumes/x.ipynb"}, 2),
            ("Read", {"file_path": "src/main.py"}, 0),
            ("Glob", {"pattern": f"{self.closed}/**/*.pdf"}, 2),
            ("Glob", {"pattern": "**/*.py"}, 0),
            ("Glob", {"pattern": "taxes/*", "path": self.closed}, 2),
            ("Grep", {"pattern": f"{self.closed}/x", "path": "."}, 0),
            ("Grep", {"pattern": "x", "path": "~/Documents"}, 2),
            ("WebFetch", {"url": f"file://{self.closed}"}, 0),
        ]:
            self.assertEqual(self.status(tool, fields), expected, (tool, fields))

    def test_commands(self):
        for command, expected in [
            ("ls ~/Documents", 2),
            ('cat "$HOME/Documents/taxes/a b"', 2),
            ("cat ${HOME}/Documents/a", 2),
            ("make && cp -r build /Volumes/disk", 2),
            ("echo x>/Volumes/log", 2),
            ("tool --output=/Volumes/log", 2),
            ("cat link/a", 2),
            ("cd link && ls", 2),
            ("cd .. && ls Documents", 2),
            ("cat ../Documents/*.pdf", 2),
            ("python3 -c \"open('/Volumes/x')\"", 2),
            ("ls src; git status", 0),
            ("grep -rn Documents src", 0),
            ("echo 'a b", 0),
            ('git commit -m "see /Volumes/x for more"', 0),
        ]:
            self.assertEqual(self.status("Bash", {"command": command}), expected, command)

    def test_says_why(self):
        result = self.run_hook({"tool_name": "Read", "tool_input": {"file_path": "/Volumes/x"}, "cwd": self.project})
        self.assertIn("/Volumes/x lies in /Volumes", result.stderr)

    def test_fails_open(self):
        fields = {"file_path": f"{self.closed}/a"}
        for event, roots in [
            ("", None),
            ("[1]", None),
            ({"tool_name": "Read", "tool_input": "x"}, None),
            ({"tool_name": "Read", "tool_input": {"file_path": 7}}, None),
            ({"tool_input": fields}, None),
            ({"tool_name": "Read", "tool_input": {"file_path": "a\u0000b"}}, None),
            ({"tool_name": "Read", "tool_input": fields}, ""),
        ]:
            self.assertEqual(self.run_hook(event, roots).returncode, 0, event)


if __name__ == "__main__":
    unittest.main()
