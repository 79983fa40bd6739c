#pragma once

#include <QList>
#include <QString>
#include <QVariant>

namespace Keelhaven {

/// One piece of an agent's report, ready to be laid out.
struct ReportBlock
{
    enum class Kind { Paragraph, Heading, Item, Quote, Code, Rule };

    Kind kind = Kind::Paragraph;
    int level = 0;  ///< of a heading, from 1; of an item, how deep it lies, from 0
    QString marker; ///< of an item: "•", "3."
    QString text;   ///< of code plain text; of all others rich text as proseHTML makes it

    bool operator==(const ReportBlock &) const = default;
};

/// Takes a report apart into headings, paragraphs, list items, quotes, fenced code and rules; what stands
/// inside a line is proseHTML's matter. Never fails, and gives a bounded result for a text of any length.
namespace ReportBlocks {

inline constexpr qsizetype textLimit = 60'000; ///< UTF-16 units read; the rest is left out
inline constexpr qsizetype blockLimit = 8'000; ///< of one block
inline constexpr qsizetype countLimit = 400;

[[nodiscard]] QList<ReportBlock> read(const QString &markdown);

/// As QML takes them: objects with "kind" ("paragraph", "heading", "item", "quote", "code", "rule"), "level",
/// "marker" and "text", and "spoken": all of it as a screen reader says it.
[[nodiscard]] QVariantList toVariants(const QList<ReportBlock> &blocks);

} // namespace ReportBlocks

} // namespace Keelhaven
