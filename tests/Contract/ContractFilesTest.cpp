#include "Contract/Models/MachineKey.h"
#include "Contract/Models/Snapshot.h"
#include "Platform/Files.h"
#include "Platform/Uuid.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

JSONValue parsed(QByteArrayView text)
{
    return JSONValue::parse(text).value();
}

JSONValue file(const QString &name)
{
    const auto bytes = readFile(QStringLiteral(KEELHAVEN_SOURCE_DIR "/tests/Contract/files/") + name);
    return JSONValue::parse(bytes.value()).value();
}

/// The value at the end of `path`; a number is a place in an array.
JSONValue at(const JSONValue &root, const QStringList &path)
{
    JSONValue value = root;
    for (const QString &step : path) {
        const JSONArray *array = value.arrayValue();
        const JSONValue next = array ? array->at(step.toUInt()) : *value[step];
        value = next;
    }
    return value;
}

template <typename T>
T readWithoutRaw(const JSONObject &object)
{
    T record = T::fromJSON(object);
    if constexpr (requires { record.raw; })
        record.raw = {};
    return record;
}

/// The record reads each key of `json`; a value of another kind, and null, count as absent.
template <typename T>
void checkKeys(const JSONValue &json, const QStringList &passedOver = {})
{
    const JSONObject &object = *json.objectValue();
    const T whole = readWithoutRaw<T>(object);
    for (const auto &[key, value] : object) {
        SCOPED_TRACE(key.toStdString());
        if (passedOver.contains(key))
            continue;
        JSONObject without = object;
        without.remove(key);
        const T expected = readWithoutRaw<T>(without);
        EXPECT_NE(expected, whole) << "nobody reads this key";
        for (const JSONValue &other : {JSONValue(), JSONValue(u"x"_s), JSONValue(1.5), JSONValue(true),
                                       JSONValue(JSONArray{5}), JSONValue(JSONObject{{u"k"_s, 5}})}) {
            const bool isNumber = value.doubleValue() && other.doubleValue();
            if (other.kind() == value.kind() || (isNumber && key == u"last_event_ts"))
                continue;
            JSONObject changed = object;
            changed.set(key, other);
            EXPECT_EQ(readWithoutRaw<T>(changed), expected) << other.serialized().toStdString();
        }
    }
}

TEST(ContractFiles, EveryKeyIsReadAndOneOfTheWrongKindIsAbsent)
{
    const JSONValue state = file(u"state.json"_s);
    const QString slug = u"zoo/stripes"_s;
    checkKeys<StateFile>(state);
    checkKeys<ProjectState>(at(state, {u"projects"_s, u"Zebra"_s}), {u"from_a_later_version"_s});
    checkKeys<RepoState>(at(state, {u"projects"_s, u"Zebra"_s, u"repos"_s, slug}));
    checkKeys<ActivityRecord>(at(state, {u"activity"_s, slug}));
    checkKeys<SyncStatus>(at(state, {u"local_sync"_s, u"ship"_s, slug}));
    const JSONValue analysis = at(state, {u"analysis"_s, slug});
    checkKeys<AnalysisResult>(analysis);
    checkKeys<PromptFinding>(at(analysis, {u"prompts"_s, u"0"_s}));
    checkKeys<DBTable>(at(analysis, {u"db"_s, u"0"_s}));
    checkKeys<StructureEntry>(at(analysis, {u"structure"_s, u"0"_s}));

    const JSONValue ai = file(u"ai.json"_s);
    const auto item = [&](const QString &panel) { return at(ai, {panel, slug, u"items"_s, u"0"_s}); };
    checkKeys<AIFile>(ai);
    checkKeys<AISummary>(at(ai, {u"summaries"_s, u"Zebra"_s}));
    checkKeys<AIDigest>(at(ai, {u"digests"_s, u"Zebra"_s}));
    checkKeys<AIArchitecture>(at(ai, {u"architecture"_s, slug}));
    checkKeys<AIPromptsPanel>(at(ai, {u"prompts"_s, slug}));
    checkKeys<AISetupPanel>(at(ai, {u"setup"_s, slug}));
    checkKeys<AISnippetsPanel>(at(ai, {u"snippets"_s, slug}));
    checkKeys<AIDataShapePanel>(at(ai, {u"data_shape"_s, slug}));
    checkKeys<AIPromptItem>(item(u"prompts"_s));
    checkKeys<AISnippetItem>(item(u"snippets"_s));
    checkKeys<AIDataShapeItem>(item(u"data_shape"_s));
    checkKeys<AIWorkReviews>(at(ai, {u"work_reviews"_s, u"Zebra"_s}));
    const JSONValue unit = at(ai, {u"work_reviews"_s, u"Zebra"_s, u"items"_s, u"0"_s});
    checkKeys<WorkUnit>(unit, {u"id"_s});
    checkKeys<WorkDecision>(at(unit, {u"decisions"_s, u"0"_s}));
    checkKeys<WorkSurfaceItem>(at(unit, {u"surface"_s, u"0"_s}));

    const JSONValue project = at(file(u"context.json"_s), {u"Zebra"_s});
    checkKeys<ProjectContext>(project, {u"active_launch"_s});
    checkKeys<Launch>(at(project, {u"active_launch"_s}), {u"id"_s});
    checkKeys<LaunchPushback>(at(project, {u"active_launch"_s, u"history"_s, u"0"_s}));
}

