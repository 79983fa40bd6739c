#pragma once

#include <functional>

namespace Keelhaven {

/// Tells when the machine has slept: timers stood still meanwhile, and what fell due is to be looked at now.
class SleepMonitor
{
public:
    virtual ~SleepMonitor() = default;

    /// Begins to listen. A second call does nothing.
    virtual void start() = 0;

    /// Runs on the main loop after each sleep, and may run twice for one.
    std::function<void()> onDidWake;
};

/// The answer where nothing tells: timers notice a sleep by themselves, a little later.
class NoSleepMonitor : public SleepMonitor
{
public:
    void start() override {}
};

} // namespace Keelhaven
