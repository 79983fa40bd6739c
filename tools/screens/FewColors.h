#pragma once

#include <QImage>

namespace Keelhaven {

/// The picture with a palette of at most 256 colours, for a file a third as large. Flat surfaces keep their
/// exact colour; only shades of letters' edges move, by as little as the count of them asks for.
[[nodiscard]] QImage withFewColors(const QImage &image);

} // namespace Keelhaven
