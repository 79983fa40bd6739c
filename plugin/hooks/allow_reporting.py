#!/usr/bin/env python3
"""Lets a run's session use Keelhaven's own three reporting tools without asking.

In automatic permission mode the session's safety check runs on the provider's server and may refuse or be unreachable;
an unattended run could then report nothing. The tools only append to the run's own journal. Anything but these tools, in
a run of ours, is left to the session's own rules: no answer is given.
"""
import json
import os
import sys

TOOLS = {"mcp__plugin_keelhaven_keelhaven__" + name for name in ("add_asset", "report_progress", "ask_question")}


def main() -> int:
    try:
        event = json.loads(sys.stdin.buffer.read(1 << 22))
    except ValueError:
        return 0
    tool = event.get("tool_name") if isinstance(event, dict) else None
    if os.environ.get("KEELHAVEN_RUN_DIR") and isinstance(tool, str) and tool in TOOLS:
        decision = {"hookEventName": "PreToolUse", "permissionDecision": "allow", "permissionDecisionReason": "Keelhaven's own reporting tool"}
        print(json.dumps({"hookSpecificOutput": decision}))
    return 0


if __name__ == "__main__":
    sys.exit(main())
