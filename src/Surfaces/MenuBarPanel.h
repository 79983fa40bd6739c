#pragma once

#include "Platform/Calendar.h"
#include "Scheduler/ActiveRun.h"
#include "Scheduler/Usage/UsageSnapshot.h"
#include "Surfaces/FleetSummary.h"

namespace Keelhaven {

/// What the panel behind the status icon says.
namespace MenuBarPanel {

/// How the program reaches the analysis service.
enum class Mirror {
    LiveBridge, ///< live, by our own service
    Live,       ///< live, by somebody else's
    Down,
    Foreign ///< another program holds the port
};

inline constexpr QStringView title = u"Keelhaven";
inline constexpr QStringView projectsHeading = u"Projects";

/// "service", "bridge", "mirroring web", "viewer", "port busy"
[[nodiscard]] QString statusLabel(Mirror mirror, bool bridgeRunning);

/// "3 projects · 1 active today · ⚑ 2 flags"
[[nodiscard]] QString aggregateLine(int projects, int activeToday, int flags);

/// "Keelhaven {version} is available"
[[nodiscard]] QString updateLine(const QString &version);
inline constexpr QStringView download = u"Download";

struct RunLine
{
    QUuid runID;
    QString text; ///< "{agent} — {elapsed}"
    bool operator==(const RunLine &) const = default;
};

/// One line a live run. To be made anew each second: the texts tell how long it has been running.
[[nodiscard]] QList<RunLine> runLines(const QList<ActiveRunPtr> &active, Date now);

/// Live runs of each ship.
[[nodiscard]] QHash<QUuid, int> runningByShip(const QList<ActiveRunPtr> &active);

/// "Next: {agent} Mon 7:05 PM", "No runs scheduled"
[[nodiscard]] QString nextFireText(const std::optional<std::pair<SchedulerSlot, Date>> &next,
                                   const Calendar &calendar);

/// One usage meter of the Claude account.
struct MeterLine
{
    QString label; ///< "Session", "Week · all models"
    int percent = 0;
    int estimatedExtra = 0; ///< points of `percent` that are not measured
    bool isAheadOfPace = false;
    bool operator==(const MeterLine &) const = default;
};

/// The session meter, then the weekly ones; none while nothing is known.
[[nodiscard]] QList<MeterLine> meterLines(const std::optional<UsageSnapshot> &usage, Date now);

/// A power switch; its note says what else keeps the machine awake.
struct PowerSwitch
{
    QString label;
    QString help;
    std::optional<QString> note;
    bool operator==(const PowerSwitch &) const = default;
};

/// `isOn` is the switch, `isHeld` whether anything holds the machine awake.
[[nodiscard]] PowerSwitch keepAwakeRow(bool isOn, bool isHeld);
[[nodiscard]] PowerSwitch preventLockRow();

inline constexpr QStringView openKeelhaven = u"Open Keelhaven";
inline constexpr QStringView openBoard = u"Board";
inline constexpr QStringView openAgents = u"Agents";
inline constexpr QStringView openPlugins = u"Plugins";
inline constexpr QStringView quit = u"Quit";
/// "Start service" when it is down, else "Refresh".
[[nodiscard]] QString serviceButton(Mirror mirror);

} // namespace MenuBarPanel

} // namespace Keelhaven
