#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

namespace Keelhaven {

/// One command line of tmux's control mode, without the line feed. Every word is quoted, so it arrives as it
/// stands: nothing is split, expanded or cut, line feeds and a trailing ";" included. NUL cannot be carried.
[[nodiscard]] QByteArray tmuxLine(const QByteArrayList &words);

/// `text` so that tmux, which expands some arguments as formats, gives back the same text.
[[nodiscard]] QByteArray tmuxLiteral(const QString &text);

/// A name that tmux takes for a session or window as it stands: no control characters, "." or ":", cut to 60.
[[nodiscard]] QString tmuxName(const QString &label);

} // namespace Keelhaven
