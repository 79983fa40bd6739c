#pragma once

#include <QString>

namespace Keelhaven {

/// `text` as one word of a POSIX shell or of fish, in single quotes. The place where words for a shell are
/// quoted; `doubleQuoted` is for the two texts whose form is fixed.
[[nodiscard]] QString shellQuoted(const QString &text);

/// The user's own login shell: $SHELL when it names an executable, else the account's, else /bin/sh.
[[nodiscard]] QString userShell();

} // namespace Keelhaven
