#pragma once

#include "Scheduler/Model/AgentProvider.h"

namespace Keelhaven {

/// Tokens of one run, as its transcript counts them.
struct RunUsage
{
    qint64 input = 0;
    qint64 output = 0;
    qint64 cacheCreation = 0;
    qint64 cacheRead = 0;

    bool operator==(const RunUsage &) const = default;

    /// What counts as work: everything but cache reads. The largest number where the sum would pass it.
    [[nodiscard]] qint64 workTokens() const;
};

template <>
struct RecordTable<RunUsage>
{
    static auto fields()
    {
        using U = RunUsage;
        return std::tuple{defaulted(u"input", &U::input), defaulted(u"output", &U::output),
                          defaulted(u"cacheCreation", &U::cacheCreation),
                          defaulted(u"cacheRead", &U::cacheRead)};
    }
};

/// What started a run. Stored text that is none of these reads as Manual.
enum class RunTrigger { Scheduled, Manual, Captain };

template <>
struct EnumTexts<RunTrigger>
{
    static constexpr std::array<std::u16string_view, 3> texts{u"scheduled", u"manual", u"captain"};
    static constexpr RunTrigger unknown = RunTrigger::Manual;
};

/// How a run ended.
struct RunOutcome
{
    enum class Kind {
        ProcessExited,
        PreflightFailed,
        LaunchFailed,
        Completed,
        Timeout,
        SkippedMissedWindow,
        SkippedNoChanges,
        Cancelled
    };

    Kind kind = Kind::Completed;
    qint32 code = 0; ///< ProcessExited only; -1 when the code is not known
    QString text;    ///< PreflightFailed: the command's output; LaunchFailed: the reason

    bool operator==(const RunOutcome &) const = default;

    [[nodiscard]] static RunOutcome processExited(qint32 code) { return {Kind::ProcessExited, code, {}}; }
    [[nodiscard]] static RunOutcome preflightFailed(const QString &output)
    {
        return {Kind::PreflightFailed, 0, output};
    }
    [[nodiscard]] static RunOutcome launchFailed(const QString &reason)
    {
        return {Kind::LaunchFailed, 0, reason};
    }
    [[nodiscard]] static RunOutcome completed() { return {Kind::Completed, 0, {}}; }
    [[nodiscard]] static RunOutcome timeout() { return {Kind::Timeout, 0, {}}; }
    [[nodiscard]] static RunOutcome skippedMissedWindow() { return {Kind::SkippedMissedWindow, 0, {}}; }
    [[nodiscard]] static RunOutcome skippedNoChanges() { return {Kind::SkippedNoChanges, 0, {}}; }
    [[nodiscard]] static RunOutcome cancelled() { return {Kind::Cancelled, 0, {}}; }

    /// The word of the database column: "process_exited", "completed", …
    [[nodiscard]] QString key() const;
    /// The words shown: "exited (1)", "skipped (missed window)", …
    [[nodiscard]] QString label() const;
    [[nodiscard]] bool isFailure() const;
};

/// An outcome is an object with the case as its only key: {"launchFailed":{"reason":"…"}}, {"completed":{}}.
template <>
struct JSONCodec<RunOutcome>
{
    static Decoded<RunOutcome> decode(const JSONValue &json);
    static JSONValue encode(const RunOutcome &outcome);
};

/// What is known of one run of an agent, from the moment it is queued to long after it ended.
struct RunRecord
{
    using Outcome = RunOutcome;
    using Trigger = RunTrigger;

    QUuid id = QUuid::createUuid();
    QUuid slotID;
    QString slotName;
    QString cwd;                       ///< where the session runs: the project folder, or its workspace
    std::optional<QString> projectDir; ///< the project folder when cwd is a workspace
    QString command;
    Trigger trigger = Trigger::Manual;
    Date startedAt{}; ///< set at enqueue and again at launch; for a skipped occurrence, its time
    std::optional<Date> endedAt;
    std::optional<Outcome> outcome; ///< nothing while live
    std::optional<QString> sessionID;
    std::optional<Date> stalledAt; ///< when it was first seen waiting for a human
    std::optional<QString> completionMessage;
    std::optional<QString>
        scrollbackFile;         ///< "runs/{run id}.txt", relative to the application support directory
    std::optional<bool> hidden; ///< true or nothing
    std::optional<QString> resumeSessionID;
    std::optional<AgentProvider> provider; ///< nothing in old records
    std::optional<QString> model;
    std::optional<QUuid> shipID;
    std::optional<SlotKind> agentKind; ///< nothing in old records
    std::optional<QString> workItemID;
    std::optional<QString> dispatchID;
    std::optional<QUuid> captainRunID; ///< the captain pass that ordered this run
    std::optional<QUuid> launchRunID;  ///< the id under which the session was launched
    std::optional<QString> summary;
    std::optional<RunUsage> usage;
    std::optional<QString> feedback; ///< a user's note on the run
    std::optional<Date> feedbackAt;
    std::optional<QUuid> feedbackSeenByRunID;

    bool operator==(const RunRecord &) const = default;

    [[nodiscard]] AgentProvider resolvedProvider() const { return provider.value_or(AgentProvider::Claude); }
    [[nodiscard]] bool isHidden() const { return hidden.value_or(false); }
    [[nodiscard]] bool hasUnseenFeedback() const { return feedback && !feedbackSeenByRunID; }
    /// Length of the run in minutes, nothing while it is live.
    [[nodiscard]] std::optional<double> minutes() const;
    [[nodiscard]] QString folder() const { return projectDir.value_or(cwd); }
};

template <>
struct RecordTable<RunRecord>
{
    static auto fields()
    {
        using R = RunRecord;
        return std::tuple{
            required(u"id", &R::id),
            required(u"slotID", &R::slotID),
            required(u"slotName", &R::slotName),
            required(u"cwd", &R::cwd),
            optional(u"projectDir", &R::projectDir),
            required(u"command", &R::command),
            required(u"trigger", &R::trigger),
            required(u"startedAt", &R::startedAt),
            optional(u"endedAt", &R::endedAt),
            optional(u"outcome", &R::outcome),
            optional(u"sessionID", &R::sessionID),
            optional(u"stalledAt", &R::stalledAt),
            optional(u"completionMessage", &R::completionMessage),
            optional(u"scrollbackFile", &R::scrollbackFile),
            optional(u"hidden", &R::hidden),
            optional(u"resumeSessionID", &R::resumeSessionID),
            optional(u"provider", &R::provider),
            optional(u"model", &R::model),
            optional(u"shipID", &R::shipID),
            optional(u"agentKind", &R::agentKind),
            optional(u"workItemID", &R::workItemID),
            optional(u"dispatchID", &R::dispatchID),
            optional(u"captainRunID", &R::captainRunID),
            optional(u"launchRunID", &R::launchRunID),
            optional(u"summary", &R::summary),
            optional(u"usage", &R::usage),
            optional(u"feedback", &R::feedback),
            optional(u"feedbackAt", &R::feedbackAt),
            optional(u"feedbackSeenByRunID", &R::feedbackSeenByRunID),
        };
    }
};

} // namespace Keelhaven
