#pragma once

#include "Ships/HumanQuestion.h"

namespace Keelhaven {

/// Where a work item stands. Nothing creates Proposed or Rejected items; they stay readable.
enum class WorkItemStatus {
    Proposed,
    Open,
    Scheduled,
    Queued,
    Running,
    Blocked,
    Done,
    Failed,
    Cancelled,
    Rejected
};

template <>
struct EnumTexts<WorkItemStatus>
{
    static constexpr std::array<std::u16string_view, 10> texts{
        u"proposed", u"open", u"scheduled", u"queued",    u"running",
        u"blocked",  u"done", u"failed",    u"cancelled", u"rejected"};
};

[[nodiscard]] bool isTerminal(WorkItemStatus status);

/// Who created a work item.
enum class WorkItemOrigin { User, Captain, Dispatch };

template <>
struct EnumTexts<WorkItemOrigin>
{
    static constexpr std::array<std::u16string_view, 3> texts{u"user", u"captain", u"dispatch"};
};

/// One task of a ship, whoever started it, with the questions that wait for the user.
struct WorkItem
{
    using Status = WorkItemStatus;
    using Origin = WorkItemOrigin;

    QString id; ///< eight characters
    QUuid shipID;
    QString title;
    QString prompt; ///< empty for an item that is only a question
    Status status = Status::Open;
    Origin origin = Origin::User;
    std::optional<QString> dispatchID;
    std::optional<QUuid> agentID;      ///< the agent that runs it
    std::optional<QUuid> captainRunID; ///< the captain pass that created it
    std::optional<QString> projectPath;
    QStringList plugins;
    std::optional<QString> model;
    std::optional<qint64> timeoutMinutes;
    std::optional<Date> scheduledFor;
    QList<HumanQuestion> humanQA; ///< in the order asked
    QList<QUuid> runIDs;          ///< without duplicates
    std::optional<QString> summary;
    std::optional<QString> error;
    std::optional<QString> proposalJSON; ///< kept for proposed items; nothing writes it
    Date createdAt{};
    Date updatedAt{};
    std::optional<Date> completedAt; ///< when it first reached a terminal status

    bool operator==(const WorkItem &) const = default;

    /// A new open item with an id of its own.
    [[nodiscard]] static WorkItem make(const QUuid &shipID, const QString &title, Origin origin, Date now);

    [[nodiscard]] QList<HumanQuestion> openQuestions() const;
    [[nodiscard]] bool needsYou() const;
};

template <>
struct RecordTable<WorkItem>
{
    static auto fields()
    {
        using W = WorkItem;
        return std::tuple{required(u"id", &W::id),
                          required(u"shipID", &W::shipID),
                          required(u"title", &W::title),
                          required(u"prompt", &W::prompt),
                          required(u"status", &W::status),
                          required(u"origin", &W::origin),
                          optional(u"dispatchID", &W::dispatchID),
                          optional(u"agentID", &W::agentID),
                          optional(u"captainRunID", &W::captainRunID),
                          optional(u"projectPath", &W::projectPath),
                          required(u"plugins", &W::plugins),
                          optional(u"model", &W::model),
                          optional(u"timeoutMinutes", &W::timeoutMinutes),
                          optional(u"scheduledFor", &W::scheduledFor),
                          required(u"humanQA", &W::humanQA),
                          required(u"runIDs", &W::runIDs),
                          optional(u"summary", &W::summary),
                          optional(u"error", &W::error),
                          optional(u"proposalJSON", &W::proposalJSON),
                          required(u"createdAt", &W::createdAt),
                          required(u"updatedAt", &W::updatedAt),
                          optional(u"completedAt", &W::completedAt)};
    }
};

} // namespace Keelhaven
