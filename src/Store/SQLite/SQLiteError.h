#pragma once

#include <QString>
#include <optional>

namespace Keelhaven {

/// A failed database call, as the engine told it.
struct SQLiteError
{
    qint32 code = 0;            ///< SQLite result code
    QString text;               ///< the engine's words
    std::optional<QString> sql; ///< the statement, where one was involved

    /// "sqlite {code}: {text}", and with a statement " — " and its first 120 characters.
    [[nodiscard]] QString message() const;

    bool operator==(const SQLiteError &) const = default;
};

} // namespace Keelhaven
