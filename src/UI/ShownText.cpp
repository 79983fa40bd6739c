#include "UI/ShownText.h"

#include "Surfaces/Prose.h"

#include <QRegularExpression>
#include <QTextBoundaryFinder>

namespace Keelhaven::ShownText {

using namespace Qt::StringLiterals;

namespace {

constexpr char16_t ellipsis = u'…';

bool turnsDirection(QChar c)
{
    const auto code = c.unicode();
    return (code >= 0x202a && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
}

/// At most `limit` units, ended at a character's border.
QStringView cut(QStringView text, qsizetype limit)
{
    if (text.size() <= limit)
        return text;
    // Looking at a little more than the limit tells the same borders as looking at a text of megabytes.
    const QStringView head = text.first(std::min(text.size(), limit + 64));
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, head.data(), head.size());
    finder.setPosition(limit);
    const qsizetype border = finder.isAtBoundary() ? limit : finder.toPreviousBoundary();
    return text.first(border > 0 ? border : limit);
}

QString shown(QStringView text, qsizetype limit, bool keepsLines)
{
    const QStringView head = cut(text, limit);
    QString out;
    out.reserve(head.size() + 1);
    for (const QChar c : head) {
        const auto code = c.unicode();
        if (code == u'\n' || code == u'\t' || code == 0x2028 || code == 0x2029)
            out += keepsLines ? (code == u'\t' ? u'\t' : u'\n') : u' ';
        else if (code == u'\r' || turnsDirection(c))
            continue;
        else if (c.category() == QChar::Other_Control)
            // The usual fonts have no pictures of control characters, and would show a box of their own.
            out += QChar(QChar::ReplacementCharacter);
        else
            out += c;
    }
    if (head.size() < text.size())
        out += ellipsis;
    return out;
}

} // namespace

QString line(const QString &text, qsizetype limit)
{
    return shown(QStringView(text).trimmed(), limit, false);
}

QString paragraph(const QString &text, qsizetype limit)
{
    return shown(text, limit, true);
}

QString plain(const QString &markdown)
{
    static const QRegularExpression blockMark(u"^\\s*(#{1,6}|[-*+>]|\\d{1,3}[.)])\\s+"_s);
    return withoutMarkup(proseHTML(line(markdown).remove(blockMark)));
}

QString withoutMarkup(const QString &prose)
{
    static const QRegularExpression lineEnd(u"<br ?/?>"_s);
    static const QRegularExpression tag(u"<[^>]*>"_s);
    // In this markup every "<" that was written is escaped, so that what is left are tags of our own.
    QString text = prose;
    return text.replace(lineEnd, u"\n"_s)
        .remove(tag)
        .replace(u"&lt;"_s, u"<"_s)
        .replace(u"&gt;"_s, u">"_s)
        .replace(u"&quot;"_s, u"\""_s)
        .replace(u"&#39;"_s, u"'"_s)
        .replace(u"&nbsp;"_s, u" "_s)
        .replace(u"&amp;"_s, u"&"_s);
}

QString path(const QString &path, const QString &home)
{
    if (path == home)
        return QStringLiteral("~");
    if (!home.isEmpty() && path.startsWith(home + u'/'))
        return line(u'~' + path.mid(home.size()));
    return line(path);
}

} // namespace Keelhaven::ShownText
