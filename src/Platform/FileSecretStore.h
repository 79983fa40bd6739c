#pragma once

#include "Platform/SecretStore.h"

namespace Keelhaven {

/// Secrets in one JSON file that only the user can read, for machines without a keyring. A file that is not
/// what this wrote is never replaced.
class FileSecretStore : public SecretStore
{
public:
    explicit FileSecretStore(QString path);

    [[nodiscard]] QCoro::Task<Result<std::optional<QString>, SecretError>> read(QString service) override;
    [[nodiscard]] QCoro::Task<Result<void, SecretError>> write(QString service, QString secret) override;
    [[nodiscard]] QCoro::Task<Result<void, SecretError>> remove(QString service) override;

    /// Why the file cannot be used; nothing also for one that is not there yet.
    [[nodiscard]] std::optional<SecretError> obstacle() const;
    [[nodiscard]] const QString &path() const { return m_path; }

private:
    QString m_path;
};

} // namespace Keelhaven
