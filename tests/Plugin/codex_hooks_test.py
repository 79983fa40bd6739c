"""Putting the hooks into Codex's hooks.json and taking them out: nothing else in the file may change."""
import contextlib
import io
import json
import os
import pty
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

PLUGIN = Path(__file__).resolve().parents[2] / "plugin"
sys.path.insert(0, str(PLUGIN))

from keelhaven import codex_hooks  # noqa: E402

FOREIGN = """{
    "note": "caf\\u00e9", "big": 1.50,
    "hooks": {
        "Stop": [ {"matcher": "", "hooks": [{"type": "command", "command": "say 'done"}]}, "odd", {"hooks": 3} ],
        "Other": [{"hooks": [{"type": "command", "command": "/x/hooks/codex_hook.py"}, {"type": "prompt"}]}]
    }
}
"""


class CodexHooksTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.file = self.folder / "hooks.json"

    def call(self, *arguments):
        """(status, standard output, standard error)"""
        output, errors = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(output), contextlib.redirect_stderr(errors):
            status = codex_hooks.main([*arguments, "--codex-home", str(self.folder)])
        return status, output.getvalue(), errors.getvalue()

    def write(self, action):
        status, output, _ = self.call(action, "--yes", "--json")
        self.assertEqual(status, 0)
        return json.loads(output)

    def commands(self, event):
        groups = json.loads(self.file.read_text())["hooks"].get(event, [])
        return [handler["command"] for group in groups for handler in group["hooks"]]

    def test_new_file_has_each_event_once_and_is_private(self):
        status, output, _ = self.call("install", "--yes")
        self.assertEqual(status, 0)
        self.assertIn("Hooks need review", output)
        self.assertIn('+    "SessionEnd": [', output)
        for event in codex_hooks.EVENTS:
            self.assertEqual(self.commands(event), [codex_hooks.command()])
        self.assertEqual(self.file.stat().st_mode & 0o777, 0o600)
        self.assertFalse(self.write("install")["changed"])
        self.write("remove")
        self.assertEqual([json.loads(self.file.read_text()), os.listdir(self.folder)], [{"hooks": {}}, ["hooks.json"]])

    def test_foreign_content_stays_and_comes_back_to_the_last_blank(self):
        self.file.write_text(FOREIGN)
        self.file.chmod(0o640)
        self.write("install")
        text, document = self.file.read_text(), json.loads(self.file.read_text())
        self.assertIn('    "note": "caf\\u00e9"', text)
        self.assertEqual(document["hooks"]["Stop"][:3], json.loads(FOREIGN)["hooks"]["Stop"])  # places are what is trusted
        self.assertEqual(document["hooks"]["Stop"][3]["hooks"][0]["command"], codex_hooks.command())
        self.assertFalse(self.write("install")["changed"])
        self.assertEqual((self.folder / "hooks.json.keelhaven-backup").read_text(), FOREIGN)
        self.write("remove")
        self.assertEqual(self.file.read_text(), FOREIGN)
        self.assertEqual(self.file.stat().st_mode & 0o777, 0o640)
        self.assertFalse(self.write("remove")["changed"])

    def test_what_came_meanwhile_survives_the_removal_and_the_first_backup_stays(self):
        self.file.write_text(FOREIGN)
        self.write("install")
        document = json.loads(self.file.read_text())
        added = {"type": "command", "command": "mine"}
        document["hooks"]["Interrupt"][0]["hooks"].append(added)
        document["hooks"]["SessionStart"].append({"hooks": [added]})
        self.file.write_text(json.dumps(document))
        self.write("remove")
        hooks = json.loads(self.file.read_text())["hooks"]
        expected = dict.fromkeys(("Interrupt", "SessionStart"), [{"hooks": [added]}])
        self.assertEqual(hooks, json.loads(FOREIGN)["hooks"] | expected)
        self.write("install")
        self.assertEqual((self.folder / "hooks.json.keelhaven-backup").read_text(), FOREIGN)

    def test_entries_of_a_copy_elsewhere_are_moved_on_where_they_stand(self):
        old = {"type": "command", "command": "python3 '/opt/old one/hooks/codex_hook.py' keelhaven"}
        other = {"type": "command", "command": "mine"}
        self.file.write_text(json.dumps({"hooks": {"Stop": [{"hooks": [old, other]}, {"hooks": [old]}]}}))
        self.write("install")
        self.assertEqual(self.commands("Stop"), [codex_hooks.command(), "mine"])

    def test_files_that_are_not_understood_are_left_alone(self):
        for text in ("", "{", "[]", '{"hooks": []}', '{"hooks": {"Stop": {}}}', '{"a": 1, "a": 2}', '{"a": NaN}', "[" * 99999):
            for action in ("install", "remove"):
                with self.subTest(action=action, text=text[:30]):
                    self.file.write_text(text)
                    status, output, errors = self.call(action, "--yes")
                    self.assertEqual((status, output, self.file.read_text()), (1, "", text))
                    self.assertRegex(errors, r"^/.*it is left as it is\.\n$")
        self.assertEqual(os.listdir(self.folder), ["hooks.json"])

    def test_link_is_followed(self):
        (self.folder / "kept").mkdir()
        target = self.folder / "kept/hooks.json"
        target.write_text(FOREIGN)
        self.file.symlink_to(target)
        self.write("install")
        self.assertTrue(self.file.is_symlink())
        self.assertIn(str(codex_hooks.SCRIPT), target.read_text())

    def test_change_by_another_between_look_and_write_is_kept(self):
        def meanwhile(diff):
            self.file.write_text("{}")
            return True

        with self.assertRaises(codex_hooks.Refusal):
            codex_hooks.change("install", self.folder, meanwhile)
        self.assertEqual((self.file.read_text(), os.listdir(self.folder)), ("{}", ["hooks.json"]))

    def run_in_terminal(self, answer):
        ours, theirs = pty.openpty()
        command = [sys.executable, "-B", "-m", "keelhaven.codex_hooks", "install", "--codex-home", str(self.folder)]
        os.write(ours, answer)
        streams = {"stdin": theirs, "stderr": theirs, "stdout": subprocess.PIPE}
        done = subprocess.run(command, **streams, env=os.environ | {"PYTHONPATH": str(PLUGIN)})
        os.close(ours)
        os.close(theirs)
        return done.returncode

    def test_writes_only_after_a_yes(self):
        answered = json.loads(self.call("install", "--json")[1])
        self.assertEqual((answered["changed"], answered["written"]), (True, False))
        command = [sys.executable, "-B", str(PLUGIN / "keelhaven/codex_hooks.py"), "install"]
        done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, env={"CODEX_HOME": str(self.folder)})
        self.assertEqual((done.returncode, done.stdout[:13]), (1, b"--- /dev/null"))
        self.assertIn(b"Nothing was written", done.stderr)
        self.assertEqual(self.run_in_terminal(b"\n"), 1)
        self.assertFalse(self.file.exists())
        self.assertEqual(self.run_in_terminal(b"y\n"), 0)
        self.assertTrue(self.file.exists())

    def test_wrong_usage_and_a_folder_that_is_not_there(self):
        for arguments in ([], ["instal"], ["install", "--ye"], ["install", "more"]):
            with self.assertRaises(SystemExit) as exit_, contextlib.redirect_stderr(io.StringIO()) as errors:
                codex_hooks.main(arguments)
            self.assertEqual((exit_.exception.code, errors.getvalue().count("\n")), (2, 1))
        self.folder = self.folder / "none"
        self.assertEqual(self.call("install", "--yes")[0], 1)
        self.assertFalse(self.folder.exists())


if __name__ == "__main__":
    unittest.main()
