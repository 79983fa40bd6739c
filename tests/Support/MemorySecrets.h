#pragma once

#include "Platform/SecretStore.h"

#include <QMap>

namespace Keelhaven {

/// Secrets that live in memory; can be made to fail.
class MemorySecrets : public SecretStore
{
public:
    QMap<QString, QString> secrets;
    std::optional<SecretError> failing;
    int reads = 0;

    [[nodiscard]] QCoro::Task<Result<std::optional<QString>, SecretError>> read(QString service) override
    {
        ++reads;
        if (failing)
            co_return failure(SecretError(*failing));
        co_return secrets.contains(service) ? std::optional(secrets.value(service)) : std::nullopt;
    }
    [[nodiscard]] QCoro::Task<Result<void, SecretError>> write(QString service, QString secret) override
    {
        if (failing)
            co_return failure(SecretError(*failing));
        secrets.insert(service, secret);
        co_return {};
    }
    [[nodiscard]] QCoro::Task<Result<void, SecretError>> remove(QString service) override
    {
        if (failing)
            co_return failure(SecretError(*failing));
        secrets.remove(service);
        co_return {};
    }
};

} // namespace Keelhaven
