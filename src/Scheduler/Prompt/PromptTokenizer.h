#pragma once

#include <QString>
#include <optional>

namespace Keelhaven {

/// What the caret of a prompt field stands on. Positions are in UTF-16 units, as text fields count them.
struct PromptToken
{
    enum class Kind { SlashCommand, Path };

    Kind kind = Kind::Path;
    QString partial; ///< of a command what stands behind the "/", of a path all of it
    qsizetype start = 0;
    qsizetype length = 0; ///< of the whole token up to the caret, the "/" included
    bool operator==(const PromptToken &) const = default;
};

/// Finds commands and paths in a prompt. Pure functions.
namespace PromptTokenizer {

/// The token that ends at `caret`; what stands behind the caret plays no part. A command exists only at the
/// very start of the text.
[[nodiscard]] std::optional<PromptToken> activeToken(const QString &text, qsizetype caret);

/// The command that a text begins with.
struct LeadingCommand
{
    QString name;            ///< may be empty
    bool terminated = false; ///< something follows: the user has moved past the name
    bool operator==(const LeadingCommand &) const = default;
};

[[nodiscard]] std::optional<LeadingCommand> leadingSlashCommand(const QString &text);

/// The name of the command that a text begins with; nothing for an empty one.
[[nodiscard]] std::optional<QString> commandName(const QString &text);

} // namespace PromptTokenizer

} // namespace Keelhaven
