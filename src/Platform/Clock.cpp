#include "Platform/Clock.h"

#include <algorithm>

namespace Keelhaven {

Clock::Sleep::~Sleep()
{
    std::erase(m_clock.m_sleepers, this);
}

void Clock::Sleep::await_suspend(std::coroutine_handle<> waiter)
{
    m_waiter = waiter;
    m_clock.m_sleepers.push_back(this);
    m_timer = m_clock.after(m_span, [this] {
        std::erase(m_clock.m_sleepers, this);
        m_waiter.resume();
    });
}

void Clock::close()
{
    m_closed = true;
    while (!m_sleepers.empty()) {
        Sleep *sleeper = m_sleepers.back();
        m_sleepers.pop_back();
        sleeper->m_timer.reset();
        sleeper->m_waiter.resume();
    }
}

} // namespace Keelhaven
