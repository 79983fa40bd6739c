#include "Ships/WorkItemStore.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr auto keptAfterCompletion = std::chrono::days(14);

const QString loadStatement = u"SELECT payload FROM work_items\n"
                              "WHERE completed_at IS NULL OR completed_at >= ?\n"
                              "ORDER BY updated_at DESC"_s;

const QString upsertStatement =
    u"INSERT INTO work_items (id, ship_id, status, origin, dispatch_id, agent_id,\n"
    "                        created_at, updated_at, completed_at, payload)\n"
    "VALUES (?,?,?,?,?,?,?,?,?,?)\n"
    "ON CONFLICT(id) DO UPDATE SET\n"
    "  ship_id = excluded.ship_id, status = excluded.status, origin = excluded.origin,\n"
    "  dispatch_id = excluded.dispatch_id, agent_id = excluded.agent_id,\n"
    "  updated_at = excluded.updated_at, completed_at = excluded.completed_at,\n"
    "  payload = excluded.payload"_s;

template <typename P>
std::optional<WorkItem> firstItem(const QList<WorkItem> &items, P matches)
{
    const auto found = std::ranges::find_if(items, matches);
    return found == items.end() ? std::nullopt : std::optional(*found);
}

/// The question with this id, an open one before a settled one: agents number their questions themselves, and
/// two of them may use one number. Null when there is none.
HumanQuestion *questionIn(WorkItem &item, const QString &id)
{
    HumanQuestion *settled = nullptr;
    for (HumanQuestion &question : item.humanQA) {
        if (question.id != id)
            continue;
        if (question.isOpen())
            return &question;
        settled = settled ? settled : &question;
    }
    return settled;
}

bool holdsQuestion(const WorkItem &item, const QString &id, bool openOnly)
{
    return std::ranges::any_of(item.humanQA, [&](const HumanQuestion &question) {
        return question.id == id && (question.isOpen() || !openOnly);
    });
}

} // namespace

WorkItemStore::WorkItemStore(KeelhavenDatabase &database, const Clock &clock)
    : m_database(database)
    , m_clock(clock)
{}

void WorkItemStore::load(Date now)
{
    const auto rows = m_database.sync([&](SQLiteConnection &connection) {
        return connection.query(loadStatement, {SQLiteValue::date(now - keptAfterCompletion)});
    });
    m_items.clear();
    for (const SQLiteRow &row : rows.value_or(QList<SQLiteRow>())) {
        if (auto item = decodeRecordBytes<WorkItem>(row.utf8(u"payload").value_or(QByteArray())))
            m_items.append(*std::move(item));
    }
    Q_EMIT changed();
}

std::optional<WorkItem> WorkItemStore::item(const QString &id) const
{
    return firstItem(m_items, [&](const WorkItem &item) { return item.id == id; });
}

QList<WorkItem> WorkItemStore::itemsForShip(const QUuid &shipID) const
{
    QList<WorkItem> items;
    std::ranges::copy_if(m_items, std::back_inserter(items),
                         [&](const WorkItem &item) { return item.shipID == shipID; });
    return items;
}

std::optional<WorkItem> WorkItemStore::itemForDispatch(const QString &dispatchID) const
{
    return firstItem(m_items, [&](const WorkItem &item) { return item.dispatchID == dispatchID; });
}

std::optional<WorkItem> WorkItemStore::itemForRun(const QUuid &runID) const
{
    return firstItem(m_items, [&](const WorkItem &item) { return item.runIDs.contains(runID); });
}

bool WorkItemStore::hasQuestion(const QString &id) const
{
    return std::ranges::any_of(m_items, [&](const WorkItem &item) { return holdsQuestion(item, id, false); });
}

QList<OpenQuestion> WorkItemStore::openQuestions(const std::optional<QUuid> &shipID) const
{
    QList<OpenQuestion> open;
    for (const WorkItem &item : m_items) {
        if (shipID && item.shipID != *shipID)
            continue;
        for (const HumanQuestion &question : item.openQuestions())
            open.append({item, question});
    }
    std::ranges::stable_sort(open, std::greater(),
                             [](const OpenQuestion &entry) { return entry.question.askedAt; });
    return open;
}

qsizetype WorkItemStore::needsYouCount(const std::optional<QUuid> &shipID) const
{
    return openQuestions(shipID).size();
}

Result<WorkItem, SQLiteError> WorkItemStore::upsert(WorkItem item)
{
    item.updatedAt = m_clock.now();
    if (isTerminal(item.status) && !item.completedAt)
        item.completedAt = item.updatedAt;
    if (auto written = write(item); !written)
        return failure(std::move(written.error()));
    const auto known = std::ranges::find(m_items, item.id, &WorkItem::id);
    if (known != m_items.end())
        *known = item;
    else
        m_items.prepend(item);
    Q_EMIT changed();
    return item;
}

Result<void, SQLiteError> WorkItemStore::write(const WorkItem &item)
{
    using V = SQLiteValue;
    const QByteArray payload = JSONValue(encodeRecord(item)).encodedPretty();
    const auto written = m_database.sync([&](SQLiteConnection &connection) {
        return connection.run(upsertStatement,
                              {V::text(item.id), V::uuid(item.shipID), V::text(enumText(item.status)),
                               V::text(enumText(item.origin)), V::optText(item.dispatchID),
                               V::optUUID(item.agentID), V::date(item.createdAt), V::date(item.updatedAt),
                               V::optDate(item.completedAt), V::utf8Text(payload)});
    });
    if (!written)
        return failure(written.error());
    return {};
}

void WorkItemStore::setStatus(const QString &id, WorkItem::Status status,
                              const std::optional<QString> &summary, const std::optional<QString> &error)
{
    auto changed = item(id);
    if (!changed)
        return;
    changed->status = status;
    if (summary)
        changed->summary = summary;
    if (error)
        changed->error = error;
    static_cast<void>(upsert(*changed));
}

void WorkItemStore::attachRun(const QUuid &runID, const QString &id)
{
    auto changed = item(id);
    if (!changed)
        return;
    if (!changed->runIDs.contains(runID))
        changed->runIDs.append(runID);
    static_cast<void>(upsert(*changed));
}

void WorkItemStore::appendQuestion(const HumanQuestion &question, const QString &id)
{
    auto changed = item(id);
    if (!changed)
        return;
    changed->humanQA.append(question);
    if (!isTerminal(changed->status))
        changed->status = WorkItem::Status::Blocked;
    static_cast<void>(upsert(*changed));
}

std::optional<WorkItem> WorkItemStore::answer(const QString &questionID, const QString &text)
{
    return settle(questionID, [&](HumanQuestion &question) {
        question.answer = text;
        question.answeredAt = m_clock.now();
    });
}

std::optional<WorkItem> WorkItemStore::dismiss(const QString &questionID)
{
    return settle(questionID, [&](HumanQuestion &question) { question.dismissedAt = m_clock.now(); });
}

std::optional<WorkItem> WorkItemStore::settle(const QString &questionID,
                                              const std::function<void(HumanQuestion &)> &change)
{
    auto item =
        firstItem(m_items, [&](const WorkItem &each) { return holdsQuestion(each, questionID, true); });
    if (!item)
        item =
            firstItem(m_items, [&](const WorkItem &each) { return holdsQuestion(each, questionID, false); });
    if (!item)
        return std::nullopt;
    change(*questionIn(*item, questionID));
    if (item->status == WorkItem::Status::Blocked && !item->needsYou())
        item->status = WorkItem::Status::Open;
    return upsert(*item).value_or(*item);
}

} // namespace Keelhaven
