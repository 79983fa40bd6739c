#include "Assets/AssetStore.h"

#include "Assets/AssetFile.h"
#include "Platform/Files.h"
#include "Support/FakeProcessRunner.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

const QByteArray jpeg = "\xff\xd8\xff picture \xff\xd9";

class AssetStoreTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        processes.finishPending({});
        EXPECT_TRUE(waitUntil([this] { return tasks.running() == 0; }));
    }

    std::optional<Asset> add(const QString &path, const std::optional<QString> &hint = {})
    {
        clock.jump(std::chrono::seconds(1));
        return store.register_({.runID = run,
                                .shipID = ship,
                                .workItemID = u"w1"_s,
                                .path = path,
                                .kindHint = hint,
                                .caption = u"A caption"_s,
                                .source = Asset::Source::MCP});
    }
    /// The asset as the table has it once everything is done.
    Asset processed(const QString &path, const std::optional<QString> &hint = {})
    {
        const auto added = add(path, hint);
        EXPECT_TRUE(waitUntil([this] { return !store.isWorking(); })) << path.toStdString();
        return added ? store.asset(added->id).value_or(Asset()) : Asset();
    }
    void execute(const QString &sql)
    {
        database->sync([&](SQLiteConnection &connection) {
            const auto done = connection.execute(sql);
            EXPECT_TRUE(done) << (done ? "" : done.error().message().toStdString());
        });
    }
    QString makeSized(const QString &name, qint64 size)
    {
        const QString path = home.write(name, {});
        EXPECT_TRUE(QFile::resize(path, size));
        return path;
    }
    static QString nameOf(const std::optional<QString> &path)
    {
        return path ? QFileInfo(*path).fileName() : u"-"_s;
    }

    TestHome home;
    VirtualClock clock;
    MemorySettings settings;
    Tasks tasks;
    FakeProcessRunner processes;
    std::unique_ptr<KeelhavenDatabase> database = KeelhavenDatabase::open(home.paths()).value();
    QString assetsDir = home.paths().assetsDir();
    AssetStore store{{.database = *database,
                      .clock = clock,
                      .settings = settings,
                      .tasks = tasks,
                      .thumbnailer = {&processes, u"/bin/thumbnailer"_s},
                      .assetsDir = assetsDir}};
    QUuid run = QUuid::createUuid();
    QUuid ship = QUuid::createUuid();
    QString folder = assetsDir + u'/' + uuidText(run);
};

TEST(AssetKindTest, ExtensionDecidesBeforeHint)
{
    const struct
    {
        const char16_t *path;
        std::optional<QString> hint;
        AssetKind kind;
    } cases[] = {{u"/a/report.PDF", u"video"_s, AssetKind::Document},
                 {u"/a/notes.unknown", u"markdown"_s, AssetKind::Markdown},
                 {u"/a/notes.unknown", u"MarkDown"_s, AssetKind::Markdown},
                 {u"/a/notes.unknown", u"weird"_s, AssetKind::Other},
                 {u"/a/notes.unknown", {}, AssetKind::Other},
                 {u"/a.png/plain", {}, AssetKind::Other},
                 {u"/a/.png", {}, AssetKind::Other},
                 {u"/a/b.tar.yml", {}, AssetKind::Text},
                 {u"/a/demo.webm", {}, AssetKind::Video},
                 {u"shot.Jpeg", {}, AssetKind::Image},
                 {u"/a/x.htm", u"text"_s, AssetKind::HTML}};
    for (const auto &row : cases) {
        const auto path = QString::fromUtf16(row.path);
        EXPECT_EQ(inferAssetKind(path, row.hint), row.kind) << path.toStdString();
    }
}

