#include "App/Commands/PlainLines.h"

namespace Keelhaven {

QString plainLines(const QString &text)
{
    QString lines;
    lines.reserve(text.size() + 1);
    for (const QChar character : text) {
        if (character == u'\n' || character == u'\t' || character.category() != QChar::Other_Control)
            lines.append(character);
    }
    if (!lines.isEmpty() && !lines.endsWith(u'\n'))
        lines.append(u'\n');
    return lines;
}

} // namespace Keelhaven
