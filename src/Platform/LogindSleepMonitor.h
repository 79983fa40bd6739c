#pragma once

#include "Platform/MessageBus.h"
#include "Platform/ServiceStatus.h"
#include "Platform/SleepMonitor.h"

#include <QSocketNotifier>

namespace Keelhaven {

/// SleepMonitor that listens to login1, and to the kernel, which tells when the wall clock jumped: after a
/// sleep it did, so one is noticed without login1 too. Nothing is polled. Main loop only; the bus outlives
/// it.
class LogindSleepMonitor : public QObject, public SleepMonitor
{
    Q_OBJECT

public:
    /// `asleep` gives how long the machine has slept since it was started.
    explicit LogindSleepMonitor(MessageBus &system, std::function<Span()> asleep = timeAsleep);
    ~LogindSleepMonitor() override;

    void start() override;

    /// The wall clock jumped: a sleep if the time asleep has grown, else somebody has set the clock.
    void clockJumped();

    [[nodiscard]] QCoro::Task<ServiceStatus> examine() const;

    [[nodiscard]] static Span timeAsleep();

private Q_SLOTS:
    void onPrepareForSleep(bool begins);

private:
    void watchClock();
    void armClock();
    void wake();

    MessageBus &m_system;
    std::function<Span()> m_asleep;
    Span m_knownAsleep{};
    int m_timer = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    bool m_started = false;
};

} // namespace Keelhaven