TEST(ContractFiles, StateHoldsWhatTheFileSays)
{
    const JSONValue json = file(u"state.json"_s);
    const StateFile state = StateFile::fromJSON(json);
    EXPECT_EQ(JSONValue(state.raw), json);
    EXPECT_EQ(state.lastError, u"github: 502"_s);
    EXPECT_EQ(state.projectOrder, (QStringList{u"Zebra"_s, u"Ape"_s}));
    EXPECT_EQ(state.projects.keys(), (QStringList{u"Ape"_s, u"Zebra"_s}));
    EXPECT_EQ(state.projects[u"Ape"_s], ProjectState());

    const ProjectState zebra = state.projects[u"Zebra"_s];
    EXPECT_EQ(zebra.commitsToday, 4);
    EXPECT_EQ(zebra.daysIdle, 2);
    EXPECT_EQ(zebra.dailyCounts, (QMap<QString, qint64>{{u"2026-03-04"_s, 4}, {u"2026-03-03"_s, 1}}));
    EXPECT_EQ(zebra.raw[u"from_a_later_version"]->serialized(), u"{\"kept\": [1, 2.0]}"_s);
    EXPECT_EQ(zebra.repos[u"zoo/bare"_s], RepoState());
    const RepoState stripes = zebra.repos[u"zoo/stripes"_s];
    EXPECT_EQ(stripes.alsoProviders, (QStringList{u"localgit"_s, u"remote"_s}));
    EXPECT_EQ((QStringList{*stripes.provider, *stripes.workspace, *stripes.branch, *stripes.path,
                           *stripes.head, *stripes.lastDate, *stripes.fetchError})
                  .join(u' '),
              u"github zoo main /home/u/stripes abc 2026-03-04 denied"_s);

    EXPECT_EQ(state.linksForMachine(u"ship"_s), (StateFile::Links{{u"zoo/stripes"_s, u"/home/u/stripes"_s}}));
    EXPECT_TRUE(state.linksForMachine(u"wreck"_s).isEmpty());
    const auto sync = state.syncForMachine(u"ship"_s);
    EXPECT_EQ(sync[u"zoo/stripes"_s].ahead, 2);
    EXPECT_EQ(sync[u"zoo/new"_s], SyncStatus());
    EXPECT_EQ(sync[u"zoo/new"_s].status, u"unknown"_s);
    EXPECT_TRUE(state.syncForMachine(u"elsewhere"_s).isEmpty());

    const ActivityRecord activity = state.activity[u"zoo/stripes"_s];
    EXPECT_EQ(activity.lastEventTs, 1772600000.0);
    ASSERT_EQ(activity.recent.size(), 2);
    EXPECT_EQ(activity.recent[1].note, u"look"_s);

    const AnalysisResult analysis = state.analysis[u"zoo/stripes"_s];
    ASSERT_EQ(analysis.prompts.size(), 2);
    EXPECT_EQ(analysis.prompts[1], PromptFinding()) << "a list keeps its places";
    EXPECT_EQ(analysis.db[0].columns, (QStringList{u"id"_s, u"at"_s}));
    EXPECT_EQ(analysis.diagrams, (QMap<QString, QString>{{u"flow"_s, u"graph TD"_s}}));
    EXPECT_EQ(analysis.statsFiles, 41);
    EXPECT_EQ(analysis.statsByExt, (QMap<QString, qint64>{{u"py"_s, 40}}));
}

