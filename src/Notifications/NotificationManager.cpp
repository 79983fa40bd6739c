#include "Notifications/NotificationManager.h"

#include "Contract/Models/EventList.h"
#include "Contract/SettingsCatalog.h"
#include "Engine/ActivityMerger.h"
#include "Notifications/DeepLink.h"
#include "Platform/Text.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr int quietFromHour = 22;
constexpr int quietToHour = 8;
constexpr qsizetype bodyLimit = 120; ///< characters of a message

/// The last component of a path; the root is its own.
QString lastPathComponent(QStringView path)
{
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    return (path == u"/" ? path : path.sliced(path.lastIndexOf(u'/') + 1)).toString();
}

/// What a person calls the place of a session.
QString projectOf(const EventRecord &event, const StateFile::Links &links)
{
    if (const auto slug = ActivityMerger::cwdToSlug(event.cwd, links))
        return *slug;
    if (!event.cwd || event.cwd->isEmpty())
        return u"a project"_s;
    return lastPathComponent(*event.cwd);
}

QString shortened(const QString &message)
{
    if (firstCharacters(message, bodyLimit).size() == message.size())
        return message;
    return firstCharacters(message, bodyLimit - 1) + u'…';
}

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
    if (!Setting::read(m_settings, Setting::quietHoursEnabled))
        return false;
    const int hour = m_calendar().wallTime(m_clock.now()).hour;
    return hour >= quietFromHour || hour < quietToHour;
}

void NotificationManager::process(const EventList &newEvents, const StateFile::Links &links)
{
    if (!Setting::read(m_settings, Setting::notificationsEnabled) || isQuietHours())
        return;
    for (const EventRecord &event : newEvents) {
        // The scheduler tells of its own runs.
        if (event.provider == u"codex"_s && event.runID)
            continue;
        if (event.type == u"Stop") {
            const QString project = projectOf(event, links);
            post(u"Session finished in "_s + project, shortened(event.lastMessage.value_or(QString())),
                 DeepLink::project(project));
        } else if (event.type == u"flag") {
            const QString project = event.repoHint ? *event.repoHint : projectOf(event, links);
            post(u"⚑ Flagged in "_s + project, event.note.value_or(QString()), DeepLink::project(project));
        }
    }
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
