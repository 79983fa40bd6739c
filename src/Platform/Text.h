#pragma once

#include <QString>

namespace Keelhaven {

/// The first `count` user-perceived characters (grapheme clusters) of `text`; nothing is cut inside one, but
/// for text whose characters come to more than 32 UTF-16 units each.
[[nodiscard]] QString firstCharacters(const QString &text, qsizetype count);

} // namespace Keelhaven