TEST_F(AssetStoreTest, RowComesFirstThenCopyAndThumbnail)
{
    processes.answer = [](const ProcessSpec &) { return FakeProcessRunner::exited(0, jpeg); };
    const QString path = home.write(u"work/a.png"_s, "picture");
    int changes = 0;
    QObject::connect(&store, &AssetStore::changed, &store, [&] { ++changes; });
    const auto added = add(path);
    ASSERT_TRUE(added);
    EXPECT_EQ(store.asset(added->id), added);
    EXPECT_EQ(added->id, uuidText(uuidFromText(added->id).value()));
    EXPECT_EQ(added->runID, run);
    EXPECT_EQ(added->shipID, ship);
    EXPECT_EQ(added->workItemID, u"w1"_s);
    EXPECT_EQ(added->kind, AssetKind::Image);
    EXPECT_EQ(added->caption, u"A caption"_s);
    EXPECT_EQ(added->addedAt, clock.now());
    EXPECT_FALSE(added->copied || added->bytes || added->mime || added->storedPath);
    EXPECT_EQ(added->displayURL(), QUrl::fromLocalFile(path));
    EXPECT_EQ(store.version(), 1);
    EXPECT_FALSE(add(path)) << "reported twice";

    // Another one of the same name waits for its turn.
    const auto second = add(home.write(u"other/a.png"_s, "second"));
    ASSERT_TRUE(waitUntil([this] { return !store.isWorking(); }));
    const Asset done = store.asset(added->id).value();
    EXPECT_TRUE(done.copied);
    EXPECT_EQ(done.bytes, 7);
    EXPECT_EQ(done.mime, u"image/png"_s);
    EXPECT_EQ(done.storedPath, folder + u"/a.png"_s);
    EXPECT_EQ(done.thumbnailPath, folder + u"/thumbs/a.png.jpg"_s);
    const Asset other = store.asset(second->id).value();
    EXPECT_EQ(other.storedPath, folder + u"/a-2.png"_s);
    EXPECT_EQ(other.thumbnailPath, folder + u"/thumbs/a-2.png.jpg"_s);
    EXPECT_EQ(store.version(), 4);
    EXPECT_EQ(changes, 4);
    EXPECT_EQ(decodeRecord<Asset>(encodeRecord(done)), done);

    ASSERT_EQ(processes.runs.size(), 2);
    EXPECT_EQ(processes.runs[0].program, u"/bin/thumbnailer"_s);
    EXPECT_EQ(processes.runs[0].arguments, (QStringList{u"image"_s, u"10"_s, u"1024"_s, *done.storedPath}));
    for (const QString &file : {*done.storedPath, *done.thumbnailPath})
        EXPECT_EQ(QFileInfo(file).permissions() & ~(QFile::ReadUser | QFile::WriteUser),
                  QFile::ReadOwner | QFile::WriteOwner);

    ASSERT_TRUE(QFile::remove(path));
    EXPECT_TRUE(done.exists()) << "the copy survives";
    ASSERT_TRUE(QFile::remove(*done.storedPath));
    EXPECT_FALSE(done.exists());
    store.delete_(run);
    EXPECT_TRUE(store.assetsForRun(run).isEmpty());
    EXPECT_TRUE(QFile::exists(*done.thumbnailPath)) << "files stay";
    EXPECT_EQ(store.version(), 5);
}

TEST_F(AssetStoreTest, LimitDecidesWhatIsCopied)
{
    constexpr qint64 mebibyte = 1 << 20;
    const struct
    {
        std::optional<qint64> limit;
        qint64 size;
        bool copied;
    } cases[] = {{1, mebibyte, true},
                 {1, mebibyte + 1, false},
                 {0, 0, true},
                 {0, 1, false},
                 {-1, 0, false},
                 {std::numeric_limits<qint64>::max(), 10, true},
                 {{}, 5120 * mebibyte, false}};
    for (const auto &row : cases) {
        const QString name = u"f%1-%2.log"_s.arg(row.limit.value_or(512)).arg(row.size);
        SCOPED_TRACE(name.toStdString());
        settings.remove(u"assetCopyLimitMB"_s);
        if (row.limit)
            settings.set(u"assetCopyLimitMB"_s, *row.limit);
        const Asset asset = processed(makeSized(name, row.size));
        EXPECT_EQ(asset.copied, row.copied);
        EXPECT_EQ(asset.bytes, row.size);
        EXPECT_EQ(asset.mime, u"text/x-log"_s);
        EXPECT_EQ(nameOf(asset.storedPath), row.copied ? name : u"-"_s);
        EXPECT_EQ(QFileInfo(asset.storedPath.value_or(u"/none"_s)).size(), row.copied ? row.size : 0);
    }
    EXPECT_TRUE(processes.runs.isEmpty()) << "a text has no thumbnail";
}

