#pragma once

#include "Platform/Clock.h"
#include "Ships/WorkItem.h"
#include "Store/SQLite/KeelhavenDatabase.h"

#include <QObject>

namespace Keelhaven {

/// A question that waits for the user, with the item it hangs on.
struct OpenQuestion
{
    WorkItem item;
    HumanQuestion question;
};

/// The tasks of all ships: those that are open and those completed in the last two weeks. Main loop only.
class WorkItemStore : public QObject
{
    Q_OBJECT

public:
    /// Both outlive the store. Empty until load().
    WorkItemStore(KeelhavenDatabase &database, const Clock &clock);

    /// Fills items() from the table, newest change first. Items completed more than 14 days before `now` stay
    /// in the table only.
    void load(Date now);

    [[nodiscard]] const QList<WorkItem> &items() const { return m_items; }
    [[nodiscard]] std::optional<WorkItem> item(const QString &id) const;
    [[nodiscard]] QList<WorkItem> itemsForShip(const QUuid &shipID) const;
    [[nodiscard]] std::optional<WorkItem> itemForDispatch(const QString &dispatchID) const;
    [[nodiscard]] std::optional<WorkItem> itemForRun(const QUuid &runID) const;
    /// Whether any of the items has a question with this id, open or not.
    [[nodiscard]] bool hasQuestion(const QString &id) const;
    /// Of one ship, or of all; the latest asked first.
    [[nodiscard]] QList<OpenQuestion> openQuestions(const std::optional<QUuid> &shipID) const;
    [[nodiscard]] qsizetype needsYouCount(const std::optional<QUuid> &shipID) const;

    /// Stores the item with its time of change, and of completion when it first reaches a terminal status,
    /// and gives it back so. On failure items() stays as it was.
    Result<WorkItem, SQLiteError> upsert(WorkItem item);

    // What follows drops a failed write: items() then keeps the old item.

    /// An absent `summary` or `error` leaves the item's.
    void setStatus(const QString &id, WorkItem::Status status, const std::optional<QString> &summary = {},
                   const std::optional<QString> &error = {});
    void attachRun(const QUuid &runID, const QString &id);
    /// Blocks the item unless it is finished.
    void appendQuestion(const HumanQuestion &question, const QString &id);
    /// The changed item, nothing for an unknown question. A blocked item whose last open question this was
    /// opens again.
    std::optional<WorkItem> answer(const QString &questionID, const QString &text);
    std::optional<WorkItem> dismiss(const QString &questionID);

Q_SIGNALS:
    /// items() changed.
    void changed();

private:
    [[nodiscard]] Result<void, SQLiteError> write(const WorkItem &item);
    std::optional<WorkItem> settle(const QString &questionID,
                                   const std::function<void(HumanQuestion &)> &change);

    KeelhavenDatabase &m_database;
    const Clock &m_clock;
    QList<WorkItem> m_items;
};

} // namespace Keelhaven
