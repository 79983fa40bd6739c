#include "Platform/SystemClock.h"

#include <QSocketNotifier>
#include <QTimer>
#include <sys/timerfd.h>
#include <unistd.h>

namespace Keelhaven {

namespace {

/// QTimer stands still while the machine sleeps, and counts in int milliseconds (24.8 days); for waits up to
/// this long neither matters.
constexpr Span longestQtWait = std::chrono::minutes(1);

/// What repeats this slowly may come half a second early or late: Qt then lets it fire on a whole second, so
/// that all that started about the same time wakes the processor once and not one after the other.
constexpr Span coarseFrom = std::chrono::seconds(20);

class QtTimer : public Timer::Impl
{
public:
    QtTimer(Span delay, bool repeats, std::function<void()> callback)
        : m_timer(new QTimer)
    {
        m_timer->setTimerType(repeats && delay >= coarseFrom ? Qt::VeryCoarseTimer : Qt::PreciseTimer);
        m_timer->setSingleShot(!repeats);
        QObject::connect(m_timer, &QTimer::timeout, m_timer, [callback = std::move(callback)] {
            const auto running = callback;
            running();
        });
        m_timer->start(std::chrono::ceil<std::chrono::milliseconds>(
            std::clamp(delay, Span::zero(), Span(std::chrono::hours(24)))));
    }

    ~QtTimer() override
    {
        // The callback may be running and be the one that destroys this.
        m_timer->disconnect();
        m_timer->stop();
        m_timer->deleteLater();
    }

private:
    QTimer *m_timer;
};

/// A kernel timer that counts the machine's sleep too, so that what fell due meanwhile is noticed on waking,
/// without ever waking in between.
class BootTimer : public Timer::Impl
{
public:
    /// Null when the kernel has no descriptor left.
    static std::unique_ptr<BootTimer> start(Span delay, bool repeats, std::function<void()> callback)
    {
        const int descriptor = ::timerfd_create(CLOCK_BOOTTIME, TFD_NONBLOCK | TFD_CLOEXEC);
        if (descriptor < 0)
            return nullptr;
        const auto whole = std::chrono::floor<std::chrono::seconds>(delay);
        const timespec wait{whole.count(), std::chrono::nanoseconds(delay - whole).count()};
        const itimerspec setting{repeats ? wait : timespec{}, wait};
        ::timerfd_settime(descriptor, 0, &setting, nullptr);
        return std::make_unique<BootTimer>(descriptor, std::move(callback));
    }

    BootTimer(int descriptor, std::function<void()> callback)
        : m_descriptor(descriptor)
        , m_notifier(new QSocketNotifier(descriptor, QSocketNotifier::Read))
    {
        QObject::connect(m_notifier, &QSocketNotifier::activated, m_notifier,
                         [descriptor, callback = std::move(callback)] {
                             quint64 expirations = 0;
                             if (::read(descriptor, &expirations, sizeof expirations) <= 0)
                                 return;
                             const auto running = callback;
                             running();
                         });
    }

    ~BootTimer() override
    {
        m_notifier->disconnect();
        m_notifier->setEnabled(false);
        m_notifier->deleteLater();
        ::close(m_descriptor);
    }

private:
    int m_descriptor;
    QSocketNotifier *m_notifier;
};

Timer startTimer(Span delay, bool repeats, std::function<void()> callback)
{
    if (delay > longestQtWait) {
        if (auto timer = BootTimer::start(delay, repeats, callback))
            return Timer(std::move(timer));
    }
    return Timer(std::make_unique<QtTimer>(delay, repeats, std::move(callback)));
}

} // namespace

Date SystemClock::now() const
{
    return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
}

Timer SystemClock::after(Span delay, std::function<void()> callback)
{
    return startTimer(delay, false, std::move(callback));
}

Timer SystemClock::every(Span interval, std::function<void()> callback)
{
    return startTimer(interval, true, std::move(callback));
}

} // namespace Keelhaven
