#pragma once

#include <QByteArray>
#include <QStringList>
#include <optional>

/// How a command is run in the user's login shell, and how its answer is found in what the shell prints. The
/// start-up files of that shell may print anything, leave jobs behind, print more on the way out, or end in
/// another program altogether.
namespace Keelhaven::LoginShell {

/// The arguments with which `shell`, a program's path, carries out its login files and then `command`, which
/// is a line for /bin/sh. The shell makes way for /bin/sh, so that none of its own aliases, traps and logout
/// files have a say, and each shell understands the line.
[[nodiscard]] QStringList arguments(const QString &shell, const QString &command);

/// What `command` printed, trimmed, invalid UTF-8 repaired. Nothing when the shell never came to it or did
/// not get to its end.
[[nodiscard]] std::optional<QString> answer(const QByteArray &output);

/// `answer` as a shell prints it; for stand-ins of one.
[[nodiscard]] QByteArray framed(const QByteArray &answer);

} // namespace Keelhaven::LoginShell
