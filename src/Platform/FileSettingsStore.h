#pragma once

#include "Platform/SettingsStore.h"

#include <QJsonObject>
#include <QMutex>

namespace Keelhaven {

/// SettingsStore in one JSON file, 0600, written atomically. Read again only when the file changed. Keys that
/// this version does not know survive a rewrite; before a file that is no JSON object is replaced it is kept
/// beside it as ".unreadable", the next one as ".unreadable2". A date is stored as {"date": "ISO-8601"}.
class FileSettingsStore : public SettingsStore
{
public:
    explicit FileSettingsStore(QString path);

    [[nodiscard]] std::optional<SettingValue> value(const QString &key) const override;
    bool set(const QString &key, const SettingValue &value) override;
    bool remove(const QString &key) override;
    [[nodiscard]] QStringList keys() const override;

    /// Why nothing that stands in the file can be read; nothing also for a file that is not there.
    [[nodiscard]] static std::optional<QString> faultOf(const QString &path);
    /// The files beside `path` that keep what could not be read.
    [[nodiscard]] static QStringList unreadableOf(const QString &path);

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
    [[nodiscard]] bool keepTorn();

    QString m_path;
    mutable QMutex m_mutex;
    mutable Stamp m_stamp;
    mutable QJsonObject m_values;
    mutable QByteArray m_torn; ///< the file's content when it is no JSON object; nothing for a blank one
    bool m_isUnsaved = false;  ///< the last change is in memory only
};

} // namespace Keelhaven
