#include "Platform/QtChildProcess.h"

#include "Platform/LinePipe.h"
#include "Platform/ProcessLaunch.h"

#include <QProcess>
#include <QTimer>
#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

/// The child itself, until the last of its group is gone. Its owner may leave before that.
class ChildProcessBody : public QObject
{
public:
    ChildProcessBody(const ChildSpec &spec, QtChildProcess *owner, QtChildProcessFactory &factory)
        : QObject(&factory.m_bodies)
        , m_factory(factory)
        , m_spec(spec)
        , m_owner(owner)
        , m_output(spec.lineLimit, this)
        , m_errors(spec.lineLimit, this)
    {
        m_grace.setSingleShot(true);
        connect(&m_grace, &QTimer::timeout, this, [this] { graceIsOver(); });
        connect(&m_process, &QProcess::errorOccurred, this,
                [this](QProcess::ProcessError error) { failed(error); });
        connect(&m_process, &QProcess::finished, this,
                [this](int code, QProcess::ExitStatus status) { finished(code, status); });
        m_output.onLine = [this](const QByteArray &line) { tell(&ChildProcess::onOutputLine, line); };
        m_output.onEnd = [this] { tell(&ChildProcess::onOutputClosed); };
        m_output.onOverflow = [this] { flooded(); };
        m_errors.onLine = [this](const QByteArray &line) { tell(&ChildProcess::onErrorLine, line); };
        m_errors.onOverflow = [this] { flooded(); };
    }

    ~ChildProcessBody() override
    {
        m_process.disconnect(this);
        m_owner = nullptr;
        if (m_group <= 0)
            return;
        signalGroup(SIGKILL);
        if (m_process.state() != QProcess::NotRunning)
            m_process.waitForFinished(1000);
    }

    void start()
    {
        if (std::exchange(m_isStarted, true))
            return;
        if (m_factory.m_isClosed)
            return endLater({ChildExit::Kind::CannotStart, -1, u"the program is going down"_s});
        const QString program = ProcessLaunch::executablePath(m_spec.program, m_spec.environment);
        if (program.isEmpty())
            return endLater(
                {ChildExit::Kind::CannotStart, -1, ProcessLaunch::missingProgram(m_spec.program)});
        if (!prepareStreams())
            return endLater({ChildExit::Kind::CannotStart, -1, qt_error_string(errno)});
        m_process.setProcessEnvironment(ProcessLaunch::environment(m_spec.environment));
        if (!m_spec.workingDirectory.isEmpty())
            m_process.setWorkingDirectory(m_spec.workingDirectory);
        const pid_t parent = ::getpid();
        const int output = m_output.writingEnd();
        const int errors = m_errors.writingEnd();
        m_process.setChildProcessModifier([parent, output, errors] {
            ProcessLaunch::leadOwnGroup(parent);
            if (output >= 0)
                ::dup2(output, STDOUT_FILENO);
            if (errors >= 0)
                ::dup2(errors, STDERR_FILENO);
        });
        m_process.start(program, m_spec.arguments);
        m_group = static_cast<pid_t>(m_process.processId());
        m_output.closeWritingEnd();
        m_errors.closeWritingEnd();
    }

    [[nodiscard]] Result<void, ChildWriteError> write(const QByteArray &bytes)
    {
        using Kind = ChildWriteError::Kind;
        if (!isRunning() || m_isInputClosed)
            return failure(ChildWriteError{Kind::Closed, u"the process no longer reads"_s});
        if (m_process.bytesToWrite() + bytes.size() > m_spec.writeLimit)
            return failure(ChildWriteError{Kind::Full, u"the process does not read"_s});
        m_process.write(bytes);
        return {};
    }

    void closeInput()
    {
        m_isInputClosed = true;
        if (isRunning())
            m_process.closeWriteChannel();
    }

    void terminate()
    {
        if (m_group <= 0 || m_grace.isActive() || m_isGone)
            return;
        signalGroup(SIGTERM);
        m_grace.start(m_spec.grace);
    }

    /// The owner goes; the child follows it.
    void abandon()
    {
        m_owner = nullptr;
        m_output.close();
        m_errors.close();
        closeInput();
        if (m_isGone || m_group <= 0)
            deleteLater();
        else
            terminate();
    }

    void kill()
    {
        signalGroup(SIGKILL);
        end({ChildExit::Kind::Crashed, -1, {}});
    }

    void endLater(const ChildExit &exit)
    {
        QMetaObject::invokeMethod(this, [this, exit] { end(exit); }, Qt::QueuedConnection);
    }

