#include "App/Commands/Lookup.h"

#include "Scheduler/SchedulerEngine.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype shortestPrefix = 4;
constexpr qsizetype shortIDSize = 8;

/// The ids that the text means; a full id is only ever itself.
QList<QUuid> matching(const QList<QUuid> &ids, const QString &text)
{
    if (const auto whole = uuidFromText(text))
        return ids.contains(*whole) ? QList<QUuid>{*whole} : QList<QUuid>();
    QList<QUuid> found;
    if (text.size() < shortestPrefix)
        return found;
    for (const auto &id : ids) {
        if (uuidText(id).startsWith(text, Qt::CaseInsensitive) && !found.contains(id))
            found.append(id);
    }
    return found;
}

} // namespace

QString shortID(const QUuid &id)
{
    return uuidText(id).left(shortIDSize);
}

QString placeText(RunPlace place)
{
    switch (place) {
    case RunPlace::Queued:
        return u"waiting"_s;
    case RunPlace::Launching:
        return u"launching"_s;
    case RunPlace::Live:
        return u"live"_s;
    case RunPlace::Ending:
        return u"ending"_s;
    case RunPlace::Finished:
        return u"finished"_s;
    }
    return {};
}

Result<SchedulerSlot, QString> findAgent(const QList<SchedulerSlot> &agents, const QString &text)
{
    QList<QUuid> ids;
    QList<QUuid> named;
    for (const auto &agent : agents) {
        ids.append(agent.id);
        if (agent.name == text)
            named.append(agent.id);
    }
    const auto found = named.isEmpty() ? matching(ids, text) : named;
    if (found.isEmpty())
        return failure(u"No agent matches \"%1\"."_s.arg(text));
    if (found.size() > 1)
        return failure(u"%1 agents match \"%2\"; give more of an id."_s.arg(found.size()).arg(text));
    return *std::ranges::find(agents, found.first(), &SchedulerSlot::id);
}

QList<FoundRun> allRuns(const CommandContext &context)
{
    QList<FoundRun> runs;
    QSet<QUuid> seen;
    const auto add = [&](const RunRecord &record, RunPlace place) {
        if (!seen.contains(record.id))
            runs.append({record, place});
        seen.insert(record.id);
    };
    for (const auto &run : context.engine.queued())
        add(run.record, RunPlace::Queued);
    for (const auto &run : context.engine.active())
        add(run->record, RunPlace::Live);
    for (const auto &record : context.engine.history())
        add(record, RunPlace::Finished);
    for (const auto &run : context.passing)
        add(run.record, run.wasLive ? RunPlace::Ending : RunPlace::Launching);
    return runs;
}

Result<FoundRun, QString> findRun(const CommandContext &context, const QString &text)
{
    const auto runs = allRuns(context);
    QList<QUuid> ids;
    for (const auto &run : runs)
        ids.append(run.record.id);
    const auto found = matching(ids, text);
    if (found.isEmpty())
        return failure(u"No run matches \"%1\"."_s.arg(text));
    if (found.size() > 1)
        return failure(u"%1 runs match \"%2\"; give more of the id."_s.arg(found.size()).arg(text));
    return *std::ranges::find_if(runs, [&](const auto &run) { return run.record.id == found.first(); });
}

} // namespace Keelhaven
