#pragma once

#include "Contract/KeelhavenPaths.h"
#include "Platform/ProcessRunner.h"

#include <functional>
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

/// The desktop's part: `raise` brings a running terminal forward, `run` opens the script in one.
struct Terminal
{
    std::function<void()> raise;
    std::function<void(const QString &script)> run;
};

/// Raises the terminal when a client is attached, else attaches one. Does nothing without a binary.
[[nodiscard]] QCoro::Task<> open(HerdrLocator *locator, ProcessRunner *processes, KeelhavenPaths paths,
                                 Terminal terminal);

} // namespace HerdrExternalOpen

} // namespace Keelhaven
