#pragma once

#include "Scheduler/Model/ModelOption.h"
#include "Scheduler/Model/PluginOption.h"

namespace Keelhaven {

/// What a dispatcher session is given to judge one message by: "inbox/{id}.request.json".
struct DispatchRequestFile
{
    struct Message
    {
        QString text;
        std::optional<QString> from; ///< the sender's name
        std::optional<QString> messageID;
        bool operator==(const Message &) const = default;
    };

    struct RecentTask
    {
        QString taskID;
        QString name;
        std::optional<QString> project;
        QString status; ///< in words
        std::optional<QString> summary;
        std::optional<QStringList> artifacts; ///< paths
        std::optional<Date> finishedAt;
        bool operator==(const RecentTask &) const = default;
    };

    struct ShipOption
    {
        struct Agent
        {
            QString id; ///< upper-case UUID text
            QString name;
            QString command;
            bool operator==(const Agent &) const = default;
        };

        QString id; ///< upper-case UUID text
        QString name;
        QString mission;
        QStringList plugins;
        QList<Agent> agents;
        QString status; ///< in words
        bool operator==(const ShipOption &) const = default;
    };

    static constexpr int currentVersion = 6;

    int version = currentVersion;
    QString dispatchID;
    Date receivedAt{};
    Message message;
    QString responsePath; ///< absolute
    std::optional<QString> rootFolder;
    std::optional<QList<RecentTask>> recentTasks;
    std::optional<QList<PluginOption>> plugins;
    std::optional<QList<ModelOption>> models;
    std::optional<QString> instructions;
    std::optional<QList<ShipOption>> ships; ///< nothing, not an empty list, when there are none
    std::optional<QString> oneOffShipID;
    std::optional<QString> shipHint; ///< the ship chosen on the board

    bool operator==(const DispatchRequestFile &) const = default;
};

template <>
struct RecordTable<DispatchRequestFile::Message>
{
    static auto fields()
    {
        using M = DispatchRequestFile::Message;
        return std::tuple{required(u"text", &M::text), optional(u"from", &M::from),
                          optional(u"message_id", &M::messageID)};
    }
};

template <>
struct RecordTable<DispatchRequestFile::RecentTask>
{
    static auto fields()
    {
        using T = DispatchRequestFile::RecentTask;
        return std::tuple{required(u"task_id", &T::taskID),        required(u"name", &T::name),
                          optional(u"project", &T::project),       required(u"status", &T::status),
                          optional(u"summary", &T::summary),       optional(u"artifacts", &T::artifacts),
                          optional(u"finished_at", &T::finishedAt)};
    }
};

template <>
struct RecordTable<DispatchRequestFile::ShipOption::Agent>
{
    static auto fields()
    {
        using A = DispatchRequestFile::ShipOption::Agent;
        return std::tuple{required(u"id", &A::id), required(u"name", &A::name),
                          required(u"command", &A::command)};
    }
};

template <>
struct RecordTable<DispatchRequestFile::ShipOption>
{
    static auto fields()
    {
        using S = DispatchRequestFile::ShipOption;
        return std::tuple{required(u"id", &S::id),           required(u"name", &S::name),
                          required(u"mission", &S::mission), required(u"plugins", &S::plugins),
                          required(u"agents", &S::agents),   required(u"status", &S::status)};
    }
};

template <>
struct RecordTable<DispatchRequestFile>
{
    static auto fields()
    {
        using F = DispatchRequestFile;
        return std::tuple{required(u"version", &F::version),
                          required(u"dispatch_id", &F::dispatchID),
                          required(u"received_at", &F::receivedAt),
                          required(u"message", &F::message),
                          required(u"response_path", &F::responsePath),
                          optional(u"root_folder", &F::rootFolder),
                          optional(u"recent_tasks", &F::recentTasks),
                          optional(u"plugins", &F::plugins),
                          optional(u"models", &F::models),
                          optional(u"instructions", &F::instructions),
                          optional(u"ships", &F::ships),
                          optional(u"one_off_ship_id", &F::oneOffShipID),
                          optional(u"ship_hint", &F::shipHint)};
    }
};

} // namespace Keelhaven
