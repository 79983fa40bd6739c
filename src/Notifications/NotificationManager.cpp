#include "Notifications/NotificationManager.h"

#include "Notifications/DeepLink.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr int quietFromHour = 22;
constexpr int quietToHour = 8;

} // namespace

NotificationManager::NotificationManager(Clock &clock, SettingsStore &settings, NotificationSink &sink,
                                         std::function<Calendar()> calendar)
    : m_clock(clock)
    , m_settings(settings)
    , m_sink(sink)
    , m_calendar(std::move(calendar))
{}

bool NotificationManager::isQuietHours() const
{
    if (!m_settings.flag(u"quietHoursEnabled"_s))
        return false;
    const int hour = m_calendar().wallTime(m_clock.now()).hour;
    return hour >= quietFromHour || hour < quietToHour;
}

void NotificationManager::post(const QString &title, const QString &body, const QString &url)
{
    m_sink.show(title, body, url);
}

void NotificationManager::postRun(const QString &title, const QString &body, const QUuid &runID,
                                  bool bypassQuietHours)
{
    if (bypassQuietHours || !isQuietHours())
        post(title, body, DeepLink::run(runID));
}

void NotificationManager::clicked(const QString &url)
{
    const auto link = DeepLink::parse(url);
    if (!link)
        return;
    if (link->action() == DeepLink::Action::OpenProject) {
        if (onOpenProject)
            onOpenProject(*link->name);
    } else if (onOpenURL) {
        onOpenURL(url);
    }
}

} // namespace Keelhaven
