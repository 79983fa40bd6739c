#include "Setup/SetupRows.h"

namespace Keelhaven::SetupRows {

using namespace Qt::StringLiterals;

namespace {

QString readiness(bool isReady)
{
    return isReady ? u"ready"_s : u"notReady"_s;
}

} // namespace

QString silentShell(const QString &shell)
{
    return u"Your login shell %1 did not tell its PATH within 5 seconds, so tools that only this PATH leads "
           u"to "
           "are not found. Look at what its start-up files do: one may wait for something, end the shell or "
           "start another program."_s.arg(shell);
}

SetupRow claude(ClaudeState state)
{
    SetupRow row{.title = u"Claude Code"_s, .passed = state == ClaudeState::ready, .state = enumText(state)};
    switch (state) {
    case ClaudeState::unknown:
        row.detail = u"Checking"_s;
        break;
    case ClaudeState::missing:
        row.detail =
            u"Every agent Keelhaven runs is a Claude Code session. Paste this in Terminal to install "
            "it, then run `claude` once to sign in."_s;
        row.action = SetupAction::installClaude;
        row.actionTitle = u"Open Terminal"_s;
        row.command = claudeInstallCommand.toString();
        break;
    case ClaudeState::signedOut:
        row.detail = u"Installed, but not signed in. Run `claude` in Terminal and sign in with your Claude "
                     "account."_s;
        row.action = SetupAction::openTerminal;
        row.actionTitle = u"Open Terminal"_s;
        break;
    case ClaudeState::ready:
        row.detail = u"Installed and signed in."_s;
        break;
    }
    return row;
}

SetupRow python(bool isReady, const QString &installCommand)
{
    SetupRow row{.title = u"Python 3"_s, .passed = isReady, .state = readiness(isReady)};
    if (isReady) {
        row.detail = u"Found — the project analysis service runs on it."_s;
        return row;
    }
    row.detail =
        u"The project analysis service runs on Python 3. The system's developer tools include it and "
        "git."_s;
    row.action = SetupAction::installDeveloperTools;
    row.actionTitle = u"Install developer tools"_s;
    if (!installCommand.isEmpty())
        row.command = installCommand;
    return row;
}

SetupRow projectsFolder(const std::optional<QString> &folder, const std::optional<QString> &blocked)
{
    SetupRow row{.title = u"Projects folder"_s,
                 .passed = !blocked,
                 .state = readiness(!blocked),
                 .action = SetupAction::chooseFolder};
    row.actionTitle = row.passed ? u"Change…"_s : u"Choose folder…"_s;
    if (row.passed)
        row.detail = folder.value_or(QString());
    else if (folder)
        row.detail = *blocked;
    else
        row.detail =
            u"The folder your projects live in, like ~/Code or ~/Sites. Keelhaven's own sessions run "
            "there and new project folders go in it."_s;
    return row;
}

} // namespace Keelhaven::SetupRows
