#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

namespace Keelhaven {

/// What an id names; the letter it begins with on the wire.
enum class IDKind : char { Workspace = 'w', Tab = 't', Pane = 'p' };

/// "p1a2b3c-7" for tmux's "%7" under the epoch "1a2b3c". tmux starts its numbers over with a new server, so
/// an id of before never names something of now.
[[nodiscard]] QString publicID(IDKind kind, const QByteArray &tmuxID, const QByteArray &epoch);

/// tmux's id, or nothing for text of another shape or another epoch.
[[nodiscard]] std::optional<QByteArray> tmuxID(IDKind kind, const QString &id, const QByteArray &epoch);

} // namespace Keelhaven
