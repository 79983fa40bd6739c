#include "Platform/SystemClock.h"

#include <QTimer>
#include <ctime>

namespace Keelhaven {

namespace {

/// QTimer stands still while the machine sleeps, and counts in int milliseconds (24.8 days). So longer waits
/// are cut into laps, and a wait that ended during a sleep is noticed at most this long after it.
constexpr auto longestLap = std::chrono::minutes(1);

/// Time since the machine was started, its sleeps included.
Span sinceBoot()
{
    timespec time = {};
    ::clock_gettime(CLOCK_BOOTTIME, &time);
    return std::chrono::seconds(time.tv_sec) +
           std::chrono::floor<Span>(std::chrono::nanoseconds(time.tv_nsec));
}

class QtTimer : public Timer::Impl
{
public:
    QtTimer(Span delay, bool repeats, std::function<void()> callback)
        : m_timer(new QTimer)
        , m_interval(repeats ? delay : Span::zero())
        , m_end(sinceBoot() + delay)
        , m_callback(std::move(callback))
    {
        m_timer->setTimerType(Qt::PreciseTimer);
        m_timer->setSingleShot(!repeats || delay > longestLap);
        QObject::connect(m_timer, &QTimer::timeout, m_timer, [this] { fire(); });
        startLap();
    }

    ~QtTimer() override
    {
        // The callback may be running and be the one that destroys this.
        m_timer->disconnect();
        m_timer->stop();
        m_timer->deleteLater();
    }

private:
    void startLap()
    {
        const Span lap = std::clamp(m_end - sinceBoot(), Span::zero(), Span(longestLap));
        m_timer->start(std::chrono::ceil<std::chrono::milliseconds>(lap));
    }

    void fire()
    {
        if (m_timer->isSingleShot() && m_end > sinceBoot()) {
            startLap();
            return;
        }
        if (m_timer->isSingleShot() && m_interval > Span::zero()) {
            m_end = sinceBoot() + m_interval;
            startLap();
        }
        const auto callback = m_callback;
        callback();
    }

    QTimer *m_timer;
    Span m_interval; ///< zero for a one-shot
    Span m_end;      ///< of a wait in laps, since boot
    std::function<void()> m_callback;
};

} // namespace

Date SystemClock::now() const
{
    return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
}

Timer SystemClock::after(Span delay, std::function<void()> callback)
{
    return Timer(std::make_unique<QtTimer>(delay, false, std::move(callback)));
}

Timer SystemClock::every(Span interval, std::function<void()> callback)
{
    return Timer(std::make_unique<QtTimer>(interval, true, std::move(callback)));
}

} // namespace Keelhaven
