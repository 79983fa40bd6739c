#pragma once

#include "Setup/ClaudeState.h"

namespace Keelhaven {

/// What a row of the checklist offers to do about its state.
enum class SetupAction {
    none,
    installClaude,         ///< copy the row's command, and open a terminal to paste it into
    openTerminal,          ///< a terminal, nothing more
    installDeveloperTools, ///< let the system's package manager ask
    chooseFolder           ///< one folder, which may be made on the spot, for the run directory
};

template <>
struct EnumTexts<SetupAction>
{
    static constexpr std::array<std::u16string_view, 5> texts{u"none", u"installClaude", u"openTerminal",
                                                              u"installDeveloperTools", u"chooseFolder"};
};

/// One row of the checklist, ready to be shown.
struct SetupRow
{
    QString title = {};
    bool passed = false; ///< a tick, else an empty circle
    QString state = {};  ///< a ClaudeState's name, or "ready" and "notReady"
    QString detail = {};
    SetupAction action = SetupAction::none;
    QString actionTitle = {};            ///< of its button; empty for none
    std::optional<QString> command = {}; ///< what is to be typed in a terminal, where that is the action

    bool operator==(const SetupRow &) const = default;
};

template <>
struct RecordTable<SetupRow>
{
    static auto fields()
    {
        using R = SetupRow;
        return std::tuple{
            defaulted(u"title", &R::title),   defaulted(u"passed", &R::passed),
            defaulted(u"state", &R::state),   defaulted(u"detail", &R::detail),
            defaulted(u"action", &R::action), defaulted(u"actionTitle", &R::actionTitle).omitDefault(),
            optional(u"command", &R::command)};
    }
};

/// The words of the checklist.
namespace SetupRows {

inline constexpr QStringView title = u"Set up Keelhaven";
inline constexpr QStringView subtitle = u"Three things this Mac needs before Keelhaven can run your agents.";
inline constexpr QStringView checkAgain = u"Check again";
inline constexpr QStringView checking = u"Checking…"; ///< in place of "Check again" while a check runs
inline constexpr QStringView skip = u"Skip for now";
inline constexpr QStringView copy = u"Copy";
inline constexpr QStringView copied = u"Copied"; ///< in place of "Copy" once pressed
inline constexpr QStringView choose = u"Choose"; ///< the folder chooser's prompt
/// The vendor's installer of Claude Code for a terminal.
inline constexpr QStringView claudeInstallCommand = u"curl -fsSL https://claude.ai/install.sh | bash";

[[nodiscard]] SetupRow claude(ClaudeState state);
/// Stands beside the rows where the login shell `shell` may be to blame: what seems missing may long be
/// installed.
[[nodiscard]] QString silentShell(const QString &shell);

/// `installCommand` is what a person types to have it installed; empty when it is not known.
[[nodiscard]] SetupRow python(bool isReady, const QString &installCommand);
/// `folder` is the configured run directory, `blocked` why it cannot be used.
[[nodiscard]] SetupRow projectsFolder(const std::optional<QString> &folder,
                                      const std::optional<QString> &blocked);

} // namespace SetupRows

} // namespace Keelhaven
