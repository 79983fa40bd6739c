#pragma once

#include "Platform/Moments.h"

#include <coroutine>
#include <functional>
#include <memory>
#include <vector>

namespace Keelhaven {

/// A running timer. Destroying or resetting it cancels it; it may be destroyed from inside its own callback.
class Timer
{
public:
    struct Impl
    {
        virtual ~Impl() = default;
    };

    Timer() = default;
    explicit Timer(std::unique_ptr<Impl> impl)
        : m_impl(std::move(impl))
    {}

    void reset() { m_impl.reset(); }
    [[nodiscard]] explicit operator bool() const { return m_impl != nullptr; }

private:
    std::unique_ptr<Impl> m_impl;
};

/// The one source of time and of waiting. Lives on the main loop and outlives everybody who waits on it.
class Clock
{
public:
    /// Awaitable of sleep(): true when the time has passed, false when the clock was closed meanwhile.
    class Sleep
    {
    public:
        Sleep(Clock &clock, Span span)
            : m_clock(clock)
            , m_span(span)
        {}
        Sleep(const Sleep &) = delete;
        Sleep &operator=(const Sleep &) = delete;
        ~Sleep();
        [[nodiscard]] bool await_ready() const { return m_clock.m_closed; }
        void await_suspend(std::coroutine_handle<> waiter);
        [[nodiscard]] bool await_resume() const { return !m_clock.m_closed; }

    private:
        friend class Clock;
        Clock &m_clock;
        Span m_span;
        Timer m_timer;
        std::coroutine_handle<> m_waiter;
    };

    Clock() = default;
    Clock(const Clock &) = delete;
    Clock &operator=(const Clock &) = delete;
    virtual ~Clock() = default;

    /// Wall-clock time. It may jump either way; deadlines are compared with it after every wake-up.
    [[nodiscard]] virtual Date now() const = 0;

    /// Runs `callback` once on the main loop, `delay` from now (at the next turn for a delay of zero or
    /// less).
    [[nodiscard]] virtual Timer after(Span delay, std::function<void()> callback) = 0;

    /// Runs `callback` every `interval`, first after one interval.
    [[nodiscard]] virtual Timer every(Span interval, std::function<void()> callback) = 0;

    /// `const bool slept = co_await clock.sleep(…)`; on false the waiter must end: the program is going down.
    [[nodiscard]] Sleep sleep(Span span) { return Sleep(*this, span); }

    /// Wakes every sleeper with false and lets no later one sleep. For shutdown: a suspended coroutine frame
    /// that nobody resumes is leaked.
    void close();
    [[nodiscard]] bool isClosed() const { return m_closed; }

private:
    std::vector<Sleep *> m_sleepers;
    bool m_closed = false;
};

} // namespace Keelhaven
