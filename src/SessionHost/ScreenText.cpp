#include "SessionHost/ScreenText.h"

#include <QStringList>

namespace Keelhaven {

Herdr::PaneRead::Payload screenPayload(const QByteArray &capture, std::optional<int> limit, bool hasMore)
{
    QStringList lines = QString::fromUtf8(capture).split(u'\n');
    for (QString &line : lines) {
        qsizetype end = line.size();
        while (end > 0 && (line[end - 1] == u' ' || line[end - 1] == u'\r'))
            --end;
        line.truncate(end);
    }
    while (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    const bool isCut = limit && lines.size() > *limit;
    if (isCut)
        lines = lines.last(*limit);
    return {lines.join(u'\n'), isCut || hasMore};
}

} // namespace Keelhaven
