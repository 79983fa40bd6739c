#pragma once

#include "Platform/Files.h"

#include <QUuid>
#include <optional>

/// The terminal output kept of each run, "{runsDir}/{run id}.txt", alike for both run stores.
namespace Keelhaven::Scrollback {

/// How many runs are loaded into the history; what lies past them loses its scrollback.
inline constexpr qsizetype historyLimit = 200;

[[nodiscard]] QString file(const QString &runsDir, const QUuid &id);
[[nodiscard]] Result<void, FileError> save(const QString &runsDir, const QUuid &id, const QString &text);
/// Nothing when it cannot be read.
[[nodiscard]] std::optional<QString> load(const QString &runsDir, const QUuid &id);
/// Errors are ignored: a file that is gone is what was wanted, and one that stays costs only space.
void remove(const QString &runsDir, const QUuid &id);

} // namespace Keelhaven::Scrollback
