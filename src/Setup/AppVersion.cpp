#include "Setup/AppVersion.h"

#include <QStringList>
#include <algorithm>

namespace Keelhaven {

std::optional<AppVersion> AppVersion::parse(const QString &text)
{
    QString numbers = text.trimmed();
    if (numbers.startsWith(u'v'))
        numbers.remove(0, 1);
    if (numbers.isEmpty())
        return std::nullopt;
    AppVersion version;
    for (const QString &piece : numbers.split(u'.')) {
        bool isNumber = false;
        // The conversion forgives blanks around a number, a version does not.
        const qint64 number = piece.toLongLong(&isNumber);
        const bool hasBlank = std::ranges::any_of(piece, [](QChar character) { return character.isSpace(); });
        if (!isNumber || hasBlank || number < 0)
            return std::nullopt;
        version.components.append(number);
    }
    return version;
}

QString AppVersion::text() const
{
    QStringList numbers;
    for (const qint64 number : components)
        numbers.append(QString::number(number));
    return numbers.join(u'.');
}

std::strong_ordering operator<=>(const AppVersion &left, const AppVersion &right)
{
    const qsizetype size = std::max(left.components.size(), right.components.size());
    for (qsizetype i = 0; i < size; ++i) {
        const auto order = left.components.value(i, 0) <=> right.components.value(i, 0);
        if (order != 0)
            return order;
    }
    return std::strong_ordering::equal;
}

} // namespace Keelhaven
