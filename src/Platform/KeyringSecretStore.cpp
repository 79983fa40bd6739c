#include "Platform/KeyringSecretStore.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto answerLimit = 120s; ///< the user may have to find the keyring's password
constexpr auto lookLimit = 10s;

/// What the helper says: an object that holds no "error", or the reason.
Result<QJsonObject, SecretError> answerOf(const ProcessResult &result)
{
    if (result.kind == ProcessResult::Kind::CannotStart)
        return failure(SecretError{u"the program that speaks to the keyring cannot be started"_s});
    if (result.kind == ProcessResult::Kind::TimedOut)
        return failure(SecretError{u"the keyring does not answer"_s});
    const auto document = QJsonDocument::fromJson(result.output);
    if (!result.succeeded() || !document.isObject())
        return failure(SecretError{u"the program that speaks to the keyring failed"_s});
    const QJsonObject answer = document.object();
    if (const QString error = answer[u"error"].toString(); !error.isEmpty())
        return failure(SecretError{error});
    return answer;
}

/// One question to the helper: everything goes through its standard input, nothing through its arguments.
QCoro::Task<Result<QJsonObject, SecretError>> ask(ProcessRunner *processes, QString program,
                                                  QJsonObject question, std::chrono::milliseconds limit)
{
    if (program.isEmpty())
        co_return failure(SecretError{u"this build cannot speak to a keyring"_s});
    ProcessSpec spec;
    spec.program = program;
    spec.input = QJsonDocument(question).toJson(QJsonDocument::Compact);
    spec.timeout = limit;
    const ProcessResult result = co_await processes->run(spec);
    co_return answerOf(result);
}

} // namespace

KeyringSecretStore::KeyringSecretStore(ProcessRunner &processes, QString program)
    : m_processes(processes)
    , m_program(std::move(program))
{}

QCoro::Task<std::optional<SecretError>> KeyringSecretStore::obstacle()
{
    const QJsonObject question{{u"do"_s, u"look"_s}};
    const auto answer = co_await ask(&m_processes, m_program, question, lookLimit);
    co_return answer ? std::nullopt : std::optional(answer.error());
}

QCoro::Task<Result<std::optional<QString>, SecretError>> KeyringSecretStore::read(QString service)
{
    const QJsonObject question{{u"do"_s, u"read"_s}, {u"service"_s, service}};
    const auto answer = co_await ask(&m_processes, m_program, question, answerLimit);
    if (!answer)
        co_return failure(answer.error());
    const QJsonValue secret = (*answer)[u"secret"];
    co_return secret.isString() ? std::optional(secret.toString()) : std::nullopt;
}

QCoro::Task<Result<void, SecretError>> KeyringSecretStore::write(QString service, QString secret)
{
    const QJsonObject question{{u"do"_s, u"write"_s}, {u"service"_s, service}, {u"secret"_s, secret}};
    const auto answer = co_await ask(&m_processes, m_program, question, answerLimit);
    if (!answer)
        co_return failure(answer.error());
    co_return {};
}

QCoro::Task<Result<void, SecretError>> KeyringSecretStore::remove(QString service)
{
    const QJsonObject question{{u"do"_s, u"remove"_s}, {u"service"_s, service}};
    const auto answer = co_await ask(&m_processes, m_program, question, answerLimit);
    if (!answer)
        co_return failure(answer.error());
    co_return {};
}

} // namespace Keelhaven
