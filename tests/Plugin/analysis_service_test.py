"""The analysis service over real HTTP, on a port of the system's choice."""
import http.client
import json
import os
import sys
import tempfile
import threading
import unittest
from http.server import ThreadingHTTPServer
from pathlib import Path
from unittest import mock

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "plugin"))

from keelhaven import app, store  # noqa: E402


class AnalysisServiceTest(unittest.TestCase):
    def setUp(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        self.cache = Path(home.name, ".cache/keelhaven")
        self.cache.mkdir(parents=True)
        with mock.patch.dict("os.environ", HOME=home.name):
            api = app.Api(store.load_config())
        self.server = ThreadingHTTPServer(("127.0.0.1", 0), app._make_handler(api))
        threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.01}).start()
        self.addCleanup(self.server.server_close)
        self.addCleanup(self.server.shutdown)

    def ask(self, method, path, body=None, **headers):
        connection = http.client.HTTPConnection("127.0.0.1", self.server.server_port, timeout=10)
        try:
            connection.request(method, path, body, headers)
            answer = connection.getresponse()
            return answer.status, json.loads(answer.read())
        finally:
            connection.close()

    def test_health_check_holds_a_list_of_projects_whatever_the_files_hold(self):
        wrong = '{"projects": 3, "project_order": 1}'
        for name, text in [("no files", None), ("no JSON", "{"), ("a list", "[1]"), ("wrong types", wrong)]:
            with self.subTest(name):
                if text is not None:
                    (self.cache / "state.json").write_text(text)
                self.assertEqual(self.ask("GET", "/api/view"), (200, {"projects": []}))

    def test_file_that_is_too_large_is_not_read(self):
        for surplus, names in [(0, ["a"]), (1, [])]:
            text = '{"projects": {"a": {}}}'
            (self.cache / "state.json").write_text(text + " " * (store.MAX_FILE_BYTES - len(text) + surplus))
            self.assertEqual([project["name"] for project in self.ask("GET", "/api/view")[1]["projects"]], names)

    def test_pipe_in_the_place_of_a_file_is_not_waited_for(self):
        os.mkfifo(self.cache / "state.json")
        (self.cache / "context.json").symlink_to(self.cache / "context.json")
        self.assertEqual(self.ask("GET", "/api/view"), (200, {"projects": []}))

    def test_view_joins_state_and_context_in_board_order(self):
        projects = {"b": {"display": "Bee", "repos": {"o/b": {}}, "commits_today": 2}, "a": {"repos": 1}}
        (self.cache / "state.json").write_text(json.dumps({"projects": projects, "project_order": ["a", "gone", 4]}))
        (self.cache / "context.json").write_text(json.dumps({"a": {"display": "Ay", "vision": "far"}, "c": None}))
        expected = [
            {"name": "a", "display": "Ay", "vision": "far", "repos": []},
            {"name": "b", "display": "Bee", "commits_today": 2, "repos": ["o/b"]},
            {"name": "c", "display": "c", "repos": []},
        ]
        self.assertEqual(self.ask("GET", "/api/view?x=1"), (200, {"projects": expected}))

    def test_calls_are_refused_with_a_sentence(self):
        cases = [
            ("POST", "/api/refresh", "{}", 501),
            ("POST", "/api/get_settings", None, 501),
            ("POST", "/api/launch_missiles", "{}", 404),
            ("POST", "/other/refresh", "{}", 404),
            ("GET", "/", None, 404),
            ("POST", "/api/refresh", "{", 400),
            ("POST", "/api/refresh", "[]", 400),
            ("POST", "/api/refresh", "[" * 200000, 400),
            ("POST", "/api/refresh", " " * (1024 * 1024 + 1), 413),
        ]
        for method, path, body, status in cases:
            with self.subTest(path=path, body=(body or "")[:5]):
                answered, value = self.ask(method, path, body)
                self.assertEqual(answered, status)
                self.assertRegex(value["error"], r"^[A-Z].+\.$")

    def test_page_of_another_host_is_refused(self):
        self.assertEqual(self.ask("GET", "/api/view", Host="evil.example:8787")[0], 403)


if __name__ == "__main__":
    unittest.main()
