#include "Platform/KeychainStore.h"

#include <QHash>
#include <QMutex>
#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

/// Shared with operations under way, so that one which outlives the store object finds it.
class KeychainStore::Cache
{
public:
    [[nodiscard]] std::optional<std::optional<QString>> find(const QString &service) const
    {
        const QMutexLocker lock(&m_mutex);
        const auto entry = m_entries.constFind(service);
        return entry == m_entries.constEnd() ? std::nullopt : std::make_optional(*entry);
    }

    void insert(const QString &service, const std::optional<QString> &secret)
    {
        const QMutexLocker lock(&m_mutex);
        m_entries.insert(service, secret);
        ++m_changes;
    }

    void forget(const QString &service)
    {
        const QMutexLocker lock(&m_mutex);
        m_entries.remove(service);
        ++m_changes;
    }

    void forgetAll()
    {
        const QMutexLocker lock(&m_mutex);
        m_entries.clear();
        ++m_changes;
    }

    [[nodiscard]] quint64 changes() const
    {
        const QMutexLocker lock(&m_mutex);
        return m_changes;
    }

    /// Keeps what was read, unless something was set or deleted while the store was being asked.
    void insertRead(const QString &service, const std::optional<QString> &secret, quint64 changesBefore)
    {
        const QMutexLocker lock(&m_mutex);
        if (m_changes == changesBefore)
            m_entries.insert(service, secret);
    }

private:
    mutable QMutex m_mutex;
    QHash<QString, std::optional<QString>> m_entries;
    quint64 m_changes = 0;
};

namespace {

bool isNameCharacter(QChar character)
{
    return (character >= u'a' && character <= u'z') || (character >= u'A' && character <= u'Z') ||
           (character >= u'0' && character <= u'9') || character == u'.' || character == u'-' ||
           character == u'_';
}

SecretError badName()
{
    return {u"a service is named by letters, digits, dots and dashes"_s};
}

} // namespace

KeychainStore::KeychainStore(SecretStore &store)
    : m_store(store)
    , m_cache(std::make_shared<Cache>())
{}

bool KeychainStore::isServiceName(QStringView name)
{
    constexpr qsizetype longest = 128;
    return !name.isEmpty() && name.size() <= longest && std::ranges::all_of(name, isNameCharacter) &&
           QStringView(u".-_").indexOf(name.front()) < 0;
}

QCoro::Task<std::optional<QString>> KeychainStore::get(QString service)
{
    if (const auto known = m_cache->find(service))
        co_return std::optional<QString>(*known);
    const auto found = co_await read(service);
    co_return found ? std::optional<QString>(*found) : std::nullopt;
}

QCoro::Task<Result<std::optional<QString>, SecretError>> KeychainStore::read(QString service)
{
    if (!isServiceName(service))
        co_return failure(badName());
    const auto cache = m_cache;
    const quint64 changesBefore = cache->changes();
    const auto found = co_await m_store.read(service);
    if (found)
        cache->insertRead(service, *found, changesBefore);
    co_return found;
}

QCoro::Task<Result<void, SecretError>> KeychainStore::set(QString secret, QString service)
{
    if (!isServiceName(service))
        co_return failure(badName());
    const auto cache = m_cache;
    const auto kept = co_await m_store.write(service, secret);
    if (kept)
        cache->insert(service, secret);
    else
        cache->forget(service);
    co_return kept;
}

QCoro::Task<Result<void, SecretError>> KeychainStore::delete_(QString service)
{
    if (!isServiceName(service))
        co_return failure(badName());
    const auto cache = m_cache;
    const auto removed = co_await m_store.remove(service);
    cache->forget(service);
    co_return removed;
}

void KeychainStore::forgetAll()
{
    m_cache->forgetAll();
}

std::optional<std::optional<QString>> KeychainStore::cached(const QString &service) const
{
    return m_cache->find(service);
}

} // namespace Keelhaven
