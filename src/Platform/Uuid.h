#pragma once

#include <QString>
#include <QUuid>
#include <optional>

namespace Keelhaven {

/// Canonical text of a UUID as it leaves the process: upper case, with dashes, without braces.
[[nodiscard]] QString uuidText(const QUuid &id);

/// Reads exactly the 36-character form, either case. Nothing for anything else, so the result is safe in a
/// path.
[[nodiscard]] std::optional<QUuid> uuidFromText(QStringView text);

/// Eight lower-case hexadecimal characters of a new UUID: the short ids of ships, questions and tasks.
[[nodiscard]] QString newShortID();

} // namespace Keelhaven
