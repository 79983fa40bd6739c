#pragma once

#include <QString>

namespace Keelhaven {

/// Lines as they were, less what would drive the terminal: screens and messages come from sessions. Ends with
/// a line end unless it is empty.
[[nodiscard]] QString plainLines(const QString &text);

} // namespace Keelhaven