TEST(ContractFiles, SchemaVersions)
{
    const std::tuple<const char *, std::optional<qint64>, bool> cases[] = {
        {"{}", std::nullopt, false},
        {R"({"schema_version": "3"})", std::nullopt, false},
        {R"({"schema_version": 3.0})", 3, false},
        {R"({"schema_version": 3.5})", std::nullopt, false},
        {R"({"schema_version": 2})", 2, true},
        {R"({"schema_version": 4})", 4, true},
    };
    for (const auto &[text, version, isUnknown] : cases) {
        const StateFile state = StateFile::fromJSON(parsed(text));
        EXPECT_EQ(state.schemaVersion, version) << text;
        EXPECT_EQ(state.hasUnknownSchema(), isUnknown) << text;
    }
}

TEST(ContractFiles, AIHoldsWhatTheAssistantWrote)
{
    const AIFile ai = AIFile::fromJSON(file(u"ai.json"_s));
    const QString slug = u"zoo/stripes"_s;
    EXPECT_EQ(ai.summaries[u"Zebra"_s].headSig, u"sig"_s);
    EXPECT_EQ(ai.digests[u"Zebra"_s].review, (QStringList{u"look"_s, u"again"_s}));
    EXPECT_EQ(ai.architecture[slug].head, u"h3"_s);
    ASSERT_EQ(ai.prompts[slug].items.size(), 2);
    EXPECT_EQ(ai.prompts[slug].items[1], AIPromptItem());
    EXPECT_EQ(ai.setup[slug].text, u"make"_s);
    EXPECT_EQ(ai.snippets[slug].items[0].code, u"while"_s);
    EXPECT_EQ(ai.dataShape[slug].items[0].line, 5);
    EXPECT_EQ(ai.dataShape[slug].items[0].fields, QStringList{u"id"_s});
    const WorkUnit unit = ai.workReviews[u"Zebra"_s].items[0];
    EXPECT_EQ(unit.id, u"w1"_s);
    EXPECT_EQ(unit.periodFrom, u"2026-03-01"_s);
    EXPECT_EQ(unit.periodTo, u"2026-03-04"_s);
    EXPECT_EQ(unit.decisions[0].line, 6);
    EXPECT_EQ(unit.surface[0].detail, u"new"_s);
    EXPECT_EQ(unit.snippets[0].title, u"brush"_s);

    for (const auto &[text, hasRun] : {std::pair{"{}", false},
                                       {R"({"summaries": {}, "setup": {"a": {}}})", false},
                                       {R"({"summaries": {"a": 1}})", true},
                                       {R"({"digests": {"a": {}}})", true},
                                       {R"({"architecture": {"a": {}}})", true}})
        EXPECT_EQ(AIFile::fromJSON(parsed(text)).agentHasRun(), hasRun) << text;
}

TEST(ContractFiles, ContextHasOneRecordAProject)
{
    const ContextFile context = ContextFile::fromJSON(file(u"context.json"_s));
    const ProjectContext zebra = context.projects[u"Zebra"_s];
    ASSERT_TRUE(zebra.activeLaunch);
    EXPECT_EQ(zebra.activeLaunch->id, u"l1"_s);
    EXPECT_EQ(zebra.activeLaunch->targetDate, u"2026-04-01"_s);
    EXPECT_EQ(zebra.activeLaunch->history[0].reason, u"rain"_s);
    EXPECT_EQ(zebra.pastLaunches[0].status, u"shipped"_s);
    const ProjectContext ape = context.projects[u"Ape"_s];
    EXPECT_EQ(ape.activeLaunch, std::nullopt);
    ASSERT_EQ(ape.pastLaunches.size(), 1);
    EXPECT_TRUE(uuidFromText(ape.pastLaunches[0].id));
}

