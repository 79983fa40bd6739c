#pragma once

#include "Platform/Clock.h"
#include "Platform/DirectoryWatch.h"

namespace Keelhaven {

/// Says that something in a folder may have changed. A burst of changes gives one call, `debounce` after the
/// last. A folder that does not exist yet is noticed when it is made. Every `pollInterval` there is a call in
/// any case, for a folder that was replaced, whose events were lost, or that never rests. Lives on the main
/// loop; the clock and the factory outlive it.
class DirectoryWatcher
{
public:
    DirectoryWatcher(QString folder, Clock &clock, DirectoryWatchFactory &factory,
                     std::function<void()> onChange, Span debounce = std::chrono::milliseconds(200),
                     Span pollInterval = std::chrono::seconds(30));

    /// A second start does nothing.
    void start();
    void stop();

private:
    /// Which folder it is, whatever its path: device and inode.
    using Identity = std::pair<quint64, quint64>;

    void openWatch();
    [[nodiscard]] std::optional<Identity> presentFolder() const;
    void watchAncestor(const QString &folder);
    [[nodiscard]] QString nearestAbove() const;
    void scheduleFire();
    void poll();

    QString m_folder;
    Clock &m_clock;
    DirectoryWatchFactory &m_factory;
    std::function<void()> m_onChange;
    Span m_debounce;
    Span m_pollInterval;
    std::unique_ptr<DirectoryWatch> m_watch;
    std::optional<Identity> m_watched;               ///< the folder that m_watch watches
    std::unique_ptr<DirectoryWatch> m_ancestorWatch; ///< while the folder does not exist
    QString m_ancestor;                              ///< which folder that watches
    Timer m_pollTimer;
    Timer m_pending;
};

} // namespace Keelhaven
