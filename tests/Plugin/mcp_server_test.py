"""The MCP server over pipes, as a session starts it, and the journal lines it leaves."""
import json
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

PLUGIN = Path(__file__).resolve().parents[2] / "plugin"
RUN_ID = "6F9619FF-8B86-D011-B42D-00CF4FC964FF"
LIMIT = 64 * 1024


class Server:
    def __init__(self, folder, home, **environment):
        server = json.loads((PLUGIN / ".mcp.json").read_text())["mcpServers"]["keelhaven"]
        command = [word.replace("${CLAUDE_PLUGIN_ROOT}", str(PLUGIN)) for word in (server["command"], *server["args"])]
        environment = {"PATH": os.environ["PATH"], "HOME": home} | environment
        pipes = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        self.process = subprocess.Popen(command, cwd=folder, env=environment, **pipes)

    def send(self, line):
        self.process.stdin.write(line if isinstance(line, bytes) else json.dumps(line).encode() + b"\n")
        self.process.stdin.flush()

    def ask(self, method, **parameters):
        self.send({"jsonrpc": "2.0", "id": method, "method": method, "params": parameters})
        answer = json.loads(self.process.stdout.readline())
        assert (answer.pop("jsonrpc"), answer.pop("id")) == ("2.0", method)
        return answer

    def call(self, name, **arguments):
        """(text, whether it is an error)"""
        result = self.ask("tools/call", name=name, arguments=arguments)["result"]
        (content,) = result["content"]
        assert content["type"] == "text"
        return content["text"], result["isError"]

    def close(self):
        """(status, what was left on standard output and standard error)"""
        rest = self.process.communicate(timeout=20)
        return self.process.returncode, *rest


class McpServerTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(os.path.realpath(folder.name))
        (self.folder / "out.pdf").write_text("x")

    def start(self, **environment):
        environment = {"KEELHAVEN_RUN_DIR": str(self.folder), "KEELHAVEN_RUN_ID": RUN_ID} | environment
        server = Server(self.folder, str(self.folder), **environment)
        self.addCleanup(server.close)
        return server

    def journal(self):
        return [json.loads(line) for line in (self.folder / "journal.jsonl").read_bytes().splitlines()]

    def test_handshake_of_each_release(self):
        server = self.start()
        for asked, agreed in [("2025-11-25",) * 2, ("2025-06-18",) * 2, ("2024-11-05",) * 2, ("1999-01-01", "2025-11-25")]:
            said = server.ask("initialize", protocolVersion=asked, capabilities={}, clientInfo={"name": "c", "version": "1"})
            self.assertEqual(said["result"]["protocolVersion"], agreed)
            self.assertEqual(said["result"]["capabilities"], {"tools": {}})
        server.send({"jsonrpc": "2.0", "method": "notifications/initialized"})
        self.assertEqual(server.ask("ping"), {"result": {}})
        tools = {tool["name"]: tool["inputSchema"] for tool in server.ask("tools/list")["result"]["tools"]}
        required = {"add_asset": ["path"], "report_progress": ["text"], "ask_question": ["question"]}
        self.assertEqual({name: schema["required"] for name, schema in tools.items()}, required)
        self.assertEqual(set(tools["ask_question"]["properties"]), {"question", "options", "id"})
        self.assertEqual(server.close(), (0, b"", b""))

    def test_messages_that_are_no_request(self):
        request = {"jsonrpc": "2.0", "id": 1, "method": "ping"}
        cases = [
            (b"{\n", None, -32700),
            (b"\xff\n", None, -32700),
            (b"[" * 100000 + b"\n", None, -32700),
            (b'"' + b"x" * 5_000_000 + b'"\n', None, -32700),
            (json.dumps(request).encode() + b" x\n", None, -32700),
            ([request], None, -32600),
            (request | {"jsonrpc": "1.0"}, None, -32600),
            (request | {"id": None}, None, -32600),
            (request | {"id": True}, None, -32600),
            (request | {"method": 3}, 1, -32600),
            (request | {"method": "resources/list", "id": "é"}, "é", -32601),
            (request | {"params": [1]}, 1, -32602),
            (request | {"method": "initialize"}, 1, -32602),
            (request | {"method": "tools/list", "params": {"cursor": "2"}}, 1, -32602),
            (request | {"method": "tools/call", "params": {"name": "rm"}}, 1, -32602),
            (request | {"method": "tools/call", "params": {"name": "add_asset", "arguments": []}}, 1, -32602),
        ]
        server = self.start()
        for silent in (b"\n", {"jsonrpc": "2.0", "method": "no/such"}, {"jsonrpc": "2.0", "id": 4, "result": {}}):
            server.send(silent)
        for message, identifier, code in cases:
            with self.subTest(str(message)[:80]):
                server.send(message)
                answer = json.loads(server.process.stdout.readline())
                self.assertEqual((answer["id"], answer["error"]["code"]), (identifier, code))
                self.assertRegex(answer["error"]["message"], r"^\S.*\.$")
        self.assertEqual(server.close(), (0, b"", b""))

    def test_calls_and_their_lines(self):
        asset = str(self.folder / "out.pdf")
        cases = [
            ("report_progress", {"text": "half\n“way” \ud83d"}, {"type": "progress", "text": "half\n“way” ?"}),
            ("report_progress", {"text": "é" * (LIMIT // 2), "more": 1}, {"type": "progress", "text": "é" * (LIMIT // 2)}),
            ("add_asset", {"path": asset, "kind": "document", "caption": "It"},
             {"type": "asset", "path": asset, "kind": "document", "caption": "It"}),
            ("add_asset", {"path": "sub/../out.pdf", "caption": " "}, {"type": "asset", "path": asset}),
            ("add_asset", {"path": "~/out.pdf", "kind": None}, {"type": "asset", "path": asset}),
            ("ask_question", {"question": "Which?", "options": ["a", "b"], "id": "q_1-A"},
             {"type": "question", "question": "Which?", "options": ["a", "b"], "id": "q_1-A"}),
        ]
        server = self.start()
        for name, arguments, expected in cases:
            with self.subTest(name=name, keys=list(arguments)):
                text, is_error = server.call(name, **arguments)
                self.assertFalse(is_error, text)
                line = self.journal()[-1]
                self.assertGreater(line.pop("ts"), 1.7e9)
                self.assertEqual(line, expected | {"run_id": RUN_ID})
        text, _ = server.call("ask_question", question="And?", options=[])
        line = self.journal()[-1]
        self.assertRegex(line["id"], "^[0-9a-f]{8}$")
        self.assertIn(line["id"], text)
        self.assertNotIn("options", line)
        self.assertEqual((self.folder / "journal.jsonl").stat().st_mode & 0o777, 0o600)

    def test_arguments_that_are_refused_leave_no_line(self):
        cases = [
            ("report_progress", {}),
            ("report_progress", {"text": " \n"}),
            ("report_progress", {"text": ["x"]}),
            ("report_progress", {"text": "é" * (LIMIT // 2) + "x"}),
            ("add_asset", {"caption": "x"}),
            ("add_asset", {"path": "out.pdf", "caption": 3}),
            ("add_asset", {"path": "gone.pdf"}),
            ("add_asset", {"path": "."}),
            ("add_asset", {"path": "out.pdf\0"}),
            ("add_asset", {"path": "~x\0y"}),
            ("add_asset", {"path": "~\ud800/x"}),
            ("add_asset", {"path": "x" * 9000}),
            ("ask_question", {"options": ["a"]}),
            ("ask_question", {"question": "?", "options": "a"}),
            ("ask_question", {"question": "?", "options": ["a", 1]}),
            ("ask_question", {"question": "?", "options": ["x" * 1000] * 66}),
            ("ask_question", {"question": "?", "id": "../q"}),
            ("ask_question", {"question": "?", "id": "x" * 65}),
        ]
        server = self.start()
        for name, arguments in cases:
            with self.subTest(name=name, arguments=str(arguments)[:60]):
                text, is_error = server.call(name, **arguments)
                self.assertTrue(is_error)
                self.assertRegex(text, r"^[A-Z][^\n]*\.$")
        self.assertFalse((self.folder / "journal.jsonl").exists())

    def test_tools_are_put_before_the_model_in_a_run_only(self):
        for folder, count in [(str(self.folder), 3), ("", 0)]:
            tools = self.start(KEELHAVEN_RUN_DIR=folder).ask("tools/list")["result"]["tools"]
            self.assertEqual(sum(tool.get("_meta") == {"anthropic/alwaysLoad": True} for tool in tools), count)

    def test_without_a_run_or_its_folder_the_call_says_so(self):
        for folder, words in [("", "no run of Keelhaven"), (str(self.folder / "gone"), "cannot be written: No such file")]:
            text, is_error = self.start(KEELHAVEN_RUN_DIR=folder).call("report_progress", text="x")
            self.assertTrue(is_error)
            self.assertIn(words, text)

    def test_parallel_servers_and_a_torn_line_mix_nothing(self):
        (self.folder / "journal.jsonl").write_text('{"type": "note", "text": "ha')
        servers = [self.start() for _ in range(4)]
        for number in range(50):
            for writer, server in enumerate(servers):
                arguments = {"text": f"{writer} {number} " + "é" * 3000 * writer}
                server.send({"jsonrpc": "2.0", "id": 1, "method": "tools/call",
                             "params": {"name": "report_progress", "arguments": arguments}})
        for server in servers:
            self.assertEqual(server.close()[0], 0)
        lines = (self.folder / "journal.jsonl").read_bytes().splitlines()[1:]
        seen = sorted(tuple(map(int, json.loads(line)["text"].split()[:2])) for line in lines)
        self.assertEqual(seen, [(writer, number) for writer in range(4) for number in range(50)])

    def test_client_that_is_gone_ends_the_server_quietly(self):
        server = self.start()
        server.process.stdout.close()
        server.send({"jsonrpc": "2.0", "id": 1, "method": "ping"})
        self.assertEqual(server.process.wait(timeout=20), 0)
        self.assertEqual(server.process.stderr.read(), b"")


if __name__ == "__main__":
    unittest.main()
