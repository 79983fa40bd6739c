#pragma once

#include "Platform/Calendar.h"

#include <QList>
#include <QStringList>
#include <initializer_list>

namespace Keelhaven {

/// `text` fit for one line of a terminal: names and messages come from files and models, and a control
/// character in one could drive the terminal.
[[nodiscard]] QString oneLine(const QString &text);

/// "2026-03-04 09:30" in the calendar's zone.
[[nodiscard]] QString localTime(Date moment, const Calendar &calendar);

/// Columns side by side under their headings.
class TextTable
{
public:
    explicit TextTable(QStringList headings);

    /// One cell for each heading; an empty one is shown as a dash.
    void addRow(std::initializer_list<QString> cells);
    [[nodiscard]] bool isEmpty() const { return m_cells.size() == m_columns; }

    /// The rows as lines. Where `columns` is above 0, lines are cut to it.
    [[nodiscard]] QString text(int columns) const;

private:
    qsizetype m_columns;
    QStringList m_cells; ///< row by row, the headings first
};

} // namespace Keelhaven