TEST_F(AssetStoreTest, WhatIsNoRegularFileIsLeftAlone)
{
    ASSERT_EQ(::mkfifo(home.path(u"pipe.png"_s).toUtf8().constData(), 0600), 0);
    const QString real = home.write(u"real/x.txt"_s, "content");
    const auto link = [&](const QString &name, const QString &target) {
        EXPECT_TRUE(QFile::link(target, home.path(name)));
        return home.path(name);
    };
    const QString untouched[] = {home.path(u"pipe.png"_s),
                                 link(u"to-pipe.png"_s, home.path(u"pipe.png"_s)),
                                 link(u"dangling.png"_s, home.path(u"nowhere"_s)),
                                 link(u"loop.png"_s, home.path(u"loop.png"_s)),
                                 home.path(u"real"_s),
                                 home.path(u"missing.png"_s),
                                 u"/dev/zero"_s,
                                 u"/dev/tty"_s,
                                 u"/proc/self/environ"_s,
                                 u"/proc/self/fd/0"_s,
                                 link(u"to-proc.txt"_s, u"/proc/self/environ"_s),
                                 u"/sys/kernel/uevent_seqnum"_s};
    for (const QString &path : untouched) {
        const auto added = add(path);
        ASSERT_TRUE(waitUntil([this] { return !store.isWorking(); }));
        EXPECT_EQ(store.asset(added.value().id), added) << path.toStdString();
    }
    EXPECT_FALSE(QFileInfo::exists(folder));
    EXPECT_TRUE(processes.runs.isEmpty());
    EXPECT_FALSE(add(u""_s));
    EXPECT_FALSE(add(real + QChar::Null + u".png"_s));

    // A link to a file stands for the file; the copy is a file of its own.
    const Asset linked = processed(link(u"latest.txt"_s, real));
    EXPECT_EQ(home.read(QDir(home.path()).relativeFilePath(linked.storedPath.value_or(QString()))),
              "content");
    EXPECT_FALSE(QFileInfo(linked.storedPath.value()).isSymLink());
    EXPECT_EQ(nameOf(processed(home.write(u"two\nlines.unknown"_s, "x")).storedPath),
              u"two\nlines.unknown"_s);
    EXPECT_EQ(nameOf(processed(home.write(u"thumbs"_s, "x")).storedPath), u"thumbs-2"_s);
    const Asset nameless = processed(home.write(u"noextension"_s, "x"), u"image"_s);
    EXPECT_EQ(nameless.mime, std::nullopt);
    EXPECT_EQ(processes.runs.size(), 1) << "the hint makes it an image";
}

TEST_F(AssetStoreTest, ALongNameCostsNeitherCopyNorThumbnail)
{
    processes.answer = [](const ProcessSpec &) { return FakeProcessRunner::exited(0, jpeg); };
    const QString name = u"🚢"_s.repeated(62) + u"abc.png"_s; // 255 bytes
    const Asset first = processed(home.write(u"a/"_s + name, "x"));
    EXPECT_EQ(nameOf(first.storedPath), name);
    EXPECT_EQ(nameOf(first.thumbnailPath), u"🚢"_s.repeated(62) + u"abc.jpg"_s);
    const Asset second = processed(home.write(u"b/"_s + name, "x"));
    EXPECT_EQ(nameOf(second.storedPath), u"🚢"_s.repeated(62) + u"a-2.png"_s);
    EXPECT_EQ(nameOf(second.thumbnailPath), u"🚢"_s.repeated(62) + u"a-2.jpg"_s);
}

TEST_F(AssetStoreTest, OnlyAPictureBecomesAThumbnail)
{
    const auto ended = [](ProcessResult::Kind kind, const QByteArray &output) {
        ProcessResult result;
        result.kind = kind;
        result.output = output;
        return result;
    };
    const struct
    {
        ProcessResult result;
        bool isMade;
    } cases[] = {{FakeProcessRunner::exited(0, jpeg), true},
                 {FakeProcessRunner::exited(1, jpeg), false},
                 {FakeProcessRunner::exited(0, "<html>"), false},
                 {FakeProcessRunner::exited(0, jpeg.chopped(1)), false},
                 {FakeProcessRunner::exited(0, {}), false},
                 {ended(ProcessResult::Kind::Crashed, jpeg), false},
                 {ended(ProcessResult::Kind::TimedOut, jpeg), false},
                 {ended(ProcessResult::Kind::CannotStart, {}), false}};
    int number = 0;
    for (const auto &row : cases) {
        processes.answer = [&](const ProcessSpec &) { return row.result; };
        const Asset asset = processed(home.write(u"v%1.mp4"_s.arg(++number), "video"));
        EXPECT_TRUE(asset.copied);
        EXPECT_EQ(asset.thumbnailPath.has_value(), row.isMade) << number;
    }
    EXPECT_EQ(processes.runs.last().arguments.first(), u"video"_s);
    EXPECT_EQ(QDir(folder + u"/thumbs"_s).entryList(QDir::Files), QStringList{u"v1.mp4.jpg"_s});
}

