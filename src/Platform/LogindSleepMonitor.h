#pragma once

#include "Platform/MessageBus.h"
#include "Platform/ServiceStatus.h"
#include "Platform/SleepMonitor.h"

#include <QSocketNotifier>

namespace Keelhaven {

/// SleepMonitor that listens to login1, and to the kernel, which tells when the wall clock jumped. After a
/// sleep it did, so one is noticed without login1 too, and so is the pause of a virtual machine, which looks
/// from inside like somebody setting the clock. Nothing is polled. Main loop only; the bus outlives it.
class LogindSleepMonitor : public QObject, public SleepMonitor
{
    Q_OBJECT

public:
    explicit LogindSleepMonitor(MessageBus &system);
    ~LogindSleepMonitor() override;

    void start() override;

    /// The wall clock jumped.
    void clockJumped();

    [[nodiscard]] QCoro::Task<ServiceStatus> examine() const;

private Q_SLOTS:
    void onPrepareForSleep(bool begins);

private:
    void watchClock();
    void armClock();
    void wake();

    MessageBus &m_system;
    int m_timer = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    bool m_started = false;
};

} // namespace Keelhaven
