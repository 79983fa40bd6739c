#include "Support/VirtualClock.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

namespace Keelhaven {

class VirtualTimer : public Timer::Impl
{
public:
    VirtualTimer(VirtualClock &clock, quint64 id)
        : m_clock(clock)
        , m_id(id)
    {}
    ~VirtualTimer() override
    {
        std::erase_if(m_clock.m_timers, [this](const auto &entry) { return entry.second.id == m_id; });
    }

private:
    VirtualClock &m_clock;
    quint64 m_id;
};

VirtualClock::VirtualClock(Date start)
    : m_now(start)
{}

VirtualClock::~VirtualClock()
{
    close();
}

Timer VirtualClock::add(Span delay, Span interval, std::function<void()> callback)
{
    const quint64 id = m_nextID++;
    m_timers.emplace(m_elapsed + std::max(delay, Span::zero()), Entry{id, interval, std::move(callback)});
    return Timer(std::make_unique<VirtualTimer>(*this, id));
}

Timer VirtualClock::after(Span delay, std::function<void()> callback)
{
    return add(delay, Span::zero(), std::move(callback));
}

Timer VirtualClock::every(Span interval, std::function<void()> callback)
{
    return add(interval, interval, std::move(callback));
}

void VirtualClock::advance(Span span)
{
    const Span end = m_elapsed + span;
    settle();
    while (!m_timers.empty() && m_timers.begin()->first <= end) {
        auto node = m_timers.extract(m_timers.begin());
        m_now += node.key() - m_elapsed;
        m_elapsed = node.key();
        const auto callback = node.mapped().callback;
        if (const Span interval = node.mapped().interval; interval > Span::zero()) {
            node.key() += interval;
            m_timers.insert(std::move(node));
        }
        callback();
        settle();
    }
    m_now += end - m_elapsed;
    m_elapsed = end;
}

void VirtualClock::jump(Span span)
{
    m_now += span;
}

std::optional<Span> VirtualClock::nextTimer() const
{
    return m_timers.empty() ? std::nullopt : std::optional(m_timers.begin()->first - m_elapsed);
}

void settle()
{
    for (int i = 0; i < 3; ++i) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

bool waitUntil(const std::function<bool()> &condition, std::chrono::milliseconds limit)
{
    QTimer deadline;
    deadline.setSingleShot(true);
    deadline.start(limit);
    QTimer look;
    look.start(5);
    while (!condition()) {
        if (!deadline.isActive())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return true;
}

} // namespace Keelhaven
