#include "UI/SchedulerModels.h"

#include "Platform/Uuid.h"
#include "Surfaces/TimeTexts.h"
#include "UI/ShownText.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

QVariant SlotListModel::data(const QModelIndex &index, int role) const
{
    const SlotEntry *entry = at(index.row());
    if (!entry)
        return {};
    const SlotRow *row = &entry->row;
    switch (role) {
    case ID:
        return uuidText(row->id);
    case Name:
        return ShownText::line(row->name);
    case Provider:
        return row->provider;
    case Schedule:
        return row->schedule;
    case NextRun:
        return row->nextRun;
    case IsEnabled:
        return row->isEnabled;
    case CanToggle:
        return !row->toggleHelp.has_value();
    case ToggleHelp:
        return row->toggleHelp.value_or(QString());
    case IsLive:
        return entry->isLive;
    default:
        return {};
    }
}

QHash<int, QByteArray> SlotListModel::roleNames() const
{
    return {
        {ID, "slotID"},       {Name, "name"},           {Provider, "provider"},   {Schedule, "schedule"},
        {NextRun, "nextRun"}, {IsEnabled, "isEnabled"}, {CanToggle, "canToggle"}, {ToggleHelp, "toggleHelp"},
        {IsLive, "isLive"}};
}

QVariant QueueModel::data(const QModelIndex &index, int role) const
{
    const QueueRow *row = at(index.row());
    if (!row)
        return {};
    switch (role) {
    case RunID:
        return uuidText(row->runID);
    case Title:
        return ShownText::line(row->title);
    case Subtitle:
        return ShownText::line(row->subtitle);
    case State:
        return row->state;
    case StateHelp:
        return ShownText::line(row->stateHelp.value_or(QString()));
    case IsLive:
        return row->isLive;
    case IsBlocked:
        return row->isBlocked;
    case Elapsed:
        return row->startedAt && now ? TimeTexts::elapsed(now() - *row->startedAt) : QString();
    default:
        return {};
    }
}

QHash<int, QByteArray> QueueModel::roleNames() const
{
    return {{RunID, "runID"},         {Title, "title"},   {Subtitle, "subtitle"},   {State, "runState"},
            {StateHelp, "stateHelp"}, {IsLive, "isLive"}, {IsBlocked, "isBlocked"}, {Elapsed, "elapsed"}};
}

QVariant HistoryModel::data(const QModelIndex &index, int role) const
{
    const HistoryEntry *entry = at(index.row());
    if (!entry)
        return {};
    switch (role) {
    case ID:
        return entry->row.id;
    case RunID:
        return uuidText(entry->row.runID);
    case Title:
        return ShownText::line(entry->row.title);
    case Subtitle:
        return ShownText::line(entry->row.subtitle);
    case Message:
        return ShownText::plain(entry->message);
    case Day:
        return entry->day;
    case Icon:
        return entry->icon;
    case Tone:
        return entry->tone;
    case IsTask:
        return entry->row.isTask;
    case IsHidden:
        return entry->row.isHidden;
    default:
        return {};
    }
}

QHash<int, QByteArray> HistoryModel::roleNames() const
{
    return {{ID, "itemID"},       {RunID, "runID"},      {Title, "title"},  {Subtitle, "subtitle"},
            {Message, "message"}, {Day, "day"},          {Icon, "picture"}, {Tone, "tone"},
            {IsTask, "isTask"},   {IsHidden, "isHidden"}};
}

QVariant AgendaModel::data(const QModelIndex &index, int role) const
{
    const AgendaDayCard *day = at(index.row());
    if (!day)
        return {};
    if (role == Title)
        return day->title;
    if (role != Entries)
        return {};
    QVariantList list;
    for (const AgendaEntry &entry : day->entries)
        list.append(QVariantMap{{u"time"_s, entry.time},
                                {u"name"_s, ShownText::line(entry.name)},
                                {u"slotID"_s, uuidText(entry.slotID)},
                                {u"isOneShot"_s, entry.isOneShot}});
    return list;
}

QHash<int, QByteArray> AgendaModel::roleNames() const
{
    return {{Title, "title"}, {Entries, "entries"}};
}

} // namespace Keelhaven
