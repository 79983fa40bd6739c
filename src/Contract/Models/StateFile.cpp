#include "Contract/Models/StateFile.h"

#include "Contract/Models/ContractReading.h"

namespace Keelhaven {

using namespace ContractReading;

namespace {

std::optional<EventRecord> eventOf(const JSONValue &json)
{
    const JSONObject *object = json.objectValue();
    return object ? std::optional(EventRecord::fromJSON(*object)) : std::nullopt;
}

std::optional<StateFile::Links> linksOf(const JSONValue &json)
{
    if (!json.objectValue())
        return std::nullopt;
    return toMap(ObjectReader(json).objectMapSelf(&JSONValue::stringValue));
}

std::optional<StateFile::Sync> syncOf(const JSONValue &json)
{
    if (!json.objectValue())
        return std::nullopt;
    return toMap(ObjectReader(json).objectMapSelf(decode<SyncStatus>));
}

} // namespace

RepoState RepoState::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(),
            .provider = o.string(u"provider"),
            .workspace = o.string(u"workspace"),
            .branch = o.string(u"branch"),
            .alsoProviders = strings(o, u"also_providers"),
            .path = o.string(u"path"),
            .head = o.string(u"head"),
            .lastDate = o.string(u"last_date"),
            .fetchError = o.string(u"fetch_error")};
}

ProjectState ProjectState::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(),
            .display = o.string(u"display"),
            .groupingSource = o.string(u"grouping_source"),
            .commitsToday = o.integer(u"commits_today").value_or(0),
            .daysIdle = o.integer(u"days_idle"),
            .dailyCounts = map(o, u"daily_counts", &JSONValue::intValue),
            .headSig = o.string(u"head_sig"),
            .latestCommitDate = o.string(u"latest_commit_date"),
            .repos = recordMap<RepoState>(o, u"repos")};
}

SyncStatus SyncStatus::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(),
            .status = o.string(u"status").value_or(SyncStatus().status),
            .branch = o.string(u"branch"),
            .dirty = o.bool_(u"dirty").value_or(false),
            .ahead = o.integer(u"ahead"),
            .detail = o.string(u"detail"),
            .checkedAt = o.string(u"checked_at")};
}

ActivityRecord ActivityRecord::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(),
            .recent = o.array(u"recent", eventOf).value_or(QList<EventRecord>()),
            .lastEventTs = o.double_(u"last_event_ts")};
}

StateFile StateFile::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(),
            .schemaVersion = o.integer(u"schema_version"),
            .lastRefresh = o.string(u"last_refresh"),
            .lastRefreshOk = o.bool_(u"last_refresh_ok").value_or(false),
            .lastError = o.string(u"last_error"),
            .unseenActivity = o.bool_(u"unseen_activity").value_or(false),
            .projects = recordMap<ProjectState>(o, u"projects"),
            .projectOrder = strings(o, u"project_order"),
            .localLinks = map(o, u"local_links", linksOf),
            .analysis = recordMap<AnalysisResult>(o, u"analysis"),
            .dismissedReviews = strings(o, u"dismissed_reviews"),
            .hiddenWorkReviews = strings(o, u"hidden_work_reviews"),
            .excludedRepos = strings(o, u"excluded_repos"),
            .activity = recordMap<ActivityRecord>(o, u"activity"),
            .localSync = map(o, u"local_sync", syncOf)};
}

} // namespace Keelhaven
