#include "Surfaces/Prose.h"

#include <QUrl>
#include <algorithm>
#include <array>
#include <optional>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// Nested deeper than this, marks are shown as they stand.
constexpr int deepest = 8;

struct Mark
{
    QStringView delimiter;
    QStringView tag;
    bool atWordEdges; ///< snake_case names are no emphasis
};

constexpr std::array<Mark, 5> marks{{{u"**", u"b", false},
                                     {u"__", u"b", true},
                                     {u"~~", u"s", false},
                                     {u"*", u"i", false},
                                     {u"_", u"i", true}}};

bool isSpaceAt(QStringView text, qsizetype at)
{
    return at < 0 || at >= text.size() || text[at].isSpace();
}

bool isWordAt(QStringView text, qsizetype at)
{
    return at >= 0 && at < text.size() && text[at].isLetterOrNumber();
}

bool isLinkTarget(const QString &target)
{
    const QString scheme = QUrl(target).scheme();
    return scheme == u"http" || scheme == u"https" || scheme == u"mailto" || scheme == u"file";
}

/// One stretch of text, rendered from left to right. A mark whose end was once not found is not looked for
/// again, so that a text full of openings costs no more than any other.
class Stretch
{
public:
    Stretch(QStringView text, int depth, QString &out)
        : m_text(text)
        , m_depth(depth)
        , m_out(out)
    {}

    void render()
    {
        while (m_at < m_text.size()) {
            if (!escape() && !code() && !link() && !emphasis())
                put(m_text[m_at++]);
        }
    }

private:
    void put(QChar c)
    {
        switch (c.unicode()) {
        case u'<':
            m_out += u"&lt;";
            break;
        case u'>':
            m_out += u"&gt;";
            break;
        case u'&':
            m_out += u"&amp;";
            break;
        case u'"':
            m_out += u"&quot;";
            break;
        case u'\n':
            m_out += u"<br>";
            break;
        default:
            m_out += c;
        }
    }

    void putAll(QStringView text)
    {
        for (const QChar c : text)
            put(c);
    }

    bool escape()
    {
        constexpr QStringView escapable = u"\\`*_~[]()#+-.!<>|{}";
        if (m_text[m_at] != u'\\' || m_at + 1 >= m_text.size() || !escapable.contains(m_text[m_at + 1]))
            return false;
        put(m_text[m_at + 1]);
        m_at += 2;
        return true;
    }

    bool code()
    {
        if (m_text[m_at] != u'`')
            return false;
        const auto runEnd = [&](qsizetype from) {
            while (from < m_text.size() && m_text[from] == u'`')
                ++from;
            return from;
        };
        const qsizetype start = runEnd(m_at);
        const qsizetype length = start - m_at;
        if (length != m_openCode) { // an opening of this length is known to have no end
            for (qsizetype close = m_text.indexOf(u'`', start); close >= 0;) {
                const qsizetype end = runEnd(close);
                if (end - close == length) {
                    m_out += u"<code>";
                    putAll(m_text.sliced(start, close - start));
                    m_out += u"</code>";
                    m_at = end;
                    return true;
                }
                close = m_text.indexOf(u'`', end);
            }
            m_openCode = length;
        }
        putAll(m_text.sliced(m_at, length));
        m_at = start;
        return true;
    }

    bool link()
    {
        if (m_text[m_at] != u'[')
            return false;
        // Between the brackets of a link stands no other bracket.
        const auto upTo = [&](QChar end, QChar other, qsizetype from) -> qsizetype {
            for (qsizetype i = from; i < m_text.size() && m_text[i] != other && m_text[i] != u'\n'; ++i) {
                if (m_text[i] == end)
                    return i;
            }
            return -1;
        };
        const qsizetype label = upTo(u']', u'[', m_at + 1);
        if (label < 0 || label + 1 >= m_text.size() || m_text[label + 1] != u'(')
            return false;
        const qsizetype end = upTo(u')', u'(', label + 2);
        if (end < 0)
            return false;
        const QString target = m_text.sliced(label + 2, end - label - 2).trimmed().toString();
        if (!isLinkTarget(target))
            return false;
        m_out += u"<a href=\"";
        putAll(target);
        m_out += u"\">";
        Stretch(m_text.sliced(m_at + 1, label - m_at - 1), m_depth + 1, m_out).render();
        m_out += u"</a>";
        m_at = end + 1;
        return true;
    }

    bool emphasis()
    {
        if (m_depth >= deepest)
            return false;
        for (size_t i = 0; i < marks.size(); ++i) {
            const Mark &mark = marks[i];
            const qsizetype start = m_at + mark.delimiter.size();
            if (m_isOpen[i] || !m_text.sliced(m_at).startsWith(mark.delimiter) || isSpaceAt(m_text, start) ||
                (mark.atWordEdges && isWordAt(m_text, m_at - 1)))
                continue;
            const auto close = closing(mark, start);
            if (!close) {
                m_isOpen[i] = true;
                continue;
            }
            m_out += u'<' + mark.tag.toString() + u'>';
            Stretch(m_text.sliced(start, *close - start), m_depth + 1, m_out).render();
            m_out += u"</"_s + mark.tag.toString() + u'>';
            m_at = *close + mark.delimiter.size();
            return true;
        }
        return false;
    }

    [[nodiscard]] std::optional<qsizetype> closing(const Mark &mark, qsizetype from) const
    {
        const QChar c = mark.delimiter.front();
        const qsizetype width = mark.delimiter.size();
        for (qsizetype at = from + 1; at < m_text.size();) {
            if (m_text[at] != c) {
                ++at;
                continue;
            }
            qsizetype end = at;
            while (end < m_text.size() && m_text[end] == c)
                ++end;
            // A run of another length belongs to another mark; a longer odd one also closes a nested one.
            const qsizetype length = end - at;
            const bool fits = width == 1 ? length % 2 == 1 : length >= 2;
            if (fits && !isSpaceAt(m_text, at - 1) && !(mark.atWordEdges && isWordAt(m_text, end)))
                return end - width;
            at = end;
        }
        return std::nullopt;
    }

    QStringView m_text;
    int m_depth;
    QString &m_out;
    qsizetype m_at = 0;
    qsizetype m_openCode = 0;
    std::array<bool, marks.size()> m_isOpen{};
};

} // namespace

QString proseHTML(const QString &markdown)
{
    QString out;
    out.reserve(markdown.size() + markdown.size() / 8);
    Stretch(markdown, 0, out).render();
    return out;
}

} // namespace Keelhaven
