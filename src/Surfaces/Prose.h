#pragma once

#include <QString>

namespace Keelhaven {

/// An agent's message as rich text: inline Markdown only (strong, emphasis, strike-through, code, links),
/// line ends kept. Everything else is shown as it stands, so nothing in it can load a picture or change the
/// page; links are kept for http, https, mailto and file only.
[[nodiscard]] QString proseHTML(const QString &markdown);

} // namespace Keelhaven
