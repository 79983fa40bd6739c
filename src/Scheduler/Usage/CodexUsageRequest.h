#pragma once

#include "Platform/ChildProcess.h"
#include "Platform/Clock.h"
#include "Platform/OneShot.h"

#include <QCoroTask>
#include <stop_token>

namespace Keelhaven {

/// Why a reading gave nothing.
struct CodexUsageError
{
    enum class Kind {
        Unavailable, ///< no answer in time, an error for an answer, or the end of the server
        Cancelled,   ///< the caller wanted no more
        System,      ///< the server could not be started or written to
    };

    Kind kind = Kind::Unavailable;
    QString detail; ///< what the system said

    [[nodiscard]] QString message() const;
    bool operator==(const CodexUsageError &) const = default;
};

/// One reading: starts an app server, asks it for the rate limits over its standard streams, one line of JSON
/// a message, and ends it. Main loop only; factory and clock outlive it, and it outlives its read().
class CodexUsageRequest
{
public:
    /// The answer's `result` object as JSON. (Bare bytes in the Result would not compile: a task of it
    /// compares its handle with everything that a QByteArray compares with.)
    struct Reading
    {
        QByteArray result;
    };
    using Answer = Result<Reading, CodexUsageError>;

    CodexUsageRequest(ChildProcessFactory &children, Clock &clock, QString executableURL,
                      QStringList arguments, Span timeoutDuration);

    /// Asks. `path` replaces the child's PATH when it is given. Once
    /// only.
    [[nodiscard]] QCoro::Task<Answer> read(std::optional<QString> path, std::stop_token stop = {});

private:
    void launch(const std::optional<QString> &path);
    void send(const QByteArray &text);
    void receive(const QByteArray &line);
    /// The first one counts. Resumes the caller, who may destroy this object.
    void finish(const Answer &answer);

    ChildProcessFactory &m_children;
    Clock &m_clock;
    QString m_executableURL;
    QStringList m_arguments;
    Span m_timeoutDuration;
    std::unique_ptr<ChildProcess> m_process;
    Timer m_timeout;
    qsizetype m_received = 0; ///< bytes so far
    bool m_isInitialized = false;
    OneShot<Answer> m_answer;
};

} // namespace Keelhaven
