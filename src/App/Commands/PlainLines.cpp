#include "App/Commands/PlainLines.h"

namespace Keelhaven {

namespace {

bool drivesTerminal(QChar character)
{
    switch (character.category()) {
    case QChar::Other_Control:
        return character != u'\n' && character != u'\t';
    case QChar::Other_Format:
        return character != QChar(0x200d); // joiners make emoji; the others reorder text
    default:
        return false;
    }
}

} // namespace

QString plainLines(const QString &text)
{
    QString lines = text;
    lines.removeIf(drivesTerminal);
    if (!lines.isEmpty() && !lines.endsWith(u'\n'))
        lines.append(u'\n');
    return lines;
}

} // namespace Keelhaven
