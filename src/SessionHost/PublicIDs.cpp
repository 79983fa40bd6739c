#include "SessionHost/PublicIDs.h"

#include <algorithm>

namespace Keelhaven {

namespace {

char sigil(IDKind kind)
{
    switch (kind) {
    case IDKind::Workspace:
        return '$';
    case IDKind::Tab:
        return '@';
    case IDKind::Pane:
        return '%';
    }
    return '?';
}

} // namespace

QString publicID(IDKind kind, const QByteArray &tmuxID, const QByteArray &epoch)
{
    return QString::fromLatin1(static_cast<char>(kind) + epoch + '-' +
                               tmuxID.sliced(std::min<qsizetype>(1, tmuxID.size())));
}

std::optional<QByteArray> tmuxID(IDKind kind, const QString &id, const QByteArray &epoch)
{
    const QByteArray prefix = static_cast<char>(kind) + epoch + '-';
    const QByteArray text = id.toUtf8();
    if (epoch.isEmpty() || !text.startsWith(prefix))
        return std::nullopt;
    const QByteArray number = text.sliced(prefix.size());
    const bool isNumber =
        !number.isEmpty() && number.size() < 10 &&
        std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; });
    return isNumber ? std::optional(sigil(kind) + number) : std::nullopt;
}

} // namespace Keelhaven
