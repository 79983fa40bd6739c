#include "Platform/LogindSleepMonitor.h"

#include <cerrno>
#include <limits>
#include <sys/timerfd.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

LogindSleepMonitor::LogindSleepMonitor(MessageBus &system)
    : m_system(system)
{}

LogindSleepMonitor::~LogindSleepMonitor()
{
    m_notifier.reset();
    if (m_timer >= 0)
        ::close(m_timer);
}

void LogindSleepMonitor::start()
{
    if (std::exchange(m_started, true))
        return;
    const auto listen = [this] {
        m_system.listen(u"/org/freedesktop/login1"_s, u"org.freedesktop.login1.Manager"_s,
                        u"PrepareForSleep"_s, this, SLOT(onPrepareForSleep(bool)));
    };
    connect(&m_system, &MessageBus::connected, this, listen);
    if (m_system.isConnected())
        listen();
    else if (!m_system.isAbsent())
        m_system.connectSoon();
    watchClock();
}

void LogindSleepMonitor::watchClock()
{
    m_timer = ::timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC);
    if (m_timer < 0)
        return;
    armClock();
    m_notifier = std::make_unique<QSocketNotifier>(m_timer, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, [this] {
        quint64 expirations = 0;
        // The read fails when the clock jumped, and arms the timer anew against the next jump.
        if (::read(m_timer, &expirations, sizeof expirations) < 0 && errno == ECANCELED)
            clockJumped();
        else
            armClock();
    });
}

void LogindSleepMonitor::armClock()
{
    itimerspec never = {};
    never.it_value.tv_sec = std::numeric_limits<std::time_t>::max();
    ::timerfd_settime(m_timer, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &never, nullptr);
}

void LogindSleepMonitor::clockJumped()
{
    wake();
}

void LogindSleepMonitor::onPrepareForSleep(bool begins)
{
    if (!begins)
        wake();
}

void LogindSleepMonitor::wake()
{
    if (onDidWake)
        onDidWake();
}

QCoro::Task<ServiceStatus> LogindSleepMonitor::examine() const
{
    const bool hasLogind = co_await m_system.offers(u"org.freedesktop.login1"_s);
    co_return ServiceStatus{true, hasLogind
                                      ? u"login1 tells when the machine has slept"_s
                                      : u"no login1: the kernel's clock tells when the machine has slept"_s};
}

} // namespace Keelhaven
