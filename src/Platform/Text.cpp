#include "Platform/Text.h"

#include <QTextBoundaryFinder>

namespace Keelhaven {

namespace {

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
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype at = 0;
    for (qsizetype taken = 0; taken < count && at < text.size(); ++taken) {
        const bool flag = isRegionalIndicator(text, at) && isRegionalIndicator(text, at + 2);
        finder.setPosition(flag ? at + 2 : at);
        const qsizetype next = finder.toNextBoundary();
        at = next < 0 ? text.size() : next;
    }
    return text.first(at);
}

} // namespace Keelhaven
