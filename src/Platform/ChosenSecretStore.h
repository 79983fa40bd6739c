#pragma once

#include "Platform/FileSecretStore.h"
#include "Platform/KeyringSecretStore.h"
#include "Platform/SettingsStore.h"

namespace Keelhaven {

/// The keyring, or the file on a machine without one. The place is chosen when the first secret is kept and
/// remembered in the settings, so that a keyring which is away for a while never splits the secrets over two
/// places: as long as it is away, they cannot be read.
class ChosenSecretStore : public SecretStore
{
public:
    static constexpr QStringView placeKey = u"secretStore"; ///< the setting: one of the two below
    static constexpr QStringView keyringPlace = u"secret-service";
    static constexpr QStringView filePlace = u"file";

    /// All outlive the store and every operation under way.
    ChosenSecretStore(SettingsStore &settings, KeyringSecretStore &keyring, FileSecretStore &file);

    /// Reading before anything was kept looks into the keyring where there is one, else the file.
    [[nodiscard]] QCoro::Task<Result<std::optional<QString>, SecretError>> read(QString service) override;
    [[nodiscard]] QCoro::Task<Result<void, SecretError>> write(QString service, QString secret) override;
    [[nodiscard]] QCoro::Task<Result<void, SecretError>> remove(QString service) override;

    /// For `doctor`: where secrets are, or would go.
    struct Place
    {
        bool isChosen = false;
        bool isKeyring = false;
        QString file;
        std::optional<SecretError> obstacle;  ///< why the keyring cannot be used
        std::optional<SecretError> fileFault; ///< why the file cannot; looked for where it is the place
    };
    [[nodiscard]] QCoro::Task<Place> place();

private:
    SettingsStore &m_settings;
    KeyringSecretStore &m_keyring;
    FileSecretStore &m_file;
};

} // namespace Keelhaven
