#include "Platform/QtProcessRunner.h"

#include "Platform/OneShot.h"
#include "Platform/ProcessLaunch.h"

#include <QProcess>
#include <QTimer>
#include <csignal>
#include <unistd.h>

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

/// One child with its output and its race between end and time-out. Deletes itself when the process is gone;
/// the runner's end takes the process with it.
class Child : public QObject
{
public:
    Child(const ProcessSpec &spec, const QString &program, QObject *runner)
        : QObject(runner)
        , m_limit(spec.outputLimit)
    {
        m_process.setProcessEnvironment(ProcessLaunch::environment(spec.environment));
        if (!spec.workingDirectory.isEmpty())
            m_process.setWorkingDirectory(spec.workingDirectory);
        m_process.setProcessChannelMode(spec.errors == ProcessSpec::Errors::Merge
                                            ? QProcess::MergedChannels
                                            : QProcess::SeparateChannels);
        if (spec.errors == ProcessSpec::Errors::Discard)
            m_process.setStandardErrorFile(QProcess::nullDevice());
        if (spec.input.isEmpty())
            m_process.setStandardInputFile(QProcess::nullDevice());
        const pid_t parent = ::getpid();
        m_process.setChildProcessModifier([parent] { ProcessLaunch::leadOwnGroup(parent); });
        connect(&m_process, &QProcess::readyReadStandardOutput, this, [this] { drain(); });
        connect(&m_process, &QProcess::readyReadStandardError, this, [this] { drain(); });
        connect(&m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
            if (error == QProcess::FailedToStart)
                end(ProcessResult::Kind::CannotStart);
        });
        connect(&m_process, &QProcess::finished, this, [this](int, QProcess::ExitStatus status) {
            end(status == QProcess::NormalExit ? ProcessResult::Kind::Exited : ProcessResult::Kind::Crashed);
        });
        connect(&m_timer, &QTimer::timeout, this, [this] { timedOut(); });
        m_process.start(program, spec.arguments);
        if (done.isResolved())
            return;
        m_group = static_cast<pid_t>(m_process.processId());
        m_timer.setSingleShot(true);
        m_timer.start(spec.timeout);
        if (!spec.input.isEmpty()) {
            m_process.write(spec.input);
            m_process.closeWriteChannel();
        }
    }

    ~Child() override
    {
        m_process.disconnect(this);
        if (m_process.state() == QProcess::NotRunning)
            return;
        signalGroup(SIGKILL);
        m_process.waitForFinished(1000);
    }

    /// Kills the process and tells its waiter so, at once.
    void abandon()
    {
        m_process.disconnect(this);
        m_timer.stop();
        signalGroup(SIGKILL);
        m_result.kind = ProcessResult::Kind::Crashed;
        done.resolve(m_result);
    }

    OneShot<ProcessResult> done;

private:
    void drain()
    {
        keep(m_result.output, m_process.readAllStandardOutput());
        if (m_process.processChannelMode() == QProcess::SeparateChannels)
            keep(m_result.errorOutput, m_process.readAllStandardError());
    }

    void keep(QByteArray &kept, const QByteArray &bytes) const
    {
        kept.append(bytes.first(std::min(bytes.size(), qMax(0LL, m_limit - kept.size()))));
    }

    void timedOut()
    {
        m_isTimedOut = true;
        signalGroup(SIGTERM);
        drain();
        m_result.kind = ProcessResult::Kind::TimedOut;
        // Others of the group may live on when the leader has obeyed, so this object waits for the second
        // signal.
        QTimer::singleShot(2s, this, [this] {
            signalGroup(SIGKILL);
            if (m_process.state() == QProcess::NotRunning)
                deleteLater();
            m_isGroupKilled = true;
        });
        done.resolve(m_result);
    }

    void signalGroup(int signal) const
    {
        if (m_group > 0)
            ::kill(-m_group, signal);
    }

    void end(ProcessResult::Kind kind)
    {
        m_timer.stop();
        drain();
        m_result.kind = kind;
        m_result.exitCode = kind == ProcessResult::Kind::Exited ? m_process.exitCode() : -1;
        if (kind == ProcessResult::Kind::CannotStart)
            m_result.error = m_process.errorString();
        if (!m_isTimedOut || m_isGroupKilled)
            deleteLater();
        done.resolve(m_result);
    }

    QProcess m_process;
    QTimer m_timer;
    ProcessResult m_result;
    qint64 m_limit;
    pid_t m_group = 0;
    bool m_isTimedOut = false;
    bool m_isGroupKilled = false;
};

} // namespace

void QtProcessRunner::close()
{
    m_isClosed = true;
    const auto running = m_children.children();
    for (QObject *child : running)
        static_cast<Child *>(child)->abandon();
}

QCoro::Task<ProcessResult> QtProcessRunner::run(ProcessSpec spec)
{
    if (m_isClosed) {
        ProcessResult refused;
        refused.error = u"the program is going down"_s;
        co_return refused;
    }
    const QString program = ProcessLaunch::executablePath(spec.program, spec.environment);
    if (program.isEmpty()) {
        ProcessResult missing;
        missing.error = ProcessLaunch::missingProgram(spec.program);
        co_return missing;
    }
    const auto done = (new Child(spec, program, &m_children))->done;
    auto result = co_await done;
    co_return result;
}

bool QtProcessRunner::startDetached(const ProcessSpec &spec)
{
    const QString program = ProcessLaunch::executablePath(spec.program, spec.environment);
    if (program.isEmpty())
        return false;
    QProcess process;
    process.setProgram(program);
    process.setArguments(spec.arguments);
    process.setProcessEnvironment(ProcessLaunch::environment(spec.environment));
    process.setWorkingDirectory(spec.workingDirectory);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    // QProcess makes a session for it, and calls nothing of ours between fork and exec.
    const ProcessLaunch::CoreLimitGivenBack limit;
    return process.startDetached();
}

} // namespace Keelhaven
