#pragma once

#include <QString>

namespace Keelhaven {

/// `path` in double quotes as one word of a POSIX shell; what is special inside them is escaped.
[[nodiscard]] inline QString doubleQuoted(const QString &path)
{
    QString quoted(u'"');
    for (const QChar character : path) {
        if (QStringView(u"\\\"$`").contains(character))
            quoted += u'\\';
        quoted += character;
    }
    return quoted + u'"';
}

} // namespace Keelhaven
