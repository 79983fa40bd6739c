#pragma once

#include "Surfaces/Agenda.h"
#include "Surfaces/AgentsPane.h"
#include "Surfaces/SlotRow.h"
#include "UI/KeyedListModel.h"

#include <QQmlEngine>

namespace Keelhaven {

/// One line of the agents' list.
struct SlotEntry
{
    SlotRow row;
    bool isLive = false; ///< a run of it is live
    bool operator==(const SlotEntry &) const = default;
};

/// The agents.
class SlotListModel : public KeyedListModel<SlotEntry, QUuid>
{
    Q_OBJECT
    QML_ANONYMOUS

public:
    enum Role {
        ID = Qt::UserRole,
        Name,
        Provider,
        Schedule,
        NextRun,
        IsEnabled,
        CanToggle,
        ToggleHelp,
        IsLive
    };

    using KeyedListModel::KeyedListModel;
    using KeyedListModel::show;

    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

protected:
    [[nodiscard]] QUuid key(const SlotEntry &entry) const override { return entry.row.id; }
};

/// Live and waiting runs.
class QueueModel : public KeyedListModel<QueueRow, QString>
{
    Q_OBJECT
    QML_ANONYMOUS

public:
    enum Role { RunID = Qt::UserRole, Title, Subtitle, State, StateHelp, IsLive, IsBlocked, Elapsed };

    using KeyedListModel::KeyedListModel;
    using KeyedListModel::show;

    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    /// Gives the moment that elapsed times are counted to.
    std::function<Date()> now;
    void refreshElapsed() { refresh({Elapsed}); }

protected:
    [[nodiscard]] QString key(const QueueRow &row) const override { return row.id; }
};

/// One line of the history, with what its picture needs.
struct HistoryEntry
{
    HistoryRow row;
    QList<QUuid> runIDs;
    QString day;     ///< the heading it stands under
    QString message; ///< how what it reported begins, as Markdown
    QString icon;
    QString tone;
    bool operator==(const HistoryEntry &) const = default;
};

/// Finished runs, newest first.
class HistoryModel : public KeyedListModel<HistoryEntry, QString>
{
    Q_OBJECT
    QML_ANONYMOUS

public:
    enum Role { ID = Qt::UserRole, RunID, Title, Subtitle, Message, Day, Icon, Tone, IsTask, IsHidden };

    using KeyedListModel::KeyedListModel;
    using KeyedListModel::show;

    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

protected:
    [[nodiscard]] QString key(const HistoryEntry &entry) const override { return entry.row.id; }
};

/// The days of the agenda, each with its firings.
class AgendaModel : public KeyedListModel<AgendaDayCard, qint64>
{
    Q_OBJECT
    QML_ANONYMOUS

public:
    enum Role { Title = Qt::UserRole, Entries };

    using KeyedListModel::KeyedListModel;
    using KeyedListModel::show;

    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

protected:
    [[nodiscard]] qint64 key(const AgendaDayCard &day) const override
    {
        return day.start.time_since_epoch().count();
    }
};

} // namespace Keelhaven
