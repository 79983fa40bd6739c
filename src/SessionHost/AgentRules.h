#pragma once

#include "Herdr/Wire/HerdrRecords.h"

#include <QByteArrayList>
#include <QRegularExpression>

namespace Keelhaven {

/// The agent command lines that the host can run.
enum class AgentKind { Claude, Codex };

/// What a look at an agent's screen tells.
struct ScreenReading
{
    Herdr::Status status = Herdr::Status::Unknown;
    /// The input box or a dialog shows: the launch is over.
    bool hasArrived = false;
    /// The input box shows and takes a prompt.
    bool takesInput = false;
    bool operator==(const ScreenReading &) const = default;
};

/// One line of a kind's table: when `pattern` matches somewhere in `region`, the reading stands.
struct ScreenRule
{
    enum class Region {
        Title,    ///< the window title
        Box,      ///< an input box is on the screen; the pattern is matched against its first line
        AboveBox, ///< the last lines of text above the input box
        BelowBox, ///< the lines under the input box
        Bottom,   ///< no input box: the last lines of text on the screen
    };

    Region region;
    QRegularExpression pattern;
    ScreenReading reading;
};

/// What the host knows of one kind. The screens of two releases differ, so the patterns match loosely, and a
/// dialog is looked for only where the input box would be: the conversation above may quote one.
struct AgentKindRules
{
    QString name;            ///< on the wire, and the program's name on the PATH
    QStringList leading;     ///< arguments that go before those of the caller
    QString installHint;     ///< where the program lies when it is not on the PATH, below the home folder
    QList<ScreenRule> rules; ///< first match counts
};

[[nodiscard]] const AgentKindRules &rulesOf(AgentKind kind);
[[nodiscard]] std::optional<AgentKind> agentKindNamed(QStringView name);

/// Judges the visible screen and the window title; `unknown` when no rule matches.
[[nodiscard]] ScreenReading readScreen(AgentKind kind, const QString &screen, const QString &title);

/// The reading when the title alone settles it, so that the screen need not be fetched.
[[nodiscard]] std::optional<ScreenReading> readTitle(AgentKind kind, const QString &title);

/// The kind whose program this command line runs, directly or through an interpreter ("python3 /x/claude").
[[nodiscard]] std::optional<AgentKind> agentKindOf(const QByteArrayList &arguments);

} // namespace Keelhaven
