#pragma once

#include "Platform/SecretStore.h"

#include <memory>

namespace Keelhaven {

/// Text secrets by service name, "com.keelhaven.telegram-bot", with what was read kept in a cache: absence,
/// too, so that a service without a secret is asked for once. Main loop, but for cached().
class KeychainStore
{
public:
    /// Longest secret, in bytes of UTF-8.
    static constexpr qsizetype longestSecret = 16 * 1024;

    /// `store` outlives it and every operation under way.
    explicit KeychainStore(SecretStore &store);

    /// From 1 to 128 letters, digits, dots, dashes and underscores, the first a letter or digit.
    [[nodiscard]] static bool isServiceName(QStringView name);

    /// The cache, else what the store holds. A store that does not answer gives nothing and is asked again
    /// the next time.
    [[nodiscard]] QCoro::Task<std::optional<QString>> get(QString service);
    /// The same, past the cache, with the reason when the store does not answer.
    [[nodiscard]] QCoro::Task<Result<std::optional<QString>, SecretError>> read(QString service);
    [[nodiscard]] QCoro::Task<Result<void, SecretError>> set(QString secret, QString service);
    [[nodiscard]] QCoro::Task<Result<void, SecretError>> delete_(QString service);

    /// Asks the store again for everything: secrets are kept in another place now.
    void forgetAll();

    /// What is known without asking the store: the outer optional is empty when nothing is. From any thread.
    [[nodiscard]] std::optional<std::optional<QString>> cached(const QString &service) const;

private:
    class Cache;

    SecretStore &m_store;
    std::shared_ptr<Cache> m_cache;
};

} // namespace Keelhaven
