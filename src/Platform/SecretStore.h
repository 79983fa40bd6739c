#pragma once

#include "Platform/Result.h"

#include <QCoroTask>
#include <QString>
#include <optional>

namespace Keelhaven {

/// Why a secret could not be read or kept. The text never holds a secret.
struct SecretError
{
    QString text;
    [[nodiscard]] QString message() const { return text; }
    bool operator==(const SecretError &) const = default;
};

/// Where text secrets are kept, by service name. On the main loop; an operation may take as long as the user
/// needs to unlock a keyring.
class SecretStore
{
public:
    virtual ~SecretStore() = default;

    /// Nothing when the service has no secret; an error when nobody could say.
    [[nodiscard]] virtual QCoro::Task<Result<std::optional<QString>, SecretError>> read(QString service) = 0;
    /// Adds the secret or replaces it.
    [[nodiscard]] virtual QCoro::Task<Result<void, SecretError>> write(QString service, QString secret) = 0;
    /// A secret that is not there counts as removed.
    [[nodiscard]] virtual QCoro::Task<Result<void, SecretError>> remove(QString service) = 0;
};

} // namespace Keelhaven
