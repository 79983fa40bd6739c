#pragma once

#include "Platform/Clock.h"

#include <map>

namespace Keelhaven {

/// A clock that stands still until a test moves it. Timers fire in order of their moments while advance()
/// runs, and now() is exactly the moment of the timer that fires. Zero-delay work posted to the Qt loop is
/// run in between.
class VirtualClock : public Clock
{
public:
    explicit VirtualClock(Date start = Date(std::chrono::seconds(1772600707)));
    ~VirtualClock() override;

    [[nodiscard]] Date now() const override { return m_now; }
    [[nodiscard]] Timer after(Span delay, std::function<void()> callback) override;
    [[nodiscard]] Timer every(Span interval, std::function<void()> callback) override;

    /// Moves time on by `span` and fires all that falls due, in order.
    void advance(Span span);
    /// Changes the wall clock without letting time pass: running timers keep their remaining time.
    void jump(Span span);
    /// How long until the next timer, or nothing.
    [[nodiscard]] std::optional<Span> nextTimer() const;
    [[nodiscard]] size_t timerCount() const { return m_timers.size(); }

private:
    friend class VirtualTimer;
    struct Entry
    {
        quint64 id;
        Span interval; ///< zero for a one-shot
        std::function<void()> callback;
    };

    Timer add(Span delay, Span interval, std::function<void()> callback);

    Date m_now;
    Span m_elapsed{};
    quint64 m_nextID = 1;
    std::multimap<Span, Entry> m_timers; ///< by elapsed time at which they fire
};

/// Runs the Qt loop until nothing is posted any more.
void settle();

/// Runs the real loop until `condition` holds; false after `limit`. Only for tests against real processes.
[[nodiscard]] bool waitUntil(const std::function<bool()> &condition,
                             std::chrono::milliseconds limit = std::chrono::seconds(20));

/// Runs `task` to its end on the real loop and gives its result; throws what it throws, or after `limit`.
template <typename T>
T await(QCoro::Task<T> task, std::chrono::milliseconds limit = std::chrono::seconds(30))
{
    std::optional<T> result;
    std::exception_ptr error;
    auto watch = [](QCoro::Task<T> inner, std::optional<T> &out,
                    std::exception_ptr &failed) -> QCoro::Task<> {
        try {
            out.emplace(co_await inner);
        } catch (...) {
            failed = std::current_exception();
        }
    };
    const auto running = watch(std::move(task), result, error);
    if (!waitUntil([&] { return result || error; }, limit))
        throw std::runtime_error("the task did not end in time");
    if (error)
        std::rethrow_exception(error);
    return *std::move(result);
}

inline void await(QCoro::Task<> task, std::chrono::milliseconds limit = std::chrono::seconds(30))
{
    auto wrapped = [](QCoro::Task<> inner) -> QCoro::Task<bool> {
        co_await inner;
        co_return true;
    };
    static_cast<void>(await(wrapped(std::move(task)), limit));
}

} // namespace Keelhaven