TEST_F(AssetStoreTest, DeletedRunKeepsNoFilesOfLateCopies)
{
    processes.answer = [](const ProcessSpec &) { return std::nullopt; };
    ASSERT_TRUE(add(home.write(u"a.png"_s, "x")));
    ASSERT_TRUE(waitUntil([this] { return !processes.runs.isEmpty(); }));
    EXPECT_TRUE(QFile::exists(folder + u"/a.png"_s));
    store.delete_(run);
    processes.finishPending(FakeProcessRunner::exited(0, jpeg));
    ASSERT_TRUE(waitUntil([this] { return !store.isWorking(); }));
    EXPECT_FALSE(QFileInfo::exists(folder));
}

TEST_F(AssetStoreTest, DeletedRunIsToldOfAndWaitsForNoCopies)
{
    processes.answer = [](const ProcessSpec &) { return std::nullopt; };
    ASSERT_TRUE(add(home.write(u"a.png"_s, "x")));
    ASSERT_TRUE(add(home.write(u"b.png"_s, "x")));
    ASSERT_TRUE(waitUntil([this] { return !processes.runs.isEmpty(); }));
    // The run store has removed the rows with the run's other traces.
    execute(u"DELETE FROM assets"_s);
    const int version = store.version();
    store.delete_(run);
    EXPECT_GT(store.version(), version);
    processes.finishPending(FakeProcessRunner::exited(0, jpeg));
    ASSERT_TRUE(waitUntil([this] { return !store.isWorking(); }));
    EXPECT_EQ(processes.runs.size(), 1) << "the second one is not even looked at";
    EXPECT_FALSE(QFileInfo::exists(folder));
}

TEST_F(AssetStoreTest, WhatAQuitCutsOffIsDoneAfterTheNextStart)
{
    processes.answer = [](const ProcessSpec &) { return FakeProcessRunner::exited(0, jpeg); };
    const Asset before = processed(home.write(u"before.png"_s, "x"));
    processes.answer = [](const ProcessSpec &) { return std::nullopt; };
    const auto cutOff = add(home.write(u"a.png"_s, "picture"));
    const auto waiting = add(home.write(u"b.txt"_s, "text"));
    const auto late = add(home.path(u"late.txt"_s));
    ASSERT_TRUE(waitUntil([this] { return processes.runs.size() == 2; }));
    store.stop();
    processes.finishPending(FakeProcessRunner::exited(1));
    ASSERT_TRUE(waitUntil([this] { return !store.isWorking(); }));
    const QStringList names = {u"before.png"_s};
    EXPECT_EQ(QDir(folder).entryList(QDir::Files), names) << "no half-made copy stays";
    EXPECT_EQ(store.asset(cutOff->id), cutOff);

    // A process that was killed leaves files that no row names; one row is of a later version.
    execute(u"UPDATE assets SET kind = 'hologram' WHERE path LIKE '%before.png'"_s);
    const QString base = u".local/share/keelhaven/assets/"_s + uuidText(run);
    for (const char *leftover : {"a.png", ".x", "thumbs/a.png.jpg"})
        home.write(base + u'/' + QString::fromUtf8(leftover), "half");
    home.write(u"late.txt"_s, "it came");
    AssetStore next({*database, clock, settings, tasks, {&processes, u"/bin/thumbnailer"_s}, assetsDir});
    processes.answer = [](const ProcessSpec &) { return FakeProcessRunner::exited(0, jpeg); };
    next.resume();
    ASSERT_TRUE(waitUntil([&] { return !next.isWorking(); }));
    EXPECT_EQ(next.asset(cutOff->id)->storedPath, folder + u"/a.png"_s);
    EXPECT_EQ(next.asset(cutOff->id)->thumbnailPath, folder + u"/thumbs/a.png.jpg"_s);
    EXPECT_EQ(home.read(base + u"/a.png"_s), "picture");
    EXPECT_TRUE(next.asset(waiting->id)->copied);
    EXPECT_TRUE(next.asset(late->id)->copied);
    EXPECT_EQ(QDir(folder).entryList(QDir::Files | QDir::Hidden),
              (QStringList{u"a.png"_s, u"b.txt"_s, u"before.png"_s, u"late.txt"_s}));
    EXPECT_TRUE(QFile::exists(*before.thumbnailPath));
    EXPECT_EQ(next.version(), 3);

    AssetStore third({*database, clock, settings, tasks, {&processes, u"/bin/thumbnailer"_s}, assetsDir});
    third.resume();
    EXPECT_FALSE(third.isWorking()) << "nothing is left to do";
}

