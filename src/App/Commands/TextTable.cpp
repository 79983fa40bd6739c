#include "App/Commands/TextTable.h"

#include "Platform/Text.h"

#include <algorithm>
#include <numeric>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr int gap = 2;
constexpr int widestCell = 48; ///< of all columns but the last

QString cut(const QString &text, int width)
{
    return text.size() <= width ? text : firstCharacters(text, width - 1) + u'…';
}

/// What nearly every cell is: ASCII words with single blanks between them.
bool isPlainLine(const QString &text)
{
    char16_t before = u' ';
    for (const QChar character : text) {
        const char16_t unit = character.unicode();
        if (unit < u' ' || unit > u'~' || (unit == u' ' && before == u' '))
            return false;
        before = unit;
    }
    return before != u' ';
}

} // namespace

QString oneLine(const QString &text)
{
    if (isPlainLine(text))
        return text;
    QString line;
    line.reserve(text.size());
    for (const QChar character : text) {
        const auto category = character.category();
        const bool breaksLines = category == QChar::Other_Control || category == QChar::Separator_Line ||
                                 category == QChar::Separator_Paragraph;
        if (category == QChar::Other_Format &&
            character != QChar(0x200d)) // joiners make emoji; the others reorder text
            continue;
        line.append(breaksLines ? u' ' : character);
    }
    return line.simplified();
}

QString localTime(Date moment, const Calendar &calendar)
{
    const auto wall = calendar.wallTime(moment);
    return QLatin1StringView(QByteArrayView(dayAndMinute(wall.day, wall.hour, wall.minute)));
}

TextTable::TextTable(QStringList headings)
    : m_columns(headings.size())
    , m_cells(std::move(headings))
{}

void TextTable::addRow(std::initializer_list<QString> cells)
{
    Q_ASSERT(qsizetype(cells.size()) == m_columns);
    for (const QString &cell : cells) {
        const bool isLast = m_cells.size() % m_columns == m_columns - 1;
        const QString line = cell.isEmpty() ? u"-"_s : oneLine(cell);
        m_cells.append(isLast ? line : cut(line, widestCell));
    }
}

QString TextTable::text(int columns) const
{
    const qsizetype last = m_columns - 1;
    QList<qsizetype> ends(last, 0); // widths first, then where the column behind begins
    for (qsizetype i = 0; i < m_cells.size(); ++i) {
        const qsizetype column = i % m_columns;
        if (column < last)
            ends[column] = std::max(ends[column], m_cells[i].size() + gap);
    }
    std::partial_sum(ends.begin(), ends.end(), ends.begin());

    QString text;
    QString line;
    for (qsizetype i = 0; i < m_cells.size(); i += m_columns) {
        line.resize(0);
        for (qsizetype column = 0; column < last; ++column) {
            line += m_cells[i + column];
            line.resize(ends[column], u' ');
        }
        line += m_cells[i + last];
        text += columns > 0 ? cut(line, columns) : line;
        text += u'\n';
    }
    return text;
}

} // namespace Keelhaven
