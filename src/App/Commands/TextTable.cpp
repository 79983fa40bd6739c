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

} // namespace

QString oneLine(const QString &text)
{
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
    return toQDateTime(moment).toTimeZone(calendar.zone()).toString(u"yyyy-MM-dd HH:mm"_s);
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
    for (const auto &row : m_rows) {
        QString line;
        for (qsizetype i = 0; i < last; ++i)
            line += cut(row[i], widestCell).leftJustified(widths[i] + gap);
        line += row[last];
        text += (columns > 0 ? cut(line, columns) : line) + u'\n';
    }
    return text;
}

} // namespace Keelhaven
