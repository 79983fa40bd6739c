#include "Store/DirectoryWatcher.h"

namespace Keelhaven {

DirectoryWatcher::DirectoryWatcher(QString folder, Clock &clock, DirectoryWatchFactory &factory,
                                   std::function<void()> onChange, Span debounce, Span pollInterval)
    : m_folder(std::move(folder))
    , m_clock(clock)
    , m_factory(factory)
    , m_onChange(std::move(onChange))
    , m_debounce(debounce)
    , m_pollInterval(pollInterval)
{}

void DirectoryWatcher::start()
{
    if (m_watch)
        return;
    openWatch();
    if (!m_pollTimer)
        m_pollTimer = m_clock.every(m_pollInterval, [this] { poll(); });
}

void DirectoryWatcher::stop()
{
    m_pending.reset();
    m_pollTimer.reset();
    m_watch.reset();
}

void DirectoryWatcher::openWatch()
{
    const auto onLost = [this] {
        m_watch.reset();
        scheduleFire();
    };
    m_watch = m_factory.watch(m_folder, [this] { scheduleFire(); }, onLost);
}

void DirectoryWatcher::scheduleFire()
{
    // onChange may end the watcher, so it runs from a copy.
    m_pending = m_clock.after(m_debounce, [onChange = m_onChange] { onChange(); });
}

void DirectoryWatcher::poll()
{
    if (!m_watch)
        openWatch();
    const auto onChange = m_onChange;
    onChange();
}

} // namespace Keelhaven
