#include "Surfaces/MenuBarPanel.h"

#include "Scheduler/Usage/UsageTexts.h"
#include "Surfaces/TimeTexts.h"

namespace Keelhaven::MenuBarPanel {

using namespace Qt::StringLiterals;

QString statusLabel(Mirror mirror, bool bridgeRunning)
{
    switch (mirror) {
    case Mirror::LiveBridge:
        return u"service"_s;
    case Mirror::Live:
        return bridgeRunning ? u"bridge"_s : u"mirroring web"_s;
    case Mirror::Down:
        return u"viewer"_s;
    case Mirror::Foreign:
        break;
    }
    return u"port busy"_s;
}

QString aggregateLine(int projects, int activeToday, int flags)
{
    QStringList parts{projects == 1 ? u"1 project"_s : u"%1 projects"_s.arg(projects),
                      u"%1 active today"_s.arg(activeToday)};
    if (flags >= 1)
        parts.append(flags == 1 ? u"⚑ 1 flag"_s : u"⚑ %1 flags"_s.arg(flags));
    return parts.join(u" · "_s);
}

QString updateLine(const QString &version)
{
    return u"Keelhaven %1 is available"_s.arg(version);
}

QList<RunLine> runLines(const QList<ActiveRunPtr> &active, Date now)
{
    QList<RunLine> lines;
    for (const auto &run : active)
        lines.append({run->record.id,
                      run->record.slotName + u" — "_s + TimeTexts::elapsed(now - run->record.startedAt)});
    return lines;
}

QHash<QUuid, int> runningByShip(const QList<ActiveRunPtr> &active)
{
    QHash<QUuid, int> running;
    for (const auto &run : active) {
        if (run->record.shipID)
            ++running[*run->record.shipID];
    }
    return running;
}

QString nextFireText(const std::optional<std::pair<SchedulerSlot, Date>> &next, const Calendar &calendar)
{
    if (!next)
        return u"No runs scheduled"_s;
    return u"Next: "_s + next->first.name + u' ' + TimeTexts::weekdayClock(next->second, calendar);
}

QList<MeterLine> meterLines(const std::optional<UsageSnapshot> &usage, Date now)
{
    QList<MeterLine> lines;
    if (!usage)
        return lines;
    const auto add = [&](const QString &label, const UsageSnapshot::Meter &meter) {
        lines.append({label, meter.percent, meter.estimatedExtra, UsageTexts::aheadOfPace(meter, now)});
    };
    if (const auto session = usage->sessionMeter())
        add(u"Session"_s, *session);
    for (const auto &meter : usage->weeklyMeters())
        add(meter.label(), meter);
    return lines;
}

PowerSwitch keepAwakeRow(bool isOn, bool isHeld)
{
    PowerSwitch row{u"Keep My Mac Awake"_s,
                    u"Stops the Mac from idle-sleeping while Keelhaven is open — stays on until you turn it "
                    u"off."_s,
                    {}};
    if (!isOn && isHeld)
        row.note = u"Awake for a run"_s;
    return row;
}

PowerSwitch preventLockRow()
{
    return {u"Prevent Mac lock screen"_s,
            u"Keeps the display lit so the screen saver and password lock never engage. Warning: display "
            u"will remain lit."_s,
            {}};
}

QString serviceButton(Mirror mirror)
{
    return mirror == Mirror::Down ? u"Start service"_s : u"Refresh"_s;
}

} // namespace Keelhaven::MenuBarPanel
