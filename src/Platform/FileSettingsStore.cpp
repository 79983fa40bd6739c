#include "Platform/FileSettingsStore.h"

#include "Platform/Files.h"
#include "Platform/SystemLog.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QLockFile>
#include <sys/stat.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr int mostUnreadable = 9; ///< then the last one is replaced

QString unreadableName(const QString &path, int number)
{
    return path + u".unreadable"_s + (number > 1 ? QString::number(number) : QString());
}

std::optional<SettingValue> fromJson(const QJsonValue &json)
{
    switch (json.type()) {
    case QJsonValue::Bool:
        return SettingValue(json.toBool());
    case QJsonValue::Double: {
        const QVariant number = json.toVariant();
        if (number.typeId() == QMetaType::LongLong)
            return SettingValue(qint64(number.toLongLong()));
        return SettingValue(json.toDouble());
    }
    case QJsonValue::String:
        return SettingValue(json.toString());
    case QJsonValue::Object:
        if (const auto date = dateFromLooseISOText(json[u"date"].toString()))
            return SettingValue(*date);
        return std::nullopt;
    default:
        return std::nullopt;
    }
}

QJsonValue toJson(const SettingValue &value)
{
    return std::visit(
        [](const auto &v) -> QJsonValue {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, Date>)
                return QJsonObject{{u"date"_s, isoText(v)}};
            else
                return QJsonValue(v);
        },
        value);
}

} // namespace

bool SettingsStore::flagOr(const QString &key, bool fallback) const
{
    const auto found = value(key);
    const bool *flag = found ? std::get_if<bool>(&*found) : nullptr;
    return flag ? *flag : fallback;
}

qint64 SettingsStore::integerOr(const QString &key, qint64 fallback) const
{
    const auto found = value(key);
    const qint64 *number = found ? std::get_if<qint64>(&*found) : nullptr;
    return number ? *number : fallback;
}

double SettingsStore::realOr(const QString &key, double fallback) const
{
    const auto found = value(key);
    if (!found)
        return fallback;
    if (const double *number = std::get_if<double>(&*found))
        return *number;
    const qint64 *number = std::get_if<qint64>(&*found);
    return number ? static_cast<double>(*number) : fallback;
}

QString SettingsStore::text(const QString &key) const
{
    const auto found = value(key);
    const QString *text = found ? std::get_if<QString>(&*found) : nullptr;
    return text ? *text : QString();
}

std::optional<Date> SettingsStore::date(const QString &key) const
{
    const auto found = value(key);
    const Date *date = found ? std::get_if<Date>(&*found) : nullptr;
    return date ? std::optional(*date) : std::nullopt;
}

FileSettingsStore::FileSettingsStore(QString path)
    : m_path(std::move(path))
{}

FileSettingsStore::Stamp FileSettingsStore::stampOnDisk() const
{
    struct stat info = {};
    if (::stat(QFile::encodeName(m_path).constData(), &info) != 0)
        return {};
    return {qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec, qint64(info.st_size),
            quint64(info.st_ino)};
}

void FileSettingsStore::refresh() const
{
    const Stamp stamp = stampOnDisk();
    if (stamp == m_stamp)
        return;
    const bool isThere = stamp != Stamp();
    const auto bytes = isThere ? readFile(m_path) : QByteArray();
    // Neither a file that cannot be read now nor a torn one may switch every setting to its default.
    if (!bytes)
        return;
    m_stamp = stamp;
    const auto document = QJsonDocument::fromJson(*bytes);
    m_torn = document.isObject() || bytes->trimmed().isEmpty() ? QByteArray() : *bytes;
    if (document.isObject() || !isThere)
        m_values = document.object();
}

std::optional<SettingValue> FileSettingsStore::value(const QString &key) const
{
    const QMutexLocker lock(&m_mutex);
    refresh();
    const auto it = m_values.constFind(key);
    return it == m_values.constEnd() ? std::nullopt : fromJson(*it);
}

QStringList FileSettingsStore::keys() const
{
    const QMutexLocker lock(&m_mutex);
    refresh();
    return m_values.keys();
}

/// What a slip of the editor made unreadable is still the user's.
bool FileSettingsStore::keepTorn()
{
    if (m_torn.isEmpty())
        return true;
    QString copy = unreadableName(m_path, 1);
    for (int number = 2; QFileInfo::exists(copy) && number <= mostUnreadable; ++number)
        copy = unreadableName(m_path, number);
    if (const auto kept = writeFileAtomically(copy, m_torn); !kept) {
        systemLog(u"Keelhaven: settings not saved: %1"_s.arg(kept.error().message()));
        return false;
    }
    systemLog(u"Keelhaven: what stood in %1 is no JSON object; it is kept as %2"_s.arg(m_path, copy));
    m_torn.clear();
    return true;
}

std::optional<QString> FileSettingsStore::faultOf(const QString &path)
{
    if (!QFileInfo::exists(path))
        return std::nullopt;
    const auto bytes = readFile(path);
    if (!bytes)
        return bytes.error().message();
    return QJsonDocument::fromJson(*bytes).isObject() ? std::nullopt
                                                      : std::optional(u"%1 is no JSON object"_s.arg(path));
}

QStringList FileSettingsStore::unreadableOf(const QString &path)
{
    QStringList found;
    for (int number = 1; number <= mostUnreadable; ++number) {
        if (const QString copy = unreadableName(path, number); QFileInfo::exists(copy))
            found.append(copy);
    }
    return found;
}

bool FileSettingsStore::change(const std::function<void(QJsonObject &)> &edit)
{
    const QMutexLocker lock(&m_mutex);
    // Another process (the command line, a second user session) may write too: re-read under a lock file.
    [[maybe_unused]] const auto folder = makeFolder(QFileInfo(m_path).path());
    QLockFile fileLock(m_path + u".lock"_s);
    fileLock.tryLock(2000);
    refresh();
    QJsonObject values = m_values;
    edit(values);
    if (values == m_values && !m_isUnsaved)
        return true;
    m_values = values;
    m_isUnsaved = true;
    if (m_stamp != stampOnDisk()) {
        systemLog(u"Keelhaven: settings not saved: cannot read %1 first"_s.arg(m_path));
        return false;
    }
    if (!keepTorn())
        return false;
    const auto written = writeFileAtomically(m_path, QJsonDocument(values).toJson());
    if (!written)
        systemLog(u"Keelhaven: settings not saved: %1"_s.arg(written.error().message()));
    m_isUnsaved = !written;
    m_stamp = stampOnDisk();
    return !m_isUnsaved;
}

bool FileSettingsStore::set(const QString &key, const SettingValue &value)
{
    return change([&](QJsonObject &values) { values.insert(key, toJson(value)); });
}

bool FileSettingsStore::remove(const QString &key)
{
    return change([&](QJsonObject &values) { values.remove(key); });
}

} // namespace Keelhaven
