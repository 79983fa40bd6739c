#include "UI/PreflightTrial.h"

#include "Platform/ClaudeLocator.h"
#include "Platform/Shell.h"
#include "Scheduler/Preflight.h"
#include "UI/ShownText.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto readInterval = 200ms;
constexpr qint64 shownBytes = 16 * 1024;

} // namespace

PreflightTrial::PreflightTrial(ChildProcessFactory &children, const ClaudeLocator &locator, QObject *parent)
    : QObject(parent)
    , m_children(children)
    , m_locator(locator)
{
    m_reading.setInterval(readInterval);
    connect(&m_reading, &QTimer::timeout, this, &PreflightTrial::readOutput);
    m_limit.setSingleShot(true);
    m_limit.setInterval(Preflight::timeLimit);
    connect(&m_limit, &QTimer::timeout, this, [this] { conclude(u"failed"_s, u"timed out"_s); });
}

PreflightTrial::~PreflightTrial() = default;

void PreflightTrial::run(const QString &command)
{
    if (m_child || command.trimmed().isEmpty())
        return;
    clear();
    m_log = std::make_unique<QTemporaryFile>();
    if (!m_log->open())
        return conclude(u"failed"_s, u"No place for its output: "_s + m_log->errorString());
    ChildSpec spec;
    spec.program = userShell();
    spec.arguments = loginShellArguments(spec.program, command.trimmed());
    if (const auto path = m_locator.cachedPATH())
        spec.environment.insert(u"PATH"_s, *path);
    spec.logFile = m_log->fileName();
    m_child = m_children.create(spec);
    m_child->onExit = [this](const ChildExit &exit) { finish(exit); };
    m_state = u"running"_s;
    m_elapsed.start();
    m_reading.start();
    m_limit.start();
    m_child->start();
    m_child->closeInput();
    Q_EMIT changed();
}

void PreflightTrial::cancel()
{
    if (m_child)
        conclude(u"cancelled"_s, u"Cancelled"_s);
}

void PreflightTrial::clear()
{
    if (m_child || m_state.isEmpty())
        return;
    m_state.clear();
    m_result.clear();
    m_output.clear();
    Q_EMIT changed();
}

void PreflightTrial::finish(const ChildExit &exit)
{
    const QString seconds = u"%1 s"_s.arg(static_cast<double>(m_elapsed.elapsed()) / 1000, 0, 'f', 1);
    switch (exit.kind) {
    case ChildExit::Kind::CannotStart:
        return conclude(u"failed"_s, u"Could not start: "_s + ShownText::line(exit.error));
    case ChildExit::Kind::Exited:
        if (exit.code == 0)
            return conclude(u"passed"_s, u"Passed · exit 0 · %1"_s.arg(seconds));
        return conclude(u"failed"_s, u"Failed · exit %1 · %2"_s.arg(exit.code).arg(seconds));
    default:
        return conclude(u"failed"_s, u"Failed · ended by a signal · %1"_s.arg(seconds));
    }
}

void PreflightTrial::conclude(const QString &state, const QString &result)
{
    m_reading.stop();
    m_limit.stop();
    readOutput();
    m_state = state;
    m_result = result;
    m_child.reset(); // asks the command and all that it started to end
    m_log.reset();
    Q_EMIT changed();
}

void PreflightTrial::readOutput()
{
    QFile file(m_log ? m_log->fileName() : QString());
    if (!m_log || !file.open(QIODevice::ReadOnly))
        return;
    if (file.size() > outputLimit && m_child && m_reading.isActive())
        return conclude(u"failed"_s, u"Failed · it prints without end"_s);
    file.seek(qMax(0LL, file.size() - shownBytes));
    const QString text = ShownText::paragraph(QString::fromUtf8(file.read(shownBytes)), shownBytes).trimmed();
    if (std::exchange(m_output, text) != text)
        Q_EMIT changed();
}

} // namespace Keelhaven
