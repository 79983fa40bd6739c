#include "Herdr/HerdrManager.h"

#include "Herdr/HerdrLocator.h"
#include "Platform/SystemLog.h"

#include <QPointer>
#include <QSet>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Span idleWatchInterval = 60s;
constexpr Span settlePoll = 100ms;

/// pgrep takes an extended regular expression, and a folder's name may hold its signs.
QString literalPattern(const QString &path)
{
    QString pattern;
    for (const QChar character : path) {
        if (QStringView(u"\\^$.|?*+()[]{}").contains(character))
            pattern += u'\\';
        pattern += character;
    }
    return pattern;
}

/// Whether a process was started from this path. Where that cannot be asked, the answer is the careful one.
QCoro::Task<bool> isRunning(ProcessRunner *processes, QString path)
{
    ProcessSpec spec;
    spec.program = u"/usr/bin/pgrep"_s;
    spec.arguments = QStringList{u"-f"_s, literalPattern(path)};
    const ProcessResult result = co_await processes->run(spec);
    const bool foundNone = result.kind == ProcessResult::Kind::Exited && result.exitCode == 1;
    co_return !foundNone;
}

} // namespace

HerdrManager::HerdrManager(Services services, QObject *parent)
    : QObject(parent)
    , m_services(std::move(services))
{}

void HerdrManager::bootstrap(std::function<bool()> isIdle)
{
    m_isIdle = std::move(isIdle);
    m_services.tasks.spawn(start(), "herdr bootstrap");
    m_idleWatch = m_services.clock.every(idleWatchInterval, [this] {
        if (m_pendingRestart)
            m_services.tasks.spawn(restartServerIfIdle(), "herdr restart");
    });
}

QCoro::Task<> HerdrManager::start()
{
    const QPointer<HerdrManager> self(this);
    co_await installAndProbe();
    if (!self)
        co_return;
    co_await prune();
    if (!self)
        co_return;
    co_await restartServerIfIdle();
}

QCoro::Task<> HerdrManager::settled()
{
    const QPointer<HerdrManager> self(this);
    while (self && m_busy) {
        const bool slept = co_await m_services.clock.sleep(settlePoll);
        if (!slept)
            co_return;
    }
}

QCoro::Task<> HerdrManager::refresh()
{
    return probe();
}

QCoro::Task<> HerdrManager::probe()
{
    const QPointer<HerdrManager> self(this);
    const auto health = co_await m_services.probe.run();
    if (!self)
        co_return;
    m_health = health;
    m_pendingRestart = needsRestart(m_health);
    Q_EMIT changed();
}

QCoro::Task<> HerdrManager::installAndProbe()
{
    const QPointer<HerdrManager> self(this);
    setBusy(true);
    const auto layout = m_services.layout;
    const auto work = [layout] { return HerdrInstaller::installIfNeeded(layout); };
    const auto result = co_await onPool(work);
    if (!self)
        co_return;
    if (result) {
        m_install = *result;
        m_installError.reset();
    } else {
        m_installError = result.error().message();
    }
    co_await probe();
    if (self)
        setBusy(false);
}

QCoro::Task<> HerdrManager::prune()
{
    const auto layout = m_services.layout;
    ProcessRunner *const processes = &m_services.processes;
    QSet<QString> inUse;
    const QStringList folders = HerdrInstaller::oldVersionDirs(layout);
    for (const QString &folder : folders) {
        const QString binary = HerdrInstaller::binaryIn(folder);
        const bool used = co_await isRunning(processes, binary);
        if (used)
            inUse.insert(binary);
    }
    const auto work = [layout, inUse] {
        HerdrInstaller::pruneOldVersions(layout,
                                         [&inUse](const QString &binary) { return inUse.contains(binary); });
        return true;
    };
    [[maybe_unused]] const bool pruned = co_await onPool(work);
}

QCoro::Task<> HerdrManager::reinstall()
{
    const QPointer<HerdrManager> self(this);
    setBusy(true);
    const auto layout = m_services.layout;
    const auto work = [layout] {
        HerdrInstaller::discard(layout);
        return true;
    };
    [[maybe_unused]] const bool discarded = co_await onPool(work);
    if (!self)
        co_return;
    co_await installAndProbe();
}

QCoro::Task<> HerdrManager::restartServerIfIdle()
{
    if (!m_pendingRestart || m_busy || !m_isIdle() || !m_health || !m_health->binary)
        co_return;
    const QPointer<HerdrManager> self(this);
    setBusy(true);
    const QString binary = *m_health->binary;
    co_await m_services.locator.stopServer(binary);
    if (!self)
        co_return;
    co_await probe();
    if (self)
        setBusy(false);
}

QCoro::Task<> HerdrManager::reviveServer()
{
    const Date now = m_services.clock.now();
    if (m_busy || now < m_nextRevival)
        co_return;
    m_nextRevival = now + idleWatchInterval;
    const QPointer<HerdrManager> self(this);
    setBusy(true);
    const auto pong = co_await m_services.locator.ensureServer(std::nullopt);
    if (!self)
        co_return;
    if (!pong)
        systemLog(u"Keelhaven: "_s + pong.error().message());
    co_await probe();
    if (self)
        setBusy(false);
}

bool HerdrManager::needsRestart(const std::optional<HerdrProbe::Health> &health)
{
    if (!health || !health->serverRunning)
        return false;
    if (health->state.kind == HerdrProbe::State::Kind::ServerIncompatible)
        return true;
    return health->serverVersion && health->clientVersion && *health->serverVersion != *health->clientVersion;
}

void HerdrManager::setBusy(bool busy)
{
    m_busy = busy;
    Q_EMIT changed();
}

} // namespace Keelhaven