TEST_F(AssetStoreTest, OldAndForeignFoldersAreLeftAlone)
{
    const auto added = add(home.path(u"missing.txt"_s));
    ASSERT_TRUE(waitUntil([this] { return !store.isWorking(); }));
    const QString kept = home.write(u"project/kept"_s, "x");
    ASSERT_TRUE(makeFolder(assetsDir));
    ASSERT_TRUE(QFile::link(home.path(u"project"_s), folder));
    AssetStore next({*database, clock, settings, tasks, {}, assetsDir});
    next.resume();
    ASSERT_TRUE(waitUntil([&] { return !next.isWorking(); }));
    EXPECT_TRUE(QFile::exists(kept)) << "a link in the folder's place is not followed";
    clock.jump(std::chrono::days(31));
    AssetStore later({*database, clock, settings, tasks, {}, assetsDir});
    later.resume();
    EXPECT_FALSE(later.isWorking());
}

TEST(AssetFileTest, StoppedCopyLeavesNothing)
{
    const TestHome home;
    std::stop_source stop;
    stop.request_stop();
    const auto taken =
        AssetFile::take(home.write(u"a.txt"_s, "x"), home.path(u"assets"_s), 100, stop.get_token());
    EXPECT_EQ(taken->storedPath, std::nullopt);
    EXPECT_TRUE(QDir(home.path(u"assets"_s)).entryList(QDir::Files).isEmpty());
}

TEST_F(AssetStoreTest, ListsAreOrderedAndTolerant)
{
    for (const char16_t *name : {u"/1.md", u"/2.md", u"/3.md", u"/4.md"})
        ASSERT_TRUE(add(QString::fromUtf16(name)));
    ASSERT_TRUE(waitUntil([this] { return !store.isWorking(); }));
    execute(u"UPDATE assets SET ship_id = NULL WHERE path = '/4.md'"_s);
    const auto names = [](const QList<Asset> &assets) {
        QStringList list;
        for (const Asset &asset : assets)
            list.append(asset.fileName());
        return list.join(u' ');
    };
    EXPECT_EQ(names(store.assetsForRun(run)), u"1.md 2.md 3.md 4.md"_s);
    EXPECT_EQ(names(store.assetsForShip(ship, 2)), u"3.md 2.md"_s);
    EXPECT_EQ(names(store.recent(3)), u"4.md 3.md 2.md"_s);
    execute(u"UPDATE assets SET kind = 'hologram' WHERE path = '/1.md'; "
            "UPDATE assets SET source = 'post' WHERE path = '/3.md'"_s);
    EXPECT_EQ(names(store.assetsForRun(run)), u"2.md 4.md"_s);
    EXPECT_EQ(store.asset(u"none"_s), std::nullopt);
    EXPECT_TRUE(store.assetsForRun(QUuid::createUuid()).isEmpty());

    const int version = store.version();
    execute(u"DROP TABLE assets"_s);
    EXPECT_FALSE(add(u"/5.md"_s));
    EXPECT_TRUE(store.recent(9).isEmpty());
    EXPECT_EQ(store.version(), version);
}

TEST(AssetFileTest, UniqueNamesCountUp)
{
    const TestHome home;
    for (const char *name : {"a.png", "a-2.png", "plain", ".rc", "x.tar.gz", "end."})
        home.write(QString::fromUtf8(name), {});
    ASSERT_TRUE(QFile::link(home.path(u"nowhere"_s), home.path(u"link"_s)));
    const struct
    {
        const char16_t *name;
        const char16_t *unique;
    } cases[] = {{u"a.png", u"a-3.png"}, {u"b.png", u"b.png"},         {u"plain", u"plain-2"},
                 {u".rc", u".rc-2"},     {u"x.tar.gz", u"x.tar-2.gz"}, {u"end.", u"end.-2"},
                 {u"link", u"link-2"}};
    for (const auto &row : cases)
        EXPECT_EQ(AssetFile::uniquePath(home.path(QString::fromUtf16(row.name))),
                  home.path(QString::fromUtf16(row.unique)));
}

} // namespace
} // namespace Keelhaven
