#pragma once

#include <QStringList>

namespace Keelhaven {

/// `text` as one word of a POSIX shell or of fish, in single quotes. The place where words for a shell are
/// quoted; `doubleQuoted` is for the two texts whose form is fixed.
[[nodiscard]] QString shellQuoted(const QString &text);

/// The user's own login shell: $SHELL when it names one, else the account's, else /bin/sh. What only refuses
/// a login, as accounts of services have it, is none.
[[nodiscard]] QString userShell();

/// Has `shell` run `command` behind the user's start-up files.
[[nodiscard]] QStringList loginShellArguments(const QString &shell, const QString &command);

} // namespace Keelhaven
