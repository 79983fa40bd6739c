#pragma once

#include "Contract/JSONValue.h"

#include <QList>
#include <QMap>

namespace Keelhaven {

/// One slip of a launch's date.
struct LaunchPushback
{
    std::optional<QString> from;
    std::optional<QString> to;
    std::optional<QString> reason;
    std::optional<QString> at;

    [[nodiscard]] static LaunchPushback fromJSON(const JSONValue &json);
    bool operator==(const LaunchPushback &) const = default;
};

/// What a project is shipping: a launch of a product, not of a run.
struct Launch
{
    JSONObject raw;
    QString id; ///< without one in the file, a new UUID at each reading
    std::optional<QString> type;
    std::optional<QString> title;
    std::optional<QString> action; ///< the act that ships it
    std::optional<QString> targetDate;
    std::optional<QString> goals;
    std::optional<QString> createdAt;
    QList<LaunchPushback> history;
    std::optional<QString> status; ///< how a past launch ended
    std::optional<QString> completedAt;

    [[nodiscard]] static Launch fromJSON(const JSONValue &json);
    bool operator==(const Launch &) const = default;
};

/// What the user set for one project.
struct ProjectContext
{
    JSONObject raw;
    std::optional<Launch> activeLaunch;
    QList<Launch> pastLaunches;
    std::optional<QString> vision;
    std::optional<QString> status;
    std::optional<QString> display;
    std::optional<QString> updatedAt;

    [[nodiscard]] static ProjectContext fromJSON(const JSONValue &json);
    bool operator==(const ProjectContext &) const = default;
};

/// context.json: every key is a project's name.
struct ContextFile
{
    JSONObject raw;
    QMap<QString, ProjectContext> projects;

    /// Never fails: anything but an object reads as an empty one.
    [[nodiscard]] static ContextFile fromJSON(const JSONValue &json);
    [[nodiscard]] static ContextFile empty() { return {}; }

    bool operator==(const ContextFile &) const = default;
};

} // namespace Keelhaven
