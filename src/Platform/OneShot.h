#pragma once

#include <coroutine>
#include <memory>
#include <optional>
#include <utility>

namespace Keelhaven {

/// A value that arrives once, for one waiting coroutine on the same thread. The first resolve() wins and
/// later ones are dropped, so a process's end and its time-out can race. Copies share the same value.
template <typename T>
class OneShot
{
    struct State
    {
        std::optional<T> value;
        std::coroutine_handle<> waiter;
    };

public:
    OneShot()
        : m_state(std::make_shared<State>())
    {}

    /// Gives the value and resumes the waiter, inside this call. False when a value was already there.
    bool resolve(T value) const
    {
        const auto state = m_state;
        if (state->value)
            return false;
        state->value.emplace(std::move(value));
        if (const auto waiter = std::exchange(state->waiter, nullptr))
            waiter.resume();
        return true;
    }

    [[nodiscard]] bool isResolved() const { return m_state->value.has_value(); }

    [[nodiscard]] bool await_ready() const { return isResolved(); }
    void await_suspend(std::coroutine_handle<> waiter) const { m_state->waiter = waiter; }
    [[nodiscard]] T await_resume() const { return std::move(*m_state->value); }

private:
    std::shared_ptr<State> m_state;
};

} // namespace Keelhaven
