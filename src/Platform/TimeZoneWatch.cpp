#include "Platform/TimeZoneWatch.h"

#include <QFileInfo>

namespace Keelhaven {

using namespace Qt::StringLiterals;

TimeZoneWatch::TimeZoneWatch(DirectoryWatchFactory &watches, QString folder)
    : m_watches(watches)
    , m_folder(std::move(folder))
{}

void TimeZoneWatch::start()
{
    if (m_watch || !qEnvironmentVariableIsEmpty("TZ"))
        return;
    m_zone = zoneFile();
    m_watch = m_watches.watch(m_folder, [this] { look(); }, [] {});
}

void TimeZoneWatch::look()
{
    const QString zone = zoneFile();
    // Between the removal of the link and the new one there is no zone to know.
    if (zone.isEmpty() || zone == m_zone)
        return;
    m_zone = zone;
    if (onChanged)
        onChanged();
}

QString TimeZoneWatch::zoneFile() const
{
    return QFileInfo(m_folder + u"/localtime"_s).symLinkTarget();
}

} // namespace Keelhaven
