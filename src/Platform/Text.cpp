#include "Platform/Text.h"

#include <QTextBoundaryFinder>

namespace Keelhaven {

namespace {

/// In UTF-16 units: more than twice what the longest emoji takes. Whoever stacks more marks on one letter
/// would have a few characters fill the memory.
constexpr qsizetype longestCharacter = 32;

/// A flag is a pair of regional indicators (U+1F1E6…1F1FF). Qt 6.4 breaks between the two.
bool isRegionalIndicator(const QString &text, qsizetype at)
{
    return at + 1 < text.size() && text[at].unicode() == 0xD83C && text[at + 1].unicode() >= 0xDDE6 &&
           text[at + 1].unicode() <= 0xDDFF;
}

} // namespace

QString firstCharacters(const QString &text, qsizetype count)
{
    if (text.size() <= count)
        return text;
    QString head = count < text.size() / longestCharacter ? text.first(count * longestCharacter) : text;
    if (!head.isEmpty() && head.back().isHighSurrogate())
        head.chop(1);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, head);
    qsizetype at = 0;
    for (qsizetype taken = 0; taken < count && at < head.size(); ++taken) {
        const bool flag = isRegionalIndicator(head, at) && isRegionalIndicator(head, at + 2);
        finder.setPosition(flag ? at + 2 : at);
        const qsizetype next = finder.toNextBoundary();
        at = next < 0 ? head.size() : next;
    }
    return head.first(at);
}

} // namespace Keelhaven
