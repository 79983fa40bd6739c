"""A stand-in for the interactive `claude` command line, release 2.1.330, as seen in a terminal.

It takes the same arguments, shows the same screens, calls the same hooks and keeps the same files, but there is no
model behind it: after a prompt it is busy for a moment, writes the files a run is expected to write, and rests again.

What it does is set by variables, from the environment or from an object with the same names in .scripted-agent.json, in the
folder it is started in or in the home. What stands first here wins. A pane's environment comes from the login shell, which is
what the files are for.

  SCRIPTED_WORK_SECONDS=1     how long a turn takes
  SCRIPTED_WORK_UNTIL=FILE    a turn does not end before that file exists
  SCRIPTED_SLOW_START=S       draws and reads nothing for S seconds
  SCRIPTED_EXIT_AT_ONCE=CODE  leaves with that status before it draws anything
  SCRIPTED_TRUST=RELEASE      asks whether the folder is trusted, unless ~/.claude.json says so: 2.1.330 (No comes first and
                              is selected) or 2.1.197 (numbered, Yes is selected)
  SCRIPTED_TRUST_CURSOR=ENTRY yes or no: the entry that is selected at first, whatever the release
  SCRIPTED_SECOND_DIALOG=1    a second start-up question behind it: 1 or files ("Do you trust the files in this folder?",
                              Yes is selected), api-key (No is selected)
  SCRIPTED_UNKNOWN_DIALOG=1   a start-up question nobody has seen before; Enter goes on. With the value bare it has neither
                              numbers nor a line that says which keys it takes
  SCRIPTED_SWALLOW_ENTER=N    the first N presses of Enter on a prompt have no effect
  SCRIPTED_HANG=1             takes the prompt and never does anything again, not even for Esc or /exit
  SCRIPTED_FLOOD_MB=N         prints N megabytes in every turn
  SCRIPTED_PERMISSION=1       asks for permission in the middle of every turn
  SCRIPTED_SUBAGENT=KIND      starts a sub-agent in every turn: background (the turn stops, a further one follows) or
                              foreground (the order of older releases)
  SCRIPTED_ASK=TEXT           asks that question through the run's journal, in the first turn of the session
  SCRIPTED_ASSET=PATH         hands that file over through the run's journal in every turn; makes a small one if there is none
  SCRIPTED_GO_ON=1            begins a second turn by itself after the first one
  SCRIPTED_GO_ON_AFTER=0.3    how many seconds after
  SCRIPTED_API_ERROR=1        every turn ends in an API error: StopFailure, no Stop, no files
  SCRIPTED_RESTLESS=1         the idle screen never stands still
  SCRIPTED_IGNORE_EXIT=1      /exit and Ctrl-C have no effect
  SCRIPTED_NO_HOOKS=1         calls no hooks
  SCRIPTED_NO_SESSION_FILE=1  keeps no ~/.claude/sessions/<pid>.json
  SCRIPTED_SIGNED_OUT=1       `auth status --json` says signed out
  SCRIPTED_LOG=FILE           appends what it was given as JSON lines, one object with `event`, `ts`, `pid`, `session`:
                              start (argv, cwd), dialog (name), dialog_answer (name, choice), enter (effect: submit,
                              queue, swallowed, line-break, empty, ignored), input (bytes of one read), prompt (text,
                              exactly as received; source: typed, queued, argument, own), brief (text, path: the file that
                              a prompt pointed at), interrupt, stop (message), exit (reason, status)

In a turn it reads the brief file that the prompt points at, appends `progress` and `summary` lines to
$KEELHAVEN_RUN_DIR/journal.jsonl, and writes the result file when prompt or brief ask for one. It starts no MCP servers: what
their tools would do it does itself.
"""

VERSION = "2.1.330"
