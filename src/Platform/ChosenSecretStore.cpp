#include "Platform/ChosenSecretStore.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// The remembered place: whether it is the keyring. Nothing when none was chosen.
std::optional<bool> remembered(const SettingsStore &settings)
{
    const QString place = settings.text(ChosenSecretStore::placeKey.toString()).trimmed();
    if (place == ChosenSecretStore::keyringPlace)
        return true;
    return place == ChosenSecretStore::filePlace ? std::optional(false) : std::nullopt;
}

QCoro::Task<SecretStore *> choose(SettingsStore *settings, KeyringSecretStore *keyring, FileSecretStore *file)
{
    if (const auto isKeyring = remembered(*settings))
        co_return *isKeyring ? static_cast<SecretStore *>(keyring) : file;
    const auto obstacle = co_await keyring->obstacle();
    co_return obstacle ? static_cast<SecretStore *>(file) : keyring;
}

} // namespace

ChosenSecretStore::ChosenSecretStore(SettingsStore &settings, KeyringSecretStore &keyring,
                                     FileSecretStore &file)
    : m_settings(settings)
    , m_keyring(keyring)
    , m_file(file)
{}

QCoro::Task<Result<std::optional<QString>, SecretError>> ChosenSecretStore::read(QString service)
{
    SecretStore *store = co_await choose(&m_settings, &m_keyring, &m_file);
    const auto found = co_await store->read(service);
    co_return found;
}

QCoro::Task<Result<void, SecretError>> ChosenSecretStore::write(QString service, QString secret)
{
    auto &settings = m_settings;
    auto *const keyring = &m_keyring;
    SecretStore *store = co_await choose(&settings, keyring, &m_file);
    const auto kept = co_await store->write(service, secret);
    if (kept && !remembered(settings))
        settings.set(placeKey.toString(), (store == keyring ? keyringPlace : filePlace).toString());
    co_return kept;
}

QCoro::Task<Result<void, SecretError>> ChosenSecretStore::remove(QString service)
{
    SecretStore *store = co_await choose(&m_settings, &m_keyring, &m_file);
    const auto removed = co_await store->remove(service);
    co_return removed;
}

QCoro::Task<ChosenSecretStore::Place> ChosenSecretStore::place()
{
    const auto isKeyring = remembered(m_settings);
    Place found;
    found.isChosen = isKeyring.has_value();
    found.file = m_file.path();
    if (isKeyring.value_or(true))
        found.obstacle = co_await m_keyring.obstacle();
    found.isKeyring = isKeyring.value_or(!found.obstacle);
    if (!found.isKeyring)
        found.fileFault = m_file.obstacle();
    co_return found;
}

} // namespace Keelhaven
