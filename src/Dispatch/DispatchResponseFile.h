#pragma once

#include "Contract/RecordMapper.h"

namespace Keelhaven {

enum class DispatchAction { CreateTask, Reject, FollowUp, Reply };

template <>
struct EnumTexts<DispatchAction>
{
    static constexpr std::array<std::u16string_view, 4> texts{u"create_task", u"reject", u"follow_up",
                                                              u"reply"};
};

/// What a dispatcher session decided: "outbox/{id}.response.json". A model writes it, so what is not needed
/// to know the decision is read as leniently as can be.
struct DispatchResponseFile
{
    struct Project
    {
        QString name;
        QString path;
        std::optional<bool> create; ///< whether the folder may be created
        bool operator==(const Project &) const = default;
    };

    struct TaskSpec
    {
        QString name;
        QString prompt;
        std::optional<QString> when; ///< "now", empty or absent mean at once; else an ISO-8601 time
        std::optional<int> timeoutMinutes;
        QStringList plugins;
        std::optional<QString> model;
        bool operator==(const TaskSpec &) const = default;
    };

    std::optional<int> version; ///< read, not checked
    QString dispatchID;
    DispatchAction action = DispatchAction::Reject;
    std::optional<Project> project; ///< CreateTask
    std::optional<TaskSpec> task;   ///< CreateTask
    std::optional<QString> reason;  ///< Reject
    std::optional<QString> taskID;  ///< FollowUp
    std::optional<QString> text;    ///< FollowUp, Reply
    std::optional<QString> shipID;  ///< CreateTask

    bool operator==(const DispatchResponseFile &) const = default;
};

template <>
struct RecordTable<DispatchResponseFile::Project>
{
    static auto fields()
    {
        using P = DispatchResponseFile::Project;
        return std::tuple{required(u"name", &P::name), required(u"path", &P::path),
                          optional(u"create", &P::create)};
    }
};

template <>
struct RecordTable<DispatchResponseFile::TaskSpec>
{
    static auto fields()
    {
        using T = DispatchResponseFile::TaskSpec;
        return std::tuple{defaulted(u"name", &T::name),
                          defaulted(u"prompt", &T::prompt),
                          optional(u"when", &T::when),
                          optional(u"timeout_minutes", &T::timeoutMinutes),
                          defaulted(u"plugins", &T::plugins).lenient(),
                          optional(u"model", &T::model).lenient()};
    }
    /// A single plugin may stand without a list; blank entries and a blank model mean nothing.
    static void decoded(DispatchResponseFile::TaskSpec &task, const JSONObject &object);
};

template <>
struct RecordTable<DispatchResponseFile>
{
    static auto fields()
    {
        using F = DispatchResponseFile;
        return std::tuple{optional(u"version", &F::version), required(u"dispatch_id", &F::dispatchID),
                          required(u"action", &F::action),   optional(u"project", &F::project),
                          optional(u"task", &F::task),       optional(u"reason", &F::reason),
                          optional(u"task_id", &F::taskID),  optional(u"text", &F::text),
                          optional(u"ship_id", &F::shipID)};
    }
};

} // namespace Keelhaven
