#pragma once

#include "Contract/Models/AnalysisResult.h"
#include "Contract/Models/EventRecord.h"

namespace Keelhaven {

/// One repository of a project.
struct RepoState
{
    JSONObject raw;
    std::optional<QString> provider; ///< where its commits come from: "github", "localgit", …
    std::optional<QString> workspace;
    std::optional<QString> branch;
    QStringList alsoProviders;
    std::optional<QString> path; ///< of the clone, where the service saw it
    std::optional<QString> head;
    std::optional<QString> lastDate;
    std::optional<QString> fetchError;

    [[nodiscard]] static RepoState fromJSON(const JSONValue &json);
    bool operator==(const RepoState &) const = default;
};

struct ProjectState
{
    JSONObject raw;
    std::optional<QString> display;
    std::optional<QString> groupingSource;
    qint64 commitsToday = 0;
    std::optional<qint64> daysIdle;
    QMap<QString, qint64> dailyCounts; ///< commits by logical day, "YYYY-MM-DD"
    std::optional<QString> headSig;
    std::optional<QString> latestCommitDate;
    QMap<QString, RepoState> repos; ///< by slug; their order on the board is that of `raw`

    [[nodiscard]] static ProjectState fromJSON(const JSONValue &json);
    bool operator==(const ProjectState &) const = default;
};

/// State of one clone on one machine.
struct SyncStatus
{
    JSONObject raw;
    QString status = QStringLiteral("unknown"); ///< "ok", "ahead", "behind" or another word of the service
    std::optional<QString> branch;
    bool dirty = false;
    std::optional<qint64> ahead;
    std::optional<QString> detail;
    std::optional<QString> checkedAt;

    [[nodiscard]] static SyncStatus fromJSON(const JSONValue &json);
    bool operator==(const SyncStatus &) const = default;
};

/// Recent session events of one repository, as the service last compacted them.
struct ActivityRecord
{
    JSONObject raw;
    QList<EventRecord> recent; ///< without the entries that are no events
    std::optional<double> lastEventTs;

    [[nodiscard]] static ActivityRecord fromJSON(const JSONValue &json);
    bool operator==(const ActivityRecord &) const = default;
};

/// state.json, written by the analysis service. Moments are kept as the texts found in it.
struct StateFile
{
    using Links = QMap<QString, QString>;   ///< local path by repository slug
    using Sync = QMap<QString, SyncStatus>; ///< by repository slug

    /// The format this program understands. A file of another one is read as well as it goes.
    static constexpr qint64 knownSchemaVersion = 3;

    JSONObject raw;
    std::optional<qint64> schemaVersion;
    std::optional<QString> lastRefresh;
    bool lastRefreshOk = false;
    std::optional<QString> lastError;
    bool unseenActivity = false;
    QMap<QString, ProjectState> projects;
    QStringList projectOrder;
    QMap<QString, Links> localLinks; ///< by machine
    QMap<QString, AnalysisResult> analysis;
    QStringList dismissedReviews;
    QStringList hiddenWorkReviews;
    QStringList excludedRepos;
    QMap<QString, ActivityRecord> activity;
    QMap<QString, Sync> localSync; ///< by machine

    /// Never fails: anything but an object reads as an empty one.
    [[nodiscard]] static StateFile fromJSON(const JSONValue &json);
    [[nodiscard]] static StateFile empty() { return {}; }

    /// A version is given and it is not ours.
    [[nodiscard]] bool hasUnknownSchema() const
    {
        return schemaVersion && *schemaVersion != knownSchemaVersion;
    }
    /// What one machine knows; empty for a machine the file does not name.
    [[nodiscard]] Links linksForMachine(const QString &machine) const { return localLinks.value(machine); }
    [[nodiscard]] Sync syncForMachine(const QString &machine) const { return localSync.value(machine); }

    bool operator==(const StateFile &) const = default;
};

} // namespace Keelhaven
