#pragma once

#include <QString>

namespace Keelhaven {

/// How many suggestions a prompt field asks for.
inline constexpr qsizetype promptSuggestionLimit = 10;

/// One line of the list under a prompt field.
struct PromptSuggestion
{
    QString insertion; ///< put in the place of the token
    QString label;     ///< shown
    QString detail;    ///< shown beside it: where a command comes from, "dir" or "file"

    [[nodiscard]] const QString &id() const { return insertion; }
    bool operator==(const PromptSuggestion &) const = default;
};

} // namespace Keelhaven
