#pragma once

#include "Platform/Moments.h"

#include <QString>
#include <QStringList>
#include <optional>
#include <variant>

namespace Keelhaven {

/// One value of the flat key-value store of the user's settings.
using SettingValue = std::variant<bool, qint64, double, QString, Date>;

/// The user's settings: one flat store, the source of truth at each read. Nothing is cached by readers. It
/// holds no secret. Usable from any thread.
class SettingsStore
{
public:
    virtual ~SettingsStore() = default;

    /// The stored value, or nothing when the key was never written.
    [[nodiscard]] virtual std::optional<SettingValue> value(const QString &key) const = 0;
    /// Both give false when the change could not be stored. It holds for this process all the same, and the
    /// next change that can be stored takes it along.
    virtual bool set(const QString &key, const SettingValue &value) = 0;
    virtual bool remove(const QString &key) = 0;
    [[nodiscard]] virtual QStringList keys() const = 0;

    /// False when the key is absent or of another type.
    [[nodiscard]] bool flag(const QString &key) const { return flagOr(key, false); }

    /// These give `fallback` when the key is absent or of another type. An integer reader takes integers
    /// only, a real reader takes both.
    [[nodiscard]] bool flagOr(const QString &key, bool fallback) const;
    [[nodiscard]] qint64 integerOr(const QString &key, qint64 fallback) const;
    [[nodiscard]] double realOr(const QString &key, double fallback) const;

    /// Text as stored; empty when absent or of another type.
    [[nodiscard]] QString text(const QString &key) const;
    /// Nothing when absent or no date.
    [[nodiscard]] std::optional<Date> date(const QString &key) const;
};

} // namespace Keelhaven
