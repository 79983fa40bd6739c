#pragma once

#include "Contract/Models/StateFile.h"
#include "Platform/Calendar.h"
#include "Platform/Clock.h"
#include "Platform/NotificationSink.h"
#include "Platform/SettingsStore.h"

#include <QUuid>

namespace Keelhaven {

class EventList;

/// Posts user notifications and routes a click on one. On the main loop; the collaborators outlive it.
class NotificationManager
{
public:
    NotificationManager(Clock &clock, SettingsStore &settings, NotificationSink &sink,
                        std::function<Calendar()> calendar);

    /// From 22:00 up to but not including 08:00 local time, when the setting "quietHoursEnabled" is on.
    [[nodiscard]] bool isQuietHours() const;

    /// Tells of the sessions that ended or flagged something, where the settings want that. `links` says
    /// which folder belongs to which project. What quiet hours hide is dropped, not delayed.
    void process(const EventList &newEvents, const StateFile::Links &links);

    /// Shows one notification now. `url` opens on a click. No setting is looked at: the caller does that.
    void post(const QString &title, const QString &body, const QString &url);

    /// Posts with the link of a run. Dropped in quiet hours unless `bypassQuietHours`.
    void postRun(const QString &title, const QString &body, const QUuid &runID, bool bypassQuietHours);

    /// A notification with this link was clicked. Links of another scheme do nothing.
    void clicked(const QString &url);

    /// Selects a project.
    std::function<void(const QString &name)> onOpenProject;
    /// Routes any other link.
    std::function<void(const QString &url)> onOpenURL;

private:
    Clock &m_clock;
    SettingsStore &m_settings;
    NotificationSink &m_sink;
    std::function<Calendar()> m_calendar;
};

} // namespace Keelhaven
