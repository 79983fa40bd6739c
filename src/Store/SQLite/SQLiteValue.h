#pragma once

#include "Platform/Moments.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUuid>
#include <optional>
#include <variant>

namespace Keelhaven {

/// One value that goes into a statement or comes out of a row. The static constructors turn the application's
/// types into the forms that every table uses: moments are seconds since 1970, booleans 0 or 1, UUIDs
/// upper-case text.
class SQLiteValue
{
public:
    /// In the order of the variant's alternatives.
    enum class Kind { Int, Double, Text, Blob, Null };

    SQLiteValue() = default;

    [[nodiscard]] static SQLiteValue int_(qint64 value) { return SQLiteValue(Storage(value)); }
    [[nodiscard]] static SQLiteValue double_(double value) { return SQLiteValue(Storage(value)); }
    [[nodiscard]] static SQLiteValue text(const QString &value) { return utf8Text(value.toUtf8()); }
    /// Text that is UTF-8 already, as JSON payloads are.
    [[nodiscard]] static SQLiteValue utf8Text(QByteArray utf8)
    {
        return SQLiteValue(Storage(Text{std::move(utf8)}));
    }
    [[nodiscard]] static SQLiteValue blob(QByteArray bytes) { return SQLiteValue(Storage(std::move(bytes))); }
    [[nodiscard]] static SQLiteValue null() { return {}; }

    [[nodiscard]] static SQLiteValue optText(const std::optional<QString> &value);
    [[nodiscard]] static SQLiteValue optInt(std::optional<qint64> value);
    [[nodiscard]] static SQLiteValue optDouble(std::optional<double> value);
    [[nodiscard]] static SQLiteValue date(Date value);
    [[nodiscard]] static SQLiteValue optDate(std::optional<Date> value);
    [[nodiscard]] static SQLiteValue bool_(bool value) { return int_(value ? 1 : 0); }
    [[nodiscard]] static SQLiteValue uuid(const QUuid &value);
    [[nodiscard]] static SQLiteValue optUUID(const std::optional<QUuid> &value);

    [[nodiscard]] Kind kind() const { return static_cast<Kind>(m_storage.index()); }

    /// The stored value, null unless it is of exactly that kind. Text comes as UTF-8.
    [[nodiscard]] const qint64 *intCase() const { return std::get_if<qint64>(&m_storage); }
    [[nodiscard]] const double *doubleCase() const { return std::get_if<double>(&m_storage); }
    [[nodiscard]] const QByteArray *textCase() const;
    [[nodiscard]] const QByteArray *blobCase() const { return std::get_if<QByteArray>(&m_storage); }

    bool operator==(const SQLiteValue &) const = default;

private:
    struct Text
    {
        QByteArray utf8;
        bool operator==(const Text &) const = default;
    };
    using Storage = std::variant<qint64, double, Text, QByteArray, std::monostate>;

    explicit SQLiteValue(Storage storage)
        : m_storage(std::move(storage))
    {}

    Storage m_storage = std::monostate();
};

/// The values of a statement's parameters 1, 2, …
using SQLiteParameters = QList<SQLiteValue>;

} // namespace Keelhaven
