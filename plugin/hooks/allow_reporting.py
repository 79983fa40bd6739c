#!/usr/bin/env python3
"""Lets a run's session use Keelhaven's own three reporting tools without asking.

In automatic permission mode the session's safety check runs on the provider's server and may refuse or be unreachable;
an unattended run could then report nothing. The tools only append to the run's own journal. Anything but these tools, in
a run of ours, is left to the session's own rules: no answer is given. Like the other hook scripts it never fails a session.
"""
import json
import os
import sys

TOOLS = {"mcp__plugin_keelhaven_keelhaven__" + name for name in ("add_asset", "report_progress", "ask_question")}


def main():
    event = json.loads(sys.stdin.buffer.read())  # all of it: the session would find the pipe broken
    tool = event.get("tool_name") if isinstance(event, dict) else None
    if os.environ.get("KEELHAVEN_RUN_DIR") and isinstance(tool, str) and tool in TOOLS:
        decision = {"hookEventName": "PreToolUse", "permissionDecision": "allow", "permissionDecisionReason": "Keelhaven's own reporting tool"}
        print(json.dumps({"hookSpecificOutput": decision}), flush=True)


if __name__ == "__main__":
    try:
        main()
    except BaseException:  # even an interrupt: the session's own work goes first
        pass
    os._exit(0)
