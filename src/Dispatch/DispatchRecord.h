#pragma once

#include "Dispatch/ChatAddress.h"
#include "Scheduler/Model/AgentProvider.h"
#include "Scheduler/Model/TaskResult.h"

namespace Keelhaven {

/// Where a message came from.
enum class DispatchSource { Telegram, Slack, App };

template <>
struct EnumTexts<DispatchSource>
{
    static constexpr std::array<std::u16string_view, 3> texts{u"telegram", u"slack", u"app"};
};

[[nodiscard]] DispatchSource dispatchSourceFrom(ChannelKind channel);

/// How far a message has come.
enum class DispatchStatus {
    Received,    ///< recorded, nothing started
    Dispatching, ///< a dispatcher session is deciding
    TaskCreated, ///< waiting for its run or its time
    Rejected,    ///< the dispatcher refused
    Failed,      ///< at some step
    Completed,   ///< the task's last run finished well
    Continuing,  ///< a follow-up is running or starting
    Cancelled,
    Forwarded, ///< went to another task as a follow-up
    Answered   ///< the dispatcher replied without a task
};

template <>
struct EnumTexts<DispatchStatus>
{
    static constexpr std::array<std::u16string_view, 10> texts{
        u"received",  u"dispatching", u"taskCreated", u"rejected",  u"failed",
        u"completed", u"continuing",  u"cancelled",   u"forwarded", u"answered"};
};

/// Whether no further step is under way.
[[nodiscard]] bool isSettled(DispatchStatus status);

/// One message that reached the dispatcher, and the task it may have become.
struct DispatchRecord
{
    using Source = DispatchSource;
    using Status = DispatchStatus;

    /// A further message about a task.
    struct FollowUp
    {
        std::optional<QString> eventID; ///< nothing for one from the board
        QString text;
        Date receivedAt{};
        bool operator==(const FollowUp &) const = default;
    };

    QString id;                      ///< eight lower-case hexadecimal characters
    QString eventID;                 ///< the channel's own id of the message; tells a repeated delivery
    std::optional<ChatAddress> chat; ///< nothing for a message from the board
    Date receivedAt{};
    QString messageText; ///< as received, trimmed
    Source source = Source::Telegram;
    Status status = Status::Received;
    std::optional<QUuid> dispatcherSlotID; ///< the dispatcher session's agent
    std::optional<QUuid> taskSlotID;       ///< the task's agent; set means the record is a task
    std::optional<QString> projectName;
    std::optional<QString> error;     ///< why it failed, was rejected or was interrupted
    std::optional<QString> replyText; ///< what the dispatcher answered, or "→ #{id}" of a forwarded message
    std::optional<QString> forwardedTaskID;
    std::optional<QString> taskName;
    std::optional<QString> projectPath; ///< absolute
    QStringList workspacePlugins;
    std::optional<QString> workspaceSlug;
    std::optional<AgentProvider> workerProvider; ///< nothing means Claude
    std::optional<QString> workerModel;
    std::optional<QString> prompt;  ///< as given to the agent, standing instructions included
    std::optional<QString> taskDir; ///< absolute
    QStringList messageIDs; ///< chat messages of this task: the user's first, then every one sent for it
    QList<QUuid> runIDs;    ///< oldest first, without duplicates
    std::optional<QString> sessionID; ///< agent session of the latest run
    std::optional<TaskResult> result;
    std::optional<QString> completionMessage;
    std::optional<Date> completedAt;        ///< when the task last finished
    std::optional<QString> deliveryError;   ///< why the last upload failed; cleared by the next success
    std::optional<QString> pendingFollowUp; ///< held back until the current run ends
    QList<FollowUp> followUps;              ///< every one received, in order
    std::optional<QUuid> shipID;
    std::optional<QString> workItemID;

    bool operator==(const DispatchRecord &) const = default;

    [[nodiscard]] bool isTask() const { return taskSlotID.has_value(); }
    /// The task's name, else the first 40 characters of the message.
    [[nodiscard]] QString displayName() const;

    [[nodiscard]] static QString newID();
    /// A fresh record of a line typed on the board.
    [[nodiscard]] static DispatchRecord fromApp(const QString &text, Date now);
};

template <>
struct RecordTable<DispatchRecord::FollowUp>
{
    static auto fields()
    {
        using F = DispatchRecord::FollowUp;
        return std::tuple{optional(u"eventID", &F::eventID), required(u"text", &F::text),
                          required(u"receivedAt", &F::receivedAt)};
    }
    /// Older ledgers number the messages under "updateID".
    static void decoded(DispatchRecord::FollowUp &followUp, const JSONObject &object);
};

template <>
struct RecordTable<DispatchRecord>
{
    static auto fields()
    {
        using R = DispatchRecord;
        return std::tuple{
            required(u"id", &R::id),
            defaulted(u"eventID", &R::eventID),
            optional(u"chat", &R::chat),
            required(u"receivedAt", &R::receivedAt),
            required(u"messageText", &R::messageText),
            defaulted(u"source", &R::source),
            defaulted(u"status", &R::status),
            optional(u"dispatcherSlotID", &R::dispatcherSlotID),
            optional(u"taskSlotID", &R::taskSlotID),
            optional(u"projectName", &R::projectName),
            optional(u"error", &R::error),
            optional(u"replyText", &R::replyText),
            optional(u"forwardedTaskID", &R::forwardedTaskID),
            optional(u"taskName", &R::taskName),
            optional(u"projectPath", &R::projectPath),
            defaulted(u"workspacePlugins", &R::workspacePlugins),
            optional(u"workspaceSlug", &R::workspaceSlug),
            optional(u"workerProvider", &R::workerProvider),
            optional(u"workerModel", &R::workerModel),
            optional(u"prompt", &R::prompt),
            optional(u"taskDir", &R::taskDir),
            defaulted(u"messageIDs", &R::messageIDs).lenient(),
            defaulted(u"runIDs", &R::runIDs),
            optional(u"sessionID", &R::sessionID),
            optional(u"result", &R::result),
            optional(u"completionMessage", &R::completionMessage),
            optional(u"completedAt", &R::completedAt),
            optional(u"deliveryError", &R::deliveryError),
            optional(u"pendingFollowUp", &R::pendingFollowUp),
            defaulted(u"followUps", &R::followUps),
            optional(u"shipID", &R::shipID),
            optional(u"workItemID", &R::workItemID),
        };
    }
    /// Older ledgers number messages, chats and sent messages as one messenger does.
    static void decoded(DispatchRecord &record, const JSONObject &object);
};

} // namespace Keelhaven
