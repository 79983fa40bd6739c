#pragma once

#include <QString>

namespace Keelhaven {

/// The first `count` user-perceived characters (grapheme clusters) of `text`; nothing is cut inside one.
[[nodiscard]] QString firstCharacters(const QString &text, qsizetype count);

} // namespace Keelhaven
