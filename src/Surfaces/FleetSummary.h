#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QUuid>

namespace Keelhaven {

/// What each ship is doing, in one line a ship that does anything.
namespace FleetSummary {

/// A ship as far as this needs it.
struct ShipName
{
    QUuid id;
    QString name;
};

enum class Tone { Running, NeedsYou };

struct Line
{
    QUuid shipID; ///< also its identity
    QString text; ///< "{ship name} · 2 running, 1 needs you"
    Tone tone = Tone::Running;
    bool operator==(const Line &) const = default;
};

/// Ships that need the user first, then by name without regard to case.
[[nodiscard]] QList<Line> lines(const QList<ShipName> &ships, const QHash<QUuid, int> &runningByShip,
                                const QHash<QUuid, int> &needsYouByShip);

} // namespace FleetSummary

} // namespace Keelhaven
