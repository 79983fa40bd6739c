#include "Mirror/MirrorMonitor.h"

#include "Platform/Tasks.h"

#include <QPointer>

namespace Keelhaven {

MirrorMonitor::MirrorMonitor(MirrorProbe probe, Clock &clock, Tasks &tasks)
    : m_probe(std::move(probe))
    , m_clock(clock)
    , m_tasks(tasks)
{}

bool MirrorMonitor::mirroringForeignDashboard() const
{
    return m_state.isLive() && !m_state.bridge && !(isBridgeRunning && isBridgeRunning());
}

QCoro::Task<> MirrorMonitor::probe()
{
    const QPointer<MirrorMonitor> self(this);
    const quint64 asked = ++m_asked;
    auto found = co_await m_probe.probe();
    if (!self || asked < m_answered)
        co_return;
    m_answered = asked;
    if (found.isLive())
        found.bridge = isBridgeRunning && isBridgeRunning();
    const bool isNews = !m_probed || found != m_state;
    m_state = found;
    m_probed = true;
    if (isNews)
        Q_EMIT changed();
}

void MirrorMonitor::probeAgain()
{
    m_tasks.spawn(probe(), "MirrorMonitor::probe");
}

void MirrorMonitor::start()
{
    if (m_timer)
        return;
    m_timer = m_clock.every(interval, [this] { probeAgain(); });
    probeAgain();
}

void MirrorMonitor::stop()
{
    m_timer.reset();
}

} // namespace Keelhaven
