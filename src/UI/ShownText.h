#pragma once

#include <QString>

/// Makes text that came from an agent, a chat or a file fit to be shown: as text, bounded, and unable to
/// disturb what stands beside it.
namespace Keelhaven::ShownText {

/// Longest line that a row or a heading takes, in UTF-16 units.
inline constexpr qsizetype lineLimit = 400;
/// Longest text that a paragraph takes.
inline constexpr qsizetype paragraphLimit = 8'000;

/// On one line: line ends and tabs become blanks, other control characters their symbols, marks that turn
/// the writing direction are dropped. A text beyond `limit` ends in "…".
[[nodiscard]] QString line(const QString &text, qsizetype limit = lineLimit);

/// Likewise, with line ends and tabs kept.
[[nodiscard]] QString paragraph(const QString &text, qsizetype limit = paragraphLimit);

/// One line of Markdown without its marks.
[[nodiscard]] QString plain(const QString &markdown);

/// What proseHTML made, as the text that one reads.
[[nodiscard]] QString withoutMarkup(const QString &prose);

/// The path with the home folder as "~", on one line.
[[nodiscard]] QString path(const QString &path, const QString &home);

} // namespace Keelhaven::ShownText
