"""The files Claude Code reads from the plugin folder: their layout, and that what they name is there."""
import json
import re
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PLUGIN = ROOT / "plugin"
sys.path[:0] = [str(PLUGIN / "mcp"), str(PLUGIN / "hooks")]

import server  # noqa: E402

HOOK_EVENTS = {
    "SessionStart", "UserPromptSubmit", "PreToolUse", "PostToolUse", "PostToolUseFailure", "PermissionRequest", "Notification",
    "SubagentStart", "SubagentStop", "Stop", "StopFailure", "PreCompact", "SessionEnd",
}
PLUGIN_KEYS = {"name", "version", "description", "author", "homepage", "repository", "license", "keywords"}


def load(name):
    return json.loads((PLUGIN / name).read_text())


class ManifestTest(unittest.TestCase):
    def check_references(self, words):
        """What is named below the plugin's folder is there, and its Python compiles; no word names a place of its own."""
        named = [path for word in words for path in re.findall(r"\$\{CLAUDE_PLUGIN_ROOT\}/([^\"' ]+)", word)]
        self.assertTrue(named)
        for path in named:
            compile((PLUGIN / path).read_text(), path, "exec")
        self.assertFalse([word for word in words if re.search(r"(^|[\s\"'])[/~]", word)])

    def test_plugin_and_marketplace_agree(self):
        plugin, market = load(".claude-plugin/plugin.json"), load(".claude-plugin/marketplace.json")
        self.assertLessEqual(set(plugin), PLUGIN_KEYS)
        self.assertRegex(plugin["name"], r"^[a-z0-9]+(-[a-z0-9]+)*$")
        self.assertRegex(plugin["version"], r"^\d+\.\d+\.\d+$")
        self.assertTrue(plugin["description"] and plugin["author"]["name"] and market["owner"]["name"])
        (entry,) = market["plugins"]
        self.assertEqual({key: entry[key] for key in ("name", "version")}, {key: plugin[key] for key in ("name", "version")})
        source = PLUGIN / entry["source"]
        self.assertTrue(entry["source"].startswith("./") and (source / ".claude-plugin/plugin.json").is_file())
        # The launcher turns installed copies off by this name.
        names = (ROOT / "src/Contract/BundledPlugin.h").read_text()
        self.assertIn(f'"{plugin["name"]}@{market["name"]}"', names)

    def test_hooks(self):
        document = load("hooks/hooks.json")
        self.assertLessEqual(set(document), {"description", "hooks"})
        self.assertLessEqual(set(document["hooks"]), HOOK_EVENTS)
        handlers = []
        for groups in document["hooks"].values():
            for group in groups:
                self.assertLessEqual({"hooks"}, set(group))
                self.assertLessEqual(set(group), {"hooks", "matcher"})
                handlers += group["hooks"]
        for handler in handlers:
            self.assertEqual(set(handler), {"type", "command", "timeout"})
            self.assertEqual(handler["type"], "command")
            self.assertIn(handler["timeout"], range(1, 61))
        self.check_references([handler["command"] for handler in handlers])

    def test_servers(self):
        (item,) = load(".mcp.json")["mcpServers"].items()
        name, started = item
        self.assertEqual((name, set(started)), (server.NAME, {"command", "args"}))
        self.assertTrue(all(isinstance(word, str) for word in started["args"]))
        self.check_references([started["command"], *started["args"]])
        self.assertEqual(server.VERSION, load(".claude-plugin/plugin.json")["version"])

    def test_tools_are_those_the_run_contract_names(self):
        contract = "".join(path.read_text() for path in ROOT.glob("src/**/RunContract.cpp"))
        for tool in ("add_asset", "report_progress"):
            self.assertIn(tool, contract)
            self.assertIn(tool, server.journal_tools.TOOLS)


if __name__ == "__main__":
    unittest.main()
