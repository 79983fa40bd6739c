#include "App/Commands/TextTable.h"

#include "Platform/Text.h"

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
    return dayAndMinute(wall.day, wall.hour, wall.minute);
}

TextTable::TextTable(QStringList headings)
    : m_rows({std::move(headings)})
{}

void TextTable::addRow(const QStringList &cells)
{
    QStringList row;
    for (const QString &cell : cells)
        row.append(cell.isEmpty() ? u"-"_s : oneLine(cell));
    m_rows.append(row);
}

QString TextTable::text(int columns) const
{
    const qsizetype last = m_rows.first().size() - 1;
    QList<qsizetype> widths(last, 0);
    for (const auto &row : m_rows) {
        for (qsizetype i = 0; i < last; ++i)
            widths[i] = std::max(widths[i], cut(row[i], widestCell).size());
    }
    QString text;
    QString line;
    for (const auto &row : m_rows) {
        line.clear();
        qsizetype end = 0;
        for (qsizetype i = 0; i < last; ++i) {
            line += cut(row[i], widestCell);
            end += widths[i] + gap;
            line.resize(std::max(end, line.size()), u' ');
        }
        line += row[last];
        text += columns > 0 ? cut(line, columns) : line;
        text += u'\n';
    }
    return text;
}

} // namespace Keelhaven
