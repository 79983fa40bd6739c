#pragma once

#include "Platform/Calendar.h"

#include <QList>
#include <QStringList>

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

    void addRow(const QStringList &cells);
    [[nodiscard]] bool isEmpty() const { return m_rows.size() == 1; }

    /// The rows as lines. Where `columns` is above 0, lines are cut to it.
    [[nodiscard]] QString text(int columns) const;

private:
    QList<QStringList> m_rows;
};

} // namespace Keelhaven
