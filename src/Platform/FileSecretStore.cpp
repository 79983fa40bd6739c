#include "Platform/FileSecretStore.h"

#include "Platform/Files.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

Result<QJsonObject, SecretError> load(const QString &path)
{
    if (!QFileInfo::exists(path))
        return QJsonObject();
    // A copy or a backup may have opened it to others.
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    const auto bytes = readFile(path);
    if (!bytes)
        return failure(SecretError{bytes.error().message()});
    const auto document = QJsonDocument::fromJson(*bytes);
    if (!document.isObject())
        return failure(SecretError{u"%1 is no JSON object"_s.arg(path)});
    return document.object();
}

Result<void, SecretError> save(const QString &path, const QJsonObject &secrets)
{
    const auto written = writeFileAtomically(path, QJsonDocument(secrets).toJson());
    if (!written)
        return failure(SecretError{written.error().message()});
    return {};
}

} // namespace

FileSecretStore::FileSecretStore(QString path)
    : m_path(std::move(path))
{}

std::optional<SecretError> FileSecretStore::obstacle() const
{
    const auto secrets = load(m_path);
    return secrets ? std::nullopt : std::optional(secrets.error());
}

QCoro::Task<Result<std::optional<QString>, SecretError>> FileSecretStore::read(QString service)
{
    const auto secrets = load(m_path);
    if (!secrets)
        co_return failure(secrets.error());
    const QJsonValue secret = secrets->value(service);
    co_return secret.isString() ? std::optional(secret.toString()) : std::nullopt;
}

QCoro::Task<Result<void, SecretError>> FileSecretStore::write(QString service, QString secret)
{
    auto secrets = load(m_path);
    if (!secrets)
        co_return failure(secrets.error());
    secrets->insert(service, secret);
    co_return save(m_path, *secrets);
}

QCoro::Task<Result<void, SecretError>> FileSecretStore::remove(QString service)
{
    auto secrets = load(m_path);
    if (!secrets)
        co_return failure(secrets.error());
    if (!secrets->contains(service))
        co_return {};
    secrets->remove(service);
    co_return save(m_path, *secrets);
}

} // namespace Keelhaven
