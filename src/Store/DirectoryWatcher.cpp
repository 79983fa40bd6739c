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
    m_ancestorWatch.reset();
}

void DirectoryWatcher::openWatch()
{
    const auto onLost = [this] {
        m_watch.reset();
        watchAncestor();
        scheduleFire();
    };
    m_watch = m_factory.watch(m_folder, [this] { scheduleFire(); }, onLost);
    m_ancestorWatch.reset();
    if (!m_watch)
        watchAncestor();
}

/// Waits for the folder to be made: the first session of a new machine makes it, and its news should not wait
/// for the next poll.
void DirectoryWatcher::watchAncestor()
{
    QString ancestor = m_folder;
    while (!m_ancestorWatch && ancestor.contains(u'/') && ancestor.size() > 1) {
        ancestor.truncate(std::max<qsizetype>(ancestor.lastIndexOf(u'/'), 1));
        const auto onEvent = [this] {
            openWatch();
            if (m_watch)
                scheduleFire();
        };
        m_ancestorWatch = m_factory.watch(ancestor, onEvent, [] {});
    }
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
