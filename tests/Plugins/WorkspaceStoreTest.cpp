#include "Plugins/WorkspaceStore.h"

#include "Platform/Tasks.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QDir>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

TEST(TaskWorkspaceTest, RecordsTakeTheirDefaults)
{
    const auto read = [](const char *json, const QString &folder = u"/found"_s) {
        return TaskWorkspace::fromJSON(JSONValue::parse(QByteArrayView(json)).value(), folder);
    };
    const auto poor = read(R"({"id": "a", "task": 5, "plugins": "p", "slot": "s"})");
    ASSERT_TRUE(poor);
    EXPECT_EQ(poor->project, u"?"_s);
    EXPECT_EQ(poor->task, u"?"_s);
    EXPECT_EQ(poor->plugins, QStringList());
    EXPECT_EQ(poor->brief, QString());
    EXPECT_EQ(poor->path, u"/found"_s);
    EXPECT_EQ(poor->slot, std::nullopt);

    const auto rich = read(R"({"id": "a", "project": "p", "task": "t", "created_at": "c", "brief": "b",
        "plugins": ["x@y", 1], "slot_id": "s", "path": "/own", "more": 1,
        "slot": {"id": "i", "name": "n", "prompt": "q", "timeout_minutes": 90, "enabled": true, "summary": "u",
                 "next_fire": "f", "schedule": {"kind": "everyHours", "n": 2, "interval": 2}}})");
    ASSERT_TRUE(rich && rich->slot);
    EXPECT_EQ((QStringList{rich->project, rich->task, *rich->createdAt, rich->brief, rich->plugins.join(u','),
                           *rich->slotID, rich->path})
                  .join(u' '),
              u"p t c b x@y s /own"_s);
    EXPECT_TRUE(rich->raw.find(u"more"));
    const WorkspaceSlot &slot = *rich->slot;
    EXPECT_EQ((QStringList{*slot.id, *slot.name, *slot.prompt, *slot.summary, *slot.nextFire}).join(u' '),
              u"i n q u f"_s);
    EXPECT_EQ(slot.timeoutMinutes, 90);
    EXPECT_TRUE(slot.enabled);
    EXPECT_EQ(slot.schedule(), (ScheduleSpec{ScheduleSpec::EveryHours{2, std::nullopt}}));
    EXPECT_EQ(read(R"({"id": "a", "slot": {"schedule": "daily"}})")->slot->schedule(), std::nullopt);

    for (const char *bad : {"{}", R"({"id": ""})", R"({"id": 3})", "[]"})
        EXPECT_FALSE(read(bad)) << bad;
    EXPECT_FALSE(read(R"({"id": "a"})", QString())) << "without a place";
}

/// A watch that never says anything: the poll has to find what changes.
class SilentWatchFactory : public DirectoryWatchFactory
{
public:
    std::unique_ptr<DirectoryWatch> watch(const QString &, std::function<void()>,
                                          std::function<void()>) override
    {
        return nullptr;
    }
};

class WorkspaceStoreTest : public testing::Test
{
protected:
    void put(const QString &folder, const QByteArray &json)
    {
        home.write(u"KeelhavenWork/"_s + folder + u"/workspace.json"_s, json);
    }
    [[nodiscard]] QString shown() const
    {
        QStringList texts;
        for (const auto &workspace : store.all())
            texts.append(workspace.project + u'/' + workspace.task + u" in "_s +
                         QDir(store.root()).relativeFilePath(workspace.path));
        return texts.join(u", "_s);
    }
    void finish()
    {
        ASSERT_TRUE(waitUntil([this] { return tasks.running() == 0; }));
    }

    TestHome home;
    VirtualClock clock;
    SilentWatchFactory factory;
    Tasks tasks;
    WorkspaceStore store{home.path(u"KeelhavenWork"_s), clock, factory, tasks};
};

TEST_F(WorkspaceStoreTest, ListsTheSecondLevelInOrder)
{
    put(u"shared"_s, R"({"id": "0", "project": "shared", "task": "shared"})");
    put(u"z/one"_s, R"({"id": "1", "project": "b", "task": "z"})");
    put(u"z/two"_s, R"({"id": "2", "project": "b", "task": "Z"})");
    put(u"a/three"_s, R"({"id": "3", "project": "c", "task": "a"})");
    put(u"a/broken"_s, R"({"id": "4")");
    put(u"a/nameless"_s, R"({"project": "a", "task": "a"})");
    put(u"a/three/work/deep"_s, R"({"id": "5", "project": "deep", "task": "a"})");
    home.write(u"KeelhavenWork/file"_s, "");
    store.start();
    finish();
    EXPECT_EQ(shown(), u"b/Z in z/two, b/z in z/one, c/a in a/three"_s);
}

TEST_F(WorkspaceStoreTest, FollowsTheFolderUntilStopped)
{
    int changes = 0;
    QObject::connect(&store, &WorkspaceStore::changed, &store, [&] { ++changes; });
    store.start();
    finish();
    EXPECT_EQ(changes, 0);
    clock.advance(30s);
    EXPECT_EQ(tasks.running(), 0) << "as empty as before: no thread is woken for it";
    put(u"a/one"_s, R"({"id": "1", "project": "a", "task": "one"})");
    clock.advance(30s);
    store.reload();
    finish();
    EXPECT_EQ(shown(), u"a/one in a/one"_s);
    clock.advance(60s);
    finish();
    EXPECT_EQ(changes, 1) << "the same list is no news";
    QDir(home.path(u"KeelhavenWork"_s)).removeRecursively();
    store.stop();
    clock.advance(5min);
    finish();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(clock.timerCount(), 0U);
    store.reload();
    finish();
    EXPECT_TRUE(store.all().isEmpty());
}

TEST(WorkspaceStoreLifetimeTest, StoreMayGoWhileItScans)
{
    const TestHome home;
    VirtualClock clock;
    SilentWatchFactory factory;
    Tasks tasks;
    auto store = std::make_unique<WorkspaceStore>(home.path(), clock, factory, tasks);
    store->start();
    EXPECT_EQ(tasks.running(), 1);
    store.reset();
    ASSERT_TRUE(waitUntil([&] { return tasks.running() == 0; }));
}

} // namespace
} // namespace Keelhaven
