#pragma once

#include "Contract/KeelhavenPaths.h"
#include "Platform/Desktop.h"
#include "Platform/ProcessRunner.h"

#include <optional>

namespace Keelhaven {

class HerdrLocator;

/// Brings the user to the managed session in a terminal of their own.
namespace HerdrExternalOpen {

/// Whether a line of `ps -axo command=` is a client attached with this binary.
[[nodiscard]] bool hasAttachedClient(const QString &processList, const QString &binary);

/// Asks the machine. A `ps` that fails counts as no client.
[[nodiscard]] QCoro::Task<bool> hasAttachedClient(ProcessRunner *processes, QString binary);

/// The shell script that attaches.
[[nodiscard]] QString attachScript(const QString &binary);

/// Writes the script anew, executable; nothing when it cannot be written.
[[nodiscard]] std::optional<QString> writeAttachScript(const KeelhavenPaths &paths, const QString &binary);

/// What came of opening. Where no terminal can be opened, the user can run attachCommand() in one.
enum class Outcome { Opened, AlreadyAttached, NoBinary, NoScript, NoTerminal };

/// Attaches a terminal to the session, unless one is attached already: that one shows whatever the host
/// brings forward. No desktop lets a program raise another one's window.
[[nodiscard]] QCoro::Task<Outcome> open(HerdrLocator *locator, ProcessRunner *processes, KeelhavenPaths paths,
                                        Desktop *desktop);

/// The shell line that attaches, for a person to copy.
[[nodiscard]] QString attachCommand(const QString &binary);

} // namespace HerdrExternalOpen

} // namespace Keelhaven
