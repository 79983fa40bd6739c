#include "Scheduler/Usage/CodexUsageRequest.h"

#include "Contract/JSONValue.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using Kind = CodexUsageError::Kind;

namespace {

/// What a server may say before its answer. One that only chatters would keep the loop busy until the
/// time-out.
constexpr qsizetype receiveLimit = 1048576;

constexpr qint64 initializeID = 1;
constexpr qint64 rateLimitsID = 2;

const QByteArray initializeText =
    R"({"id":1,"method":"initialize","params":{"clientInfo":{"name":"keelhaven_usage","version":"1.0"}}})";
const QByteArray initializedText = R"({"method":"initialized"})";
const QByteArray rateLimitsText = R"({"id":2,"method":"account/rateLimits/read"})";

CodexUsageRequest::Answer unavailable()
{
    return failure(CodexUsageError{});
}

CodexUsageRequest::Answer systemError(const QString &detail)
{
    return failure(CodexUsageError{Kind::System, detail});
}

} // namespace

QString CodexUsageError::message() const
{
    switch (kind) {
    case Kind::Unavailable:
        return u"timed out or exited"_s;
    case Kind::Cancelled:
        return u"cancelled"_s;
    case Kind::System:
        break;
    }
    return detail;
}

CodexUsageRequest::CodexUsageRequest(ChildProcessFactory &children, Clock &clock, QString executableURL,
                                     QStringList arguments, Span timeoutDuration)
    : m_children(children)
    , m_clock(clock)
    , m_executableURL(std::move(executableURL))
    , m_arguments(std::move(arguments))
    , m_timeoutDuration(timeoutDuration)
{}

QCoro::Task<CodexUsageRequest::Answer> CodexUsageRequest::read(std::optional<QString> path,
                                                               std::stop_token stop)
{
    if (stop.stop_requested())
        co_return failure(CodexUsageError{Kind::Cancelled, {}});
    const auto answered = m_answer;
    launch(path);
    const std::stop_callback cancelled(stop,
                                       [this] { finish(failure(CodexUsageError{Kind::Cancelled, {}})); });
    auto answer = co_await answered;
    co_return answer;
}

void CodexUsageRequest::launch(const std::optional<QString> &path)
{
    ChildSpec spec;
    spec.program = m_executableURL;
    spec.arguments = m_arguments;
    spec.lineLimit = receiveLimit;
    if (path)
        spec.environment.insert(u"PATH"_s, *path);
    m_process = m_children.create(spec);
    m_process->onOutputLine = [this](const QByteArray &line) { receive(line); };
    m_process->onOutputClosed = [this] { finish(unavailable()); };
    m_process->onWriteFailed = [this](const ChildWriteError &error) { finish(systemError(error.message())); };
    m_process->onExit = [this](const ChildExit &exit) {
        finish(exit.kind == ChildExit::Kind::CannotStart ? systemError(exit.error) : unavailable());
    };
    m_process->start();
    send(initializeText);
    if (!m_answer.isResolved())
        m_timeout = m_clock.after(m_timeoutDuration, [this] { finish(unavailable()); });
}

void CodexUsageRequest::send(const QByteArray &text)
{
    const auto written = m_process->write(text + '\n');
    if (!written)
        finish(systemError(written.error().message()));
}

void CodexUsageRequest::receive(const QByteArray &line)
{
    m_received += line.size() + 1;
    if (m_received > receiveLimit)
        return finish(unavailable());
    const auto json = JSONValue::parse(line);
    const JSONValue *number = json ? (*json)[u"id"] : nullptr;
    const auto id = number ? number->intValue() : std::nullopt;
    if (!id)
        return;
    if ((*json)[u"error"])
        return finish(unavailable());
    if (*id == initializeID && !std::exchange(m_isInitialized, true)) {
        return send(initializedText + '\n' + rateLimitsText);
    }
    const JSONValue *result = (*json)[u"result"];
    if (*id == rateLimitsID && result && result->objectValue())
        finish(Reading{result->encoded()});
}

void CodexUsageRequest::finish(const Answer &answer)
{
    const auto answered = m_answer;
    if (answered.isResolved())
        return;
    m_timeout.reset();
    if (const auto process = std::move(m_process)) {
        process->closeInput();
        process->terminate();
    }
    answered.resolve(answer);
}

} // namespace Keelhaven
