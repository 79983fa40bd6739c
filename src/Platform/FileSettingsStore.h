#pragma once

#include "Platform/SettingsStore.h"

#include <QJsonObject>
#include <QMutex>

namespace Keelhaven {

/// SettingsStore in one JSON file, 0600, written atomically. Read again only when the file changed. Keys that
/// this version does not know survive a rewrite; a file that is no JSON object is kept beside it as ".bak". A
/// date is stored as {"date": "ISO-8601"}.
class FileSettingsStore : public SettingsStore
{
public:
    explicit FileSettingsStore(QString path);

    [[nodiscard]] std::optional<SettingValue> value(const QString &key) const override;
    bool set(const QString &key, const SettingValue &value) override;
    bool remove(const QString &key) override;
    [[nodiscard]] QStringList keys() const override;

private:
    struct Stamp
    {
        qint64 mtimeNanoseconds = -1;
        qint64 size = -1;
        quint64 inode = 0;
        bool operator==(const Stamp &) const = default;
    };

    [[nodiscard]] Stamp stampOnDisk() const;
    void refresh() const;
    bool change(const std::function<void(QJsonObject &)> &edit);

    QString m_path;
    mutable QMutex m_mutex;
    mutable Stamp m_stamp;
    mutable QJsonObject m_values;
    mutable QByteArray m_torn; ///< the file's content when it is no JSON object
    bool m_isUnsaved = false;  ///< the last change is in memory only
};

} // namespace Keelhaven