    [[nodiscard]] bool isRunning() const { return m_process.state() != QProcess::NotRunning && !m_isEnded; }

private:
    /// Copies the callback: calling it may destroy the owner and with it the callback.
    template <typename... A>
    void tell(std::function<void(A...)> ChildProcess::*callback, const std::type_identity_t<A> &...arguments)
    {
        if (!m_owner || m_isEnded)
            return;
        if (const auto call = m_owner->*callback)
            call(arguments...);
    }

    [[nodiscard]] bool prepareStreams()
    {
        if (!m_spec.logFile.isEmpty() && QFile(m_spec.logFile).open(QIODevice::WriteOnly)) {
            m_process.setProcessChannelMode(QProcess::MergedChannels);
            m_process.setStandardOutputFile(m_spec.logFile, QIODevice::Append);
            return true;
        }
        m_process.setStandardOutputFile(QProcess::nullDevice());
        m_process.setStandardErrorFile(QProcess::nullDevice());
        if (!m_spec.logFile.isEmpty())
            return true;
        return m_output.open() && (m_spec.errors == ChildSpec::Errors::Discard || m_errors.open());
    }

    void failed(QProcess::ProcessError error)
    {
        if (error == QProcess::FailedToStart) {
            m_group = 0;
            m_output.close();
            m_errors.close();
            endLater({ChildExit::Kind::CannotStart, -1, m_process.errorString()});
        } else if (error == QProcess::WriteError) {
            m_isInputClosed = true;
            const ChildWriteError lost{ChildWriteError::Kind::Closed, m_process.errorString()};
            QMetaObject::invokeMethod(
                this, [this, lost] { tell(&ChildProcess::onWriteFailed, lost); }, Qt::QueuedConnection);
        }
    }

    void flooded()
    {
        terminate();
        end({ChildExit::Kind::Flooded, -1, {}});
    }

    void finished(int code, QProcess::ExitStatus status)
    {
        m_output.drain();
        m_errors.drain();
        const bool byItself = status == QProcess::NormalExit;
        end({byItself ? ChildExit::Kind::Exited : ChildExit::Kind::Crashed, byItself ? code : -1, {}});
        // The others of the group have nobody left to work for.
        if (::kill(-m_group, m_grace.isActive() ? 0 : SIGTERM) != 0)
            gone();
        else if (!m_grace.isActive())
            m_grace.start(m_spec.grace);
    }

    void graceIsOver()
    {
        signalGroup(SIGKILL);
        if (m_process.state() == QProcess::NotRunning)
            gone();
    }

    void gone()
    {
        m_grace.stop();
        m_group = 0;
        m_isGone = true;
        if (!m_owner)
            deleteLater();
    }

    void signalGroup(int signal) const
    {
        // Right after the fork the child has not yet made its group.
        if (m_group > 0 && ::kill(-m_group, signal) != 0 && m_process.state() != QProcess::NotRunning)
            ::kill(m_group, signal);
    }

    void end(const ChildExit &exit)
    {
        if (m_isEnded)
            return;
        m_isEnded = true;
        if (const auto call = m_owner ? m_owner->onExit : nullptr)
            call(exit);
    }

    QtChildProcessFactory &m_factory;
    ChildSpec m_spec;
    QtChildProcess *m_owner;
    QProcess m_process;
    LinePipe m_output;
    LinePipe m_errors;
    QTimer m_grace;
    pid_t m_group = 0;
    bool m_isStarted = false;
    bool m_isInputClosed = false;
    bool m_isEnded = false; ///< the owner has been told
    bool m_isGone = false;  ///< nobody of the group is left
};

QtChildProcess::QtChildProcess(const ChildSpec &spec, QtChildProcessFactory &factory)
    : m_body(new ChildProcessBody(spec, this, factory))
{}

QtChildProcess::~QtChildProcess()
{
    if (m_body)
        m_body->abandon();
}

void QtChildProcess::start()
{
    if (m_body)
        m_body->start();
}

Result<void, ChildWriteError> QtChildProcess::write(const QByteArray &bytes)
{
    return m_body ? m_body->write(bytes) : failure(ChildWriteError{});
}

void QtChildProcess::closeInput()
{
    if (m_body)
        m_body->closeInput();
}

void QtChildProcess::terminate()
{
    if (m_body)
        m_body->terminate();
}

bool QtChildProcess::isRunning() const
{
    return m_body && m_body->isRunning();
}

std::unique_ptr<ChildProcess> QtChildProcessFactory::create(const ChildSpec &spec)
{
    return std::make_unique<QtChildProcess>(spec, *this);
}

void QtChildProcessFactory::close()
{
    m_isClosed = true;
    const auto bodies = m_bodies.children();
    for (QObject *body : bodies)
        static_cast<ChildProcessBody *>(body)->kill();
}

} // namespace Keelhaven
