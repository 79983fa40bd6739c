#include "Surfaces/FleetSummary.h"

#include <QStringList>
#include <algorithm>

namespace Keelhaven::FleetSummary {

using namespace Qt::StringLiterals;

namespace {

struct Named
{
    QString name;
    Line line;
};

bool comesBefore(const Named &a, const Named &b)
{
    if (a.line.tone != b.line.tone)
        return a.line.tone == Tone::NeedsYou;
    return QString::localeAwareCompare(a.name.toCaseFolded(), b.name.toCaseFolded()) < 0;
}

} // namespace

QList<Line> lines(const QList<ShipName> &ships, const QHash<QUuid, int> &runningByShip,
                  const QHash<QUuid, int> &needsYouByShip)
{
    QList<Named> named;
    for (const auto &ship : ships) {
        const int running = runningByShip.value(ship.id);
        const int needsYou = needsYouByShip.value(ship.id);
        QStringList parts;
        if (running > 0)
            parts.append(u"%1 running"_s.arg(running));
        if (needsYou > 0)
            parts.append(needsYou == 1 ? u"1 needs you"_s : u"%1 need you"_s.arg(needsYou));
        if (parts.isEmpty())
            continue;
        const QString text = ship.name + u" · "_s + parts.join(u", "_s);
        named.append({ship.name, {ship.id, text, needsYou > 0 ? Tone::NeedsYou : Tone::Running}});
    }
    std::ranges::stable_sort(named, comesBefore);
    QList<Line> sorted;
    for (auto &one : named)
        sorted.append(std::move(one.line));
    return sorted;
}

} // namespace Keelhaven::FleetSummary
