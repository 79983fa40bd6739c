#include "Store/DirectoryWatcher.h"

#include <QFile>
#include <QFileInfo>
#include <sys/stat.h>

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

/// The first session of a new machine makes the folder, and its news should not wait for the next poll: until
/// then the nearest folder above is watched.
void DirectoryWatcher::openWatch()
{
    const auto onLost = [this] {
        openWatch();
        scheduleFire();
    };
    // The folder, or one above it, may be made between two of these steps: then the next round is one closer.
    for (QString above; above != nearestAbove();) {
        m_watch = m_factory.watch(m_folder, [this] { scheduleFire(); }, onLost);
        if (m_watch) {
            m_watched = presentFolder();
            m_ancestorWatch.reset();
            return;
        }
        above = nearestAbove();
        watchAncestor(above);
    }
}

/// Every poll comes here while the folder does not exist, and the kernel takes milliseconds to end a watch:
/// one that watches the right folder stays.
void DirectoryWatcher::watchAncestor(const QString &folder)
{
    if (m_ancestorWatch && m_ancestor == folder)
        return;
    const auto onMade = [this] {
        openWatch();
        if (m_watch)
            scheduleFire();
    };
    const auto onLost = [this, onMade] {
        const auto lookAgain = onMade; // the watch may own this function
        m_ancestorWatch.reset();
        lookAgain();
    };
    m_ancestorWatch = m_factory.watch(folder, onMade, onLost);
    m_ancestor = folder;
}

QString DirectoryWatcher::nearestAbove() const
{
    QFileInfo folder(m_folder);
    while (!folder.exists() && folder.filePath().contains(u'/') && folder.path() != folder.filePath())
        folder = QFileInfo(folder.path());
    return folder.filePath();
}

void DirectoryWatcher::scheduleFire()
{
    // onChange may end the watcher, so it runs from a copy.
    m_pending = m_clock.after(m_debounce, [onChange = m_onChange] { onChange(); });
}

std::optional<DirectoryWatcher::Identity> DirectoryWatcher::presentFolder() const
{
    struct stat status = {};
    if (::stat(QFile::encodeName(m_folder).constData(), &status) != 0)
        return std::nullopt;
    return Identity(status.st_dev, status.st_ino);
}

void DirectoryWatcher::poll()
{
    // A watch stays with its folder, and is not told when one above is moved away or mounted over.
    if (!m_watch || presentFolder() != m_watched)
        openWatch();
    const auto onChange = m_onChange;
    onChange();
}

} // namespace Keelhaven
