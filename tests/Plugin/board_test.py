"""What a sweep is shown of the board, and what its notes may change."""
import json
import os
import re
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

PLUGIN = Path(__file__).resolve().parents[2] / "plugin"
sys.path.insert(0, str(PLUGIN))

from keelhaven import board_notes, board_state  # noqa: E402

NOW = 1_772_600_000.0
TOKEN = "ghp_secret"


class BoardTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = Path(folder.name)
        self.cache = self.home / ".cache/keelhaven"
        self.cache.mkdir(parents=True)
        self.code = self.home / "code"
        self.code.mkdir()
        repos = {"me/app": {"branch": "main", "head": "h1"}, "me/elsewhere": {}}
        self.write("state.json", {
            "project_order": ["app", "ghost", "app"],
            "projects": {"app": {"head_sig": "s2", "days_idle": 0, "repos": repos}, "unlisted": {}},
            "local_links": {"here": {"me/app": str(self.code)}, "there": {"me/elsewhere": "/x"}},
            "local_sync": {"here": {"me/app": {"status": "ahead", "ahead": 2, "extra": TOKEN}}},
            "dismissed_reviews": [board_state.review_key("app", "seen")],
            "activity": {"me/elsewhere": {"recent": [{"ts": NOW - 60, "type": "flag", "note": "kept"}, 7]}},
        })
        self.write("ai.json", {"summaries": {"app": {"text": "old", "head_sig": "s1"}}, "own": {"x": 1}})
        self.write("context.json", {"app": {"status": "Beta", "active_launch": {"title": "1.0", "target_date": "2026-03-07"}}})
        self.write("credentials.json", {"github": {"token": TOKEN}})

    def write(self, name, value):
        (self.cache / name).write_text(value if isinstance(value, str) else json.dumps(value))

    def brief(self):
        return board_state.Board(self.cache, NOW, "here").brief(str(self.home))

    def call(self, *words, text=""):
        program = [sys.executable, "-I", "-B", str(PLUGIN / "keelhaven/board.py"), *words]
        environment = {"PATH": os.environ["PATH"], "HOME": str(self.home), "GIT_DIR": str(self.home / "another.git")}
        done = subprocess.run(program, cwd=self.home, env=environment, input=text, capture_output=True, text=True, encoding="utf-8")
        return done.returncode, done.stdout + done.stderr

    def ai(self):
        return json.loads((self.cache / "ai.json").read_text())

    def test_brief_holds_the_board_as_this_machine_sees_it(self):
        events = [
            {"ts": NOW - 50, "type": "Stop", "cwd": f"{self.code}/src", "last_message": "done"},
            {"ts": NOW - 40, "type": "flag", "repo_hint": "me/app", "note": "look"},
            {"ts": NOW - 30, "type": "flag", "cwd": str(self.code), "note": "seen"},
            {"ts": NOW - 20, "type": "Stop", "cwd": f"{self.code}2", "last_message": "not ours"},
            {"ts": NOW - 4 * 86400, "type": "Stop", "cwd": str(self.code), "last_message": "long ago"},
        ]
        self.write("events.jsonl", "torn\n[]\n" + "\n".join(map(json.dumps, events)) + '\n{"ts": 1')
        brief = self.brief()
        (project,) = brief["projects"]
        self.assertEqual(project["name"], "app")
        self.assertFalse(project["is_summary_current"])
        self.assertEqual(project["launch"], {"title": "1.0", "target_date": "2026-03-07", "days_until": 3})
        self.assertEqual([flag["note"] for flag in project["flags"]], ["look", "kept"])
        self.assertEqual([session["said"] for session in project["sessions"]], ["done"])
        app, elsewhere = project["repos"]
        self.assertEqual((app["path"], app["is_path_there"], app["sync"]), (str(self.code), True, {"status": "ahead", "ahead": 2}))
        self.assertNotIn("path", elsewhere)
        self.assertNotIn(TOKEN, json.dumps(brief))

    def test_broken_files_give_an_empty_board_and_the_repositories_below_the_folder(self):
        for place in ("code/a", "code/a/inner", "code/deep/er/x", ".hidden", "node_modules/m", "b"):
            (self.home / place / ".git").mkdir(parents=True)
        for content in ("", "[1]", '{"projects": 3, "project_order": "app", "local_links": {"here": []}}', "[" * 9000):
            self.write("state.json", content)
            brief = self.brief()
            self.assertEqual(brief["projects"], [])
            self.assertEqual(brief["repositories_found"], [f"{self.home}/b", f"{self.home}/code/a"])
        os.mkfifo(self.cache / "events.jsonl")  # nobody waits for its writer
        self.assertEqual(self.brief()["projects"], [])

    def test_what_others_wrote_amiss_hides_nothing_else(self):
        events = [
            {"ts": 10**400, "type": "flag", "repo_hint": "me/app", "note": "no time"}, {"ts": 1e300, "type": "flag", "repo_hint": "me/app", "note": "no time"},
            {"ts": NOW - 9, "type": "flag", "repo_hint": ["me/app"], "cwd": str(self.code), "note": "shown"}, {"ts": NOW, "cwd": 5, "repo_hint": {}},
        ]
        self.write("events.jsonl", "\n".join(map(json.dumps, events)) + '\n{"ts": Infinity, "type": "flag", "repo_hint": "me/app", "note": "no time"}\n')
        state = json.loads((self.cache / "state.json").read_text())
        state["local_links"] = {os.uname().nodename: {"me/app": str(self.code), "me/elsewhere": "/a\0b", "me/third": "/\ud800"}}
        self.write("state.json", state)
        status, said = self.call("brief")
        self.assertEqual((status, "Traceback" in said), (0, False))
        brief = board_state.Board(self.cache, NOW).brief(str(self.home))
        self.assertEqual([flag["note"] for flag in brief["projects"][0]["flags"]], ["shown", "kept"])
        self.assertEqual(self.call("look", str(self.home))[1], f"{self.home} is no repository of the board.\n")

    def test_what_the_user_keeps_off_the_board_is_not_read(self):
        (self.code / ".git").mkdir()
        state = json.loads((self.cache / "state.json").read_text())
        state |= {"excluded_repos": ["me/app", 7], "local_links": {os.uname().nodename: {"me/app": str(self.code)}}}
        self.write("state.json", state)
        self.write("events.jsonl", json.dumps({"ts": NOW - 9, "type": "flag", "cwd": str(self.code), "note": "hidden"}) + "\n")
        (project,) = board_state.Board(self.cache, NOW).brief(str(self.home))["projects"]
        self.assertEqual([repo["slug"] for repo in project["repos"]], ["me/elsewhere"])
        self.assertEqual([flag["note"] for flag in project["flags"]], ["kept"])
        self.assertEqual(self.call("look", str(self.code))[1], f"{self.code} is no repository of the board.\n")
        self.write("state.json", {"excluded_repos": ["me/app"], "local_links": state["local_links"]})
        self.assertEqual(board_state.Board(self.cache, NOW).brief(str(self.home))["repositories_found"], [])

    def test_a_large_board_comes_in_parts_that_a_session_reads_whole(self):
        names = [f"p{number}" for number in range(40)]
        self.write("state.json", {"project_order": names, "projects": {name: {"repos": {f"r/{name}": {}}} for name in names},
                                  "local_links": {os.uname().nodename: {"r/p0": str(self.code)}},
                                  "local_sync": {os.uname().nodename: {"r/p3": {"detail": "d" * 9999}}}})
        self.write("ai.json", {"summaries": {name: {"text": "é" * 5000} for name in names}})
        self.write("context.json", {name: {"status": "s" * 5000, "vision": "v" * 5000} for name in names})
        events = [{"ts": time.time() - n, "type": "flag", "repo_hint": "r/p0", "note": f"{n} " + "n" * 3000} for n in range(50)]
        self.write("events.jsonl", "\n".join(map(json.dumps, events)) + "\n")
        seen, following, parts = [], [], 0
        while True:
            status, said = self.call("brief", *following)
            self.assertEqual(status, 0, said)
            self.assertLess(len(said), 30000)
            part = json.loads(said)
            seen += [project["name"] for project in part["projects"]]
            self.assertIn(len(part["projects"][0].get("flags", ())), (0, 10))
            parts += 1
            if "next" not in part:
                break
            following = [str(part["next"])]
        self.assertEqual(seen, names)
        self.assertGreater(parts, 3)
        self.assertEqual([self.call("brief", *words)[0] for words in (["x"], ["-1"], ["1" * 9], ["1", "2"], ["99"])], [2, 2, 2, 2, 0])

    def test_notes_are_added_and_everything_else_stays(self):
        notes = {
            "summaries": {"app": " an app "},
            "digests": {"app": {"narrative": "moved", "review": ["risk: x"]}},
            "architecture": {"me/app": {"text": "parts"}},
        }
        before = (self.cache / "ai.json").read_bytes()
        self.assertEqual(self.call("note", text=json.dumps(notes)), (0, "Noted 3.\n"))
        ai = self.ai()
        self.assertEqual((ai["summaries"]["app"]["text"], ai["summaries"]["app"]["head_sig"]), ("an app", "s2"))
        self.assertEqual(ai["digests"]["app"]["review"], ["risk: x"])
        self.assertEqual(ai["architecture"]["me/app"]["head"], "h1")
        self.assertEqual(ai["own"], {"x": 1})
        self.assertEqual((self.cache / "ai.json.previous").read_bytes(), before)
        self.assertEqual((self.cache / "ai.json").stat().st_mode & 0o777, 0o600)
        self.assertTrue(self.brief()["projects"][0]["is_summary_current"])

    def test_odd_words_of_others_and_a_link_outlive_a_note(self):
        kept = self.home / "kept.json"
        kept.write_bytes(b'{"own": ["\\ud83d", "\xc3\xa9", 1.50, 12345678901234567890123]}')
        (self.cache / "ai.json").unlink()
        (self.cache / "ai.json").symlink_to(kept)
        self.assertEqual(self.call("note", text='{"summaries": {"app": "é"}}'), (0, "Noted 1.\n"))
        self.assertTrue((self.cache / "ai.json").is_symlink())
        self.assertEqual((self.ai()["own"], self.ai()["summaries"]["app"]["text"]), (["\ud83d", "é", 1.5, 12345678901234567890123], "é"))

    def test_refused_notes_change_nothing(self):
        before = (self.cache / "ai.json").read_bytes()
        refused = [
            "no json", "[]", '{"own": {}}', {"summaries": {"ghost": "x"}}, {"summaries": {"app": "x", "other": "y"}},
            {"summaries": {"app": " "}}, {"summaries": {"app": "x" * 8001}}, {"summaries": ["app"]},
            {"digests": {"app": {"narrative": "n", "review": ["x"] * 7}}}, {"digests": {"app": {"narrative": "n", "at": "now"}}},
            {"architecture": {"app": {"text": "a project is no repository"}}},
        ]
        for notes in refused:
            status, said = self.call("note", text=notes if isinstance(notes, str) else json.dumps(notes))
            self.assertEqual((status, len(said.splitlines())), (1, 1), (notes, said))
            self.assertNotIn("Traceback", said)
        self.assertEqual((self.cache / "ai.json").read_bytes(), before)
        for content in ("{torn", "", "[]", '{"own": NaN}', '{"own": 1e999}', "[" * 9000):
            self.write("ai.json", content)
            status, said = self.call("note", text='{"summaries": {"app": "x"}}')
            self.assertEqual((status, len(said.splitlines())), (1, 1), said)
            self.assertEqual((self.cache / "ai.json").read_text(), content)

    def test_looking_changes_nothing_and_runs_nothing_of_the_repository(self):
        git = ["git", "-C", str(self.code), "-c", "user.name=me", "-c", "user.email=me@x"]
        secrets = ("my.pem", ".env", "id_rsa", "ID_ed25519", "a.KEYSTORE", "db_secret.txt")
        for name in ("README", *secrets):
            (self.code / name).write_text(f"{TOKEN} in {name}")
        subprocess.run([*git, "init", "-q", "-b", "main"], check=True)
        status, said = self.call("look", str(self.code))
        self.assertEqual((status, "?? README" in said), (0, True), "before its first commit")
        for words in (["add", "."], ["commit", "-q", "--allow-empty", "-m", "Begin"]):
            subprocess.run([*git, *words], check=True)
        (self.code / "new.txt").write_text("x")
        for key in ("core.fsmonitor", "core.pager", "diff.external"):
            subprocess.run([*git, "config", key, f"touch {self.home}/ran; false"], check=True)
        status, said = self.call("look", str(self.code))
        self.assertEqual(status, 0, said)
        for part in ("## main", "?? new.txt", "me: Begin", "Stashes\nnone"):
            self.assertIn(part, said)
        (self.code / "many").mkdir()
        for number in range(400):
            (self.code / "many" / f"{number}{'x' * 100}").touch()
        subprocess.run([*git, "config", "status.showUntrackedFiles", "all"], check=True)
        said = self.call("look", str(self.code))[1]
        self.assertLess(len(said), 30000)
        for part in ("… cut", "me: Begin", "Branches\nmain"):
            self.assertIn(part, said)
        head = subprocess.run([*git, "rev-parse", "HEAD"], capture_output=True, text=True).stdout.strip()
        shown = self.call("show", str(self.code), head)[1]
        self.assertIn("in README", shown)
        self.assertIn("in README", self.call("show", str(self.code), head, "README")[1])
        shown += "".join(self.call("show", str(self.code), head, file)[1] for file in (".", "*.pe?", ":(glob).en?", "id_rs[a]"))
        for name in secrets:
            self.assertNotIn(f"in {name}", shown)
            self.assertEqual(self.call("read", str(self.code), name)[0], 1, name)
        self.assertEqual(self.call("read", str(self.code), "./README"), (0, f"{TOKEN} in README\n"))
        self.assertEqual(set(self.call("files", str(self.code))[1].split()), {"README", *secrets})
        self.assertFalse((self.home / "ran").exists())
        for words in (["look", "/"], ["show", str(self.code), "--output=x"], ["show", str(self.code), "HEAD"],
                      ["read", str(self.code), ".env"], ["read", str(self.code), "../x"], ["show", str(self.code), head, "my.pem"]):
            self.assertEqual(self.call(*words)[0], 1, words)
        self.assertEqual(self.call("push")[0], 2)

    def test_the_command_names_what_is_there(self):
        text = (PLUGIN / "commands/keelhaven.md").read_text()
        head, body = re.fullmatch(r"---\n(.*?)\n---\n(.*)", text, re.DOTALL).groups()
        self.assertLessEqual({line.split(":")[0] for line in head.splitlines()}, {"description", "allowed-tools"})
        calls = re.findall(r'python3 -I -B "\$\{CLAUDE_PLUGIN_ROOT\}/(\S+)" (\w+)', body)
        self.assertEqual({verb for _, verb in calls}, {"brief", "look", "show", "read", "files", "note"})
        self.assertEqual({(PLUGIN / path).resolve() for path, _ in calls}, {PLUGIN / "keelhaven/board.py"})
        (notes,) = re.findall(r"<<'NOTES'\n(.*?)\n    NOTES", body, re.DOTALL)
        board_notes.checked_object(json.loads(notes), "The example", ("summaries", "digests", "architecture"))


if __name__ == "__main__":
    unittest.main()
