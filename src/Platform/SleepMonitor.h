#pragma once

#include <functional>

namespace Keelhaven {

/// Tells when the machine has slept or its clock was set: timers were aimed at a moment that is another now,
/// and what fell due is to be looked at.
class SleepMonitor
{
public:
    virtual ~SleepMonitor() = default;

    /// Begins to listen. A second call does nothing.
    virtual void start() = 0;

    /// Runs on the main loop after each of them, and may run twice for one.
    std::function<void()> onDidWake;
};

/// The answer where nothing tells: timers notice a sleep by themselves, a little later.
class NoSleepMonitor : public SleepMonitor
{
public:
    void start() override {}
};

} // namespace Keelhaven