TEST(ContractFiles, AMissingIdIsANewOneAtEachReading)
{
    const JSONValue project = parsed(R"({"active_launch": "soon"})");
    const auto first = ProjectContext::fromJSON(project).activeLaunch;
    const auto second = ProjectContext::fromJSON(project).activeLaunch;
    ASSERT_TRUE(first && second);
    EXPECT_TRUE(uuidFromText(first->id));
    EXPECT_NE(first->id, second->id);
    Launch expected;
    expected.id = first->id;
    EXPECT_EQ(*first, expected) << "nothing else in it";
    EXPECT_NE(WorkUnit::fromJSON(parsed("{}")).id, WorkUnit::fromJSON(parsed(R"({"id": 7})")).id);
    EXPECT_EQ(WorkUnit::fromJSON(parsed(R"({"id": ""})")).id, QString());
}

TEST(ContractFiles, CredentialsTellOnlyWhatIsConfigured)
{
    struct Case
    {
        const char *text;
        bool bitbucket, github, localgit;
    };
    const Case cases[] = {
        {"{}", false, false, false},
        {R"({"github": {"enabled": true, "token": "s"}})", false, true, false},
        {R"({"github": {"enabled": true, "token": ""}})", false, false, false},
        {R"({"github": {"enabled": 1, "token": "s"}})", false, false, false},
        {R"({"github": {"token": "s"}, "localgit": {"enabled": true}})", false, false, true},
        {R"({"github": "s", "localgit": true})", false, false, false},
        {R"({"bitbucket": {"enabled": true, "workspace": "w", "email": "e", "token": "s"}})", true, false,
         false},
        {R"({"bitbucket": {"enabled": true, "workspace": "w", "email": 1, "token": "s"}})", false, false,
         false},
        {R"({"bitbucket": {"enabled": true, "workspace": "", "email": "e", "token": "s"}})", false, false,
         false},
    };
    for (const auto &c : cases) {
        const auto peek = CredentialsPeek::fromJSON(parsed(c.text));
        EXPECT_EQ(peek.bitbucketEnabled, c.bitbucket) << c.text;
        EXPECT_EQ(peek.githubEnabled, c.github) << c.text;
        EXPECT_EQ(peek.localgitEnabled, c.localgit) << c.text;
        EXPECT_EQ(peek.hasAnySource(), c.bitbucket || c.github || c.localgit) << c.text;
        EXPECT_TRUE(peek.hideIdleLocal);
    }
    const auto peek = CredentialsPeek::fromJSON(
        parsed(R"({"local_roots": ["~/a", 1], "commit_window_days": 0, "hide_idle_local": false})"));
    EXPECT_EQ(peek.localRoots, QStringList{u"~/a"_s});
    EXPECT_EQ(peek.commitWindowDays, 0);
    EXPECT_FALSE(peek.hideIdleLocal);
}

TEST(ContractFiles, AnythingButAnObjectReadsAsNothing)
{
    for (const char *text : {"{}", "[{}]", "null", "\"x\"", "7"}) {
        const JSONValue json = parsed(text);
        EXPECT_EQ(StateFile::fromJSON(json), StateFile::empty()) << text;
        EXPECT_EQ(AIFile::fromJSON(json), AIFile::empty()) << text;
        EXPECT_EQ(ContextFile::fromJSON(json), ContextFile::empty()) << text;
        EXPECT_EQ(CredentialsPeek::fromJSON(json), CredentialsPeek::empty()) << text;
    }
}

TEST(MachineKey, IsTheNodeName)
{
    char name[256] = {};
    ASSERT_EQ(::gethostname(name, sizeof name - 1), 0);
    EXPECT_EQ(MachineKey::current(), MachineKey::fromNodeName(&name[0]));
    EXPECT_EQ(MachineKey::fromNodeName(""), u"unknown"_s);
    EXPECT_EQ(MachineKey::fromNodeName("ship\xff-\xc3\xa9"), u"ship\uFFFD-é"_s);
}

} // namespace
} // namespace Keelhaven
