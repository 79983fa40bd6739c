#pragma once

#include "App/CommandLine.h"

/// The manual page, made from the command table and a hand-written frame.
namespace Keelhaven::InstallManPage {

/// `frame` with the commands in the place of "@COMMANDS@" and `version` in that of "@VERSION@".
[[nodiscard]] QByteArray page(const QByteArray &frame, std::span<const CommandSpec> table,
                              const QString &version);

/// `text` as the formatter prints it: nothing in it is taken as a request.
[[nodiscard]] QString escaped(const QString &text);

} // namespace Keelhaven::InstallManPage
