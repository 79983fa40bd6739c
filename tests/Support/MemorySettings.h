#pragma once

#include "Platform/SettingsStore.h"

#include <QMap>

namespace Keelhaven {

/// Settings that live in memory.
class MemorySettings : public SettingsStore
{
public:
    [[nodiscard]] std::optional<SettingValue> value(const QString &key) const override
    {
        const auto it = m_values.constFind(key);
        return it == m_values.constEnd() ? std::nullopt : std::optional(*it);
    }
    bool set(const QString &key, const SettingValue &value) override
    {
        m_values.insert(key, value);
        return true;
    }
    bool remove(const QString &key) override
    {
        m_values.remove(key);
        return true;
    }
    [[nodiscard]] QStringList keys() const override { return m_values.keys(); }

private:
    QMap<QString, SettingValue> m_values;
};

} // namespace Keelhaven
