#pragma once

#include "Platform/DirectoryWatch.h"

namespace Keelhaven {

/// Tells when the system's time zone was changed: what fires at 9:00 fires at another moment then. Watches
/// the folder with the link "localtime", so nothing is polled. A zone that the environment names stays for
/// the life of the process. Main loop only; `watches` outlives it.
class TimeZoneWatch
{
public:
    explicit TimeZoneWatch(DirectoryWatchFactory &watches, QString folder = QStringLiteral("/etc"));

    /// Begins to watch. A second call does nothing.
    void start();
    void stop() { m_watch.reset(); }

    std::function<void()> onChanged;

private:
    void look();
    [[nodiscard]] QString zoneFile() const;

    DirectoryWatchFactory &m_watches;
    QString m_folder;
    QString m_zone; ///< the file that the link names
    std::unique_ptr<DirectoryWatch> m_watch;
};

} // namespace Keelhaven
