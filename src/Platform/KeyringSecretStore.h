#pragma once

#include "Platform/ProcessRunner.h"
#include "Platform/SecretStore.h"

namespace Keelhaven {

/// Secrets in the session's keyring: the Secret Service, or KWallet on a Plasma desktop. Each operation is
/// one run of a small program of its own, so the libraries of a keyring take no memory here, and neither a
/// keyring that hangs nor one that crashes does any harm.
class KeyringSecretStore : public SecretStore
{
public:
    /// `program` is the installed "keelhaven-secrets", empty when this build carries none. `processes`
    /// outlives the store and every operation under way.
    KeyringSecretStore(ProcessRunner &processes, QString program);

    /// Why no keyring can be used; nothing when one answers. Unlocks nothing and asks the user nothing.
    [[nodiscard]] QCoro::Task<std::optional<SecretError>> obstacle();

    [[nodiscard]] QCoro::Task<Result<std::optional<QString>, SecretError>> read(QString service) override;
    [[nodiscard]] QCoro::Task<Result<void, SecretError>> write(QString service, QString secret) override;
    [[nodiscard]] QCoro::Task<Result<void, SecretError>> remove(QString service) override;

private:
    ProcessRunner &m_processes;
    QString m_program;
};

} // namespace Keelhaven
