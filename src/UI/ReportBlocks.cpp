#include "UI/ReportBlocks.h"

#include "Surfaces/Prose.h"
#include "UI/ShownText.h"

#include <QRegularExpression>

namespace Keelhaven::ReportBlocks {

using namespace Qt::StringLiterals;

namespace {

using Kind = ReportBlock::Kind;

constexpr int deepestItem = 5;

bool isRule(QStringView content)
{
    return content.size() >= 3 && u"-*_"_s.contains(content.front()) &&
           std::ranges::all_of(content, [&](QChar c) { return c == content.front(); });
}

/// Gathers lines into blocks.
class Reader
{
public:
    QList<ReportBlock> read(const QString &text)
    {
        for (const QStringView line : QStringView(text).split(u'\n')) {
            if (m_blocks.size() >= countLimit)
                break;
            take(line);
        }
        flush();
        return std::move(m_blocks);
    }

private:
    void take(QStringView line)
    {
        const QStringView content = line.trimmed();
        if (!m_fence.isEmpty()) {
            takeCode(line, content);
        } else if (content.startsWith(u"```") || content.startsWith(u"~~~")) {
            flush();
            m_fence = content.first(3).toString();
        } else if (content.isEmpty()) {
            flush();
        } else if (isRule(content)) {
            flush();
            m_blocks.append({Kind::Rule, 0, {}, {}});
        } else if (!takeHeading(content) && !takeItem(line)) {
            takeText(content);
        }
    }

    void takeCode(QStringView line, QStringView content)
    {
        if (content.startsWith(m_fence)) {
            flush();
            m_fence.clear();
        } else {
            gather(line);
        }
    }

    bool takeHeading(QStringView content)
    {
        qsizetype level = 0;
        while (level < content.size() && content[level] == u'#')
            ++level;
        if (level == 0 || level > 6 || level >= content.size() || content[level] != u' ')
            return false;
        flush();
        begin(Kind::Heading, static_cast<int>(level), {}, content.sliced(level).trimmed());
        flush();
        return true;
    }

    bool takeItem(QStringView line)
    {
        static const QRegularExpression item(u"^([ \\t]{0,24})([-*+•]|\\d{1,4}[.)])[ \\t]+(\\S.*)$"_s);
        const auto match = item.match(line.first(std::min(line.size(), blockLimit)).toString());
        if (!match.hasMatch())
            return false;
        flush();
        const QString sign = match.captured(2);
        const QString indent = match.captured(1).replace(u'\t', u"    "_s);
        begin(Kind::Item, std::min<int>(deepestItem, static_cast<int>(indent.size()) / 2),
              sign.front().isDigit() ? sign.chopped(1) + u'.' : u"•"_s, match.capturedView(3));
        return true;
    }

    void takeText(QStringView content)
    {
        const bool isQuote = content.front() == u'>';
        const QStringView text = isQuote ? content.sliced(1).trimmed() : content;
        const Kind kind = isQuote ? Kind::Quote : Kind::Paragraph;
        // A line goes on with the paragraph, item or quote above it.
        if (m_open && (m_open->kind == kind || (!isQuote && m_open->kind == Kind::Item))) {
            gather(text);
            return;
        }
        flush();
        begin(kind, 0, {}, text);
    }

    void begin(Kind kind, int level, const QString &marker, QStringView text)
    {
        m_open = ReportBlock{kind, level, marker, {}};
        m_gathered = text.toString();
    }

    void gather(QStringView line)
    {
        if (m_gathered.size() >= blockLimit)
            return;
        if (!m_gathered.isEmpty())
            m_gathered += u'\n';
        m_gathered += line;
    }

    void flush()
    {
        if (!m_fence.isEmpty())
            m_open = ReportBlock{Kind::Code, 0, {}, {}};
        if (m_open) {
            const QString text = ShownText::paragraph(m_gathered, blockLimit);
            m_open->text = m_open->kind == Kind::Code ? text : proseHTML(text);
            m_blocks.append(*std::exchange(m_open, std::nullopt));
        }
        m_gathered.clear();
    }

    QList<ReportBlock> m_blocks;
    std::optional<ReportBlock> m_open;
    QString m_gathered;
    QString m_fence; ///< of the code that is open
};

QString kindText(Kind kind)
{
    switch (kind) {
    case Kind::Paragraph:
        return u"paragraph"_s;
    case Kind::Heading:
        return u"heading"_s;
    case Kind::Item:
        return u"item"_s;
    case Kind::Quote:
        return u"quote"_s;
    case Kind::Code:
        return u"code"_s;
    case Kind::Rule:
        return u"rule"_s;
    }
    return {};
}

} // namespace

QList<ReportBlock> read(const QString &markdown)
{
    return Reader().read(ShownText::paragraph(markdown, textLimit));
}

QVariantList toVariants(const QList<ReportBlock> &blocks)
{
    QVariantList list;
    for (const ReportBlock &block : blocks) {
        const QString words =
            block.kind == ReportBlock::Kind::Code ? block.text : ShownText::withoutMarkup(block.text);
        list.append(QVariantMap{{u"spoken"_s, block.marker.isEmpty() ? words : block.marker + u' ' + words},
                                {u"kind"_s, kindText(block.kind)},
                                {u"level"_s, block.level},
                                {u"marker"_s, block.marker},
                                {u"text"_s, block.text}});
    }
    return list;
}

} // namespace Keelhaven::ReportBlocks
