#pragma once

#include <QString>

namespace Keelhaven {

/// `text` as one word of a POSIX shell, in single quotes. The one place where shell quoting happens.
[[nodiscard]] QString shellQuoted(const QString &text);

/// The user's own login shell: $SHELL when it names an executable, else the account's, else /bin/sh.
[[nodiscard]] QString userShell();

} // namespace Keelhaven
