#include "Herdr/HerdrManager.h"
#include "HerdrFixture.h"
#include "Platform/LoginShell.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using Kind = HerdrProbe::State::Kind;
using Source = HerdrProbe::Source;
using Binary = HerdrProbe::Binary;

namespace {

HerdrStatusJSON status(int protocol, bool running, int serverProtocol = 22,
                       const QString &serverVersion = u"0.9.1"_s)
{
    HerdrStatusJSON json;
    json.client = {u"0.9.1"_s, protocol, {}, {}};
    json.server.running = running;
    json.server.protocol = serverProtocol;
    json.server.version = serverVersion;
    return json;
}

QByteArray printed(const HerdrStatusJSON &json)
{
    return JSONValue(encodeRecord(json)).encoded();
}

using HerdrLocatorTest = HerdrFixture;
using HerdrInstallerTest = HerdrFixture;

} // namespace

TEST_F(HerdrLocatorTest, TakesTheFirstBinaryThatCanRun)
{
    const auto found = [this] { return finish(locator.resolveBinaryWithSource()).value_or(Binary()); };
    EXPECT_EQ(found(), Binary());
    EXPECT_TRUE(processes.runs.last().arguments.last().contains(u"command -v herdr"));

    const QString shellFound = executable(u"opt/herdr"_s);
    processes.output = [&](const ProcessSpec &) { return LoginShell::framed(shellFound.toUtf8()); };
    EXPECT_EQ(found(), (Binary{shellFound, Source::Fallback}));
    EXPECT_EQ(settings.text(u"herdrResolvedPath"_s), shellFound);
    settings.remove(u"herdrResolvedPath"_s);
    const QString local = executable(u".local/bin/herdr"_s);
    EXPECT_EQ(found(), (Binary{local, Source::Fallback}));
    const QString remembered = executable(u"mine/herdr"_s);
    settings.set(u"herdrResolvedPath"_s, remembered);
    EXPECT_EQ(found(), (Binary{remembered, Source::Fallback}));
    const QString managed = executable(u".local/share/keelhaven/herdr/0.9.1/herdr"_s);
    EXPECT_EQ(found(), (Binary{managed, Source::Managed}));
    settings.set(u"herdrPathOverride"_s, home.write(u"not-executable"_s, "x"));
    EXPECT_EQ(found(), (Binary{managed, Source::Managed}));
    settings.set(u"herdrPathOverride"_s, local);
    EXPECT_EQ(found(), (Binary{local, Source::Override}));
}

TEST_F(HerdrLocatorTest, TheSocketIsTheManagedSessionsUnlessToldOtherwise)
{
    EXPECT_EQ(HerdrLocator::socketPath(u"/h"_s), u"/h/.config/herdr/sessions/keelhaven/herdr.sock");
    qputenv("HERDR_SOCKET_PATH", "/tmp/own.sock");
    EXPECT_EQ(HerdrLocator::socketPath(u"/h"_s), u"/tmp/own.sock");
}

TEST_F(HerdrLocatorTest, StartsAServerAndWaitsForItsAnswer)
{
    const auto ensured = [this] {
        const auto pong = finish(locator.ensureServer(std::nullopt));
        return pong ? pong->version : pong.error().message();
    };
    EXPECT_EQ(ensured(), u"0.9.1");
    EXPECT_TRUE(processes.detached.isEmpty());

    pongs({0});
    EXPECT_EQ(ensured(), HerdrProbe::State(Kind::BundleMissing, 0, QString()).message());
    executable(u"bundle/keelhaven-host"_s);
    EXPECT_EQ(ensured(), HerdrProbe::State(Kind::Missing, 0, QString()).message());

    const QString managed = executable(u".local/share/keelhaven/herdr/0.9.1/herdr"_s);
    settings.set(u"loginShellPATH"_s, u"/opt/tools"_s);
    pongs({0, 0, 0, 22});
    const Date before = clock.now();
    EXPECT_EQ(ensured(), u"0.9.1");
    EXPECT_EQ(clock.now() - before, Span(1500ms));
    ASSERT_EQ(processes.detached.size(), 1);
    EXPECT_EQ(processes.detached[0].program, managed);
    EXPECT_EQ(processes.detached[0].arguments, QStringList{u"server"_s});
    EXPECT_EQ(processes.detached[0].environment.value(u"HERDR_SESSION"_s), u"keelhaven");
    EXPECT_TRUE(processes.detached[0].environment.value(u"PATH"_s)->startsWith(u"/opt/tools"));

    pongs({0, 21});
    EXPECT_EQ(ensured(), u"A Herdr server on protocol 21 is still running in Keelhaven's session; this "
                         u"Keelhaven needs 22 — restart it from "
                         u"Settings ▸ Herdr once no runs are active.");
    pongs({0});
    const Date start = clock.now();
    EXPECT_EQ(ensured(), u"Herdr server did not come up — see Settings ▸ Herdr ▸ Check, or `launchctl print "
                         u"gui/$UID/com.keelhaven.herdr` "
                         u"for launchd's view.");
    EXPECT_EQ(clock.now() - start, Span(10s));
}

TEST_F(HerdrLocatorTest, StopsAServerAndWaitsUntilItIsGone)
{
    pongs({22, 22, 0});
    finish(locator.stopServer(u"/b/herdr"_s));
    EXPECT_EQ(processes.runs.last().arguments, (QStringList{u"server"_s, u"stop"_s}));
    EXPECT_EQ(transport->calls.size(), 3);
    EXPECT_EQ(transport->calls.last().at, 0.6);
    EXPECT_EQ(transport->calls.last().timeout, Span(1s));
    pongs({22});
    finish(locator.stopServer(u"/b/herdr"_s));
    EXPECT_EQ(transport->calls.size(), 13);
}

TEST(HerdrProbeTest, JudgesByTheProtocolAlone)
{
    struct Row
    {
        std::optional<HerdrStatusJSON> status;
        std::optional<Herdr::Pong> pong;
        HerdrProbe::State state;
        bool blocks;
        bool restart;
    };
    const Binary binary{u"/b/herdr"_s, Source::Managed};
    const Herdr::Pong pong{u"0.9.1"_s, 22};
    const std::initializer_list<Row> table{
        {std::nullopt, {}, {Kind::UnsupportedProtocol, 0, u"/b/herdr"_s}, true, false},
        {status(21, true), pong, {Kind::UnsupportedProtocol, 21, u"/b/herdr"_s}, true, false},
        {status(22, false), {}, {Kind::ServerDown, 0, {}}, false, false},
        {status(22, true, 21), pong, {Kind::Ok, 0, {}}, false, false},
        {status(22, true, 22), Herdr::Pong{u"0.9.1"_s, 23}, {Kind::ServerIncompatible, 23, {}}, true, true},
        {status(22, true, 20), {}, {Kind::ServerIncompatible, 20, {}}, true, true},
        {status(22, true), Herdr::Pong{u"0.9.1+old"_s, 22}, {Kind::Ok, 0, {}}, false, true},
        {status(22, true), pong, {Kind::Ok, 0, {}}, false, false},
    };
    int row = 0;
    for (const Row &each : table) {
        const auto health = HerdrProbe::evaluate(binary, each.status, each.pong);
        EXPECT_EQ(health.state, each.state) << "row " << row;
        EXPECT_EQ(health.state.blocksRuns(), each.blocks) << "row " << row;
        EXPECT_EQ(HerdrManager::needsRestart(health), each.restart) << "row " << row;
        ++row;
    }
    EXPECT_FALSE(HerdrManager::needsRestart(std::nullopt));
    EXPECT_EQ((HerdrProbe::State{Kind::UnsupportedProtocol, 21, u"/b/herdr"_s}.message()),
              u"Herdr at /b/herdr speaks protocol 21; this Keelhaven needs 22 — clear the custom path in "
              u"Settings ▸ Herdr to use Keelhaven's "
              u"managed Herdr 0.9.1.");
    EXPECT_EQ(HerdrProbe::evaluate(binary, status(22, true), pong).summary(),
              u"Herdr 0.9.1 (protocol 22) — managed by Keelhaven, server running");
    EXPECT_EQ(HerdrProbe::evaluate({u"/x"_s, Source::Override}, status(22, false), {}).summary(),
              u"Herdr 0.9.1 (protocol 22) — your own install, server not running (starts when a run fires)");
}

TEST_F(HerdrLocatorTest, AProbeAsksTheBinaryAndThenTheServer)
{
    HerdrProbe probe(locator);
    EXPECT_EQ(finish(probe.run()).state.kind, Kind::BundleMissing);
    const QString managed = executable(u".local/share/keelhaven/herdr/0.9.1/herdr"_s);
    settings.set(u"loginShellPATH"_s, u"/opt/tools"_s);
    processes.output = [](const ProcessSpec &) { return printed(status(22, true, 19)); };
    const auto health = finish(probe.run());
    EXPECT_EQ(health.state.kind, Kind::Ok);
    EXPECT_EQ(health.source, Source::Managed);
    const ProcessSpec &spec = processes.runs.last();
    EXPECT_EQ(spec.program, managed);
    EXPECT_EQ(spec.arguments, (QStringList{u"status"_s, u"--json"_s}));
    EXPECT_EQ(spec.timeout, 10s);
    EXPECT_EQ(spec.environment.value(u"HERDR_ENV"_s, u"kept"_s), std::nullopt);
    EXPECT_EQ(transport->calls.last().timeout, Span(3s));
    EXPECT_EQ(finish(probe.blockedReason()), std::nullopt);
    processes.output = [](const ProcessSpec &) { return QByteArray("herdr: what?"); };
    EXPECT_TRUE(finish(probe.blockedReason())->startsWith(u"Herdr at "));
}

TEST_F(HerdrInstallerTest, CopiesTheBundleWhenItDiffers)
{
    using Result = HerdrInstaller::InstallResult;
    auto place = layout();
    const auto installed = [&place] {
        return HerdrInstaller::installIfNeeded(place).value_or(
            Result{Result::Kind::BundleMissing, u"failed"_s});
    };
    EXPECT_EQ(installed(), (Result{Result::Kind::BundleMissing, {}}));
    executable(u"bundle/keelhaven-host"_s, "one");
    EXPECT_EQ(installed(), (Result{Result::Kind::Installed, u"0.9.1"_s}));
    EXPECT_EQ(QFileInfo(place.versionDir()).permissions() & QFile::WriteOwner, 0);
    EXPECT_EQ(installed(), (Result{Result::Kind::AlreadyCurrent, {}}));
    EXPECT_FALSE(QFileInfo::exists(place.license()));

    place.bundledLicense = home.write(u"bundle/licence"_s, "free");
    executable(u"bundle/keelhaven-host"_s, "two");
    EXPECT_EQ(installed(), (Result{Result::Kind::Installed, u"0.9.1"_s}));
    EXPECT_EQ(readFile(place.binary()).value(), "two");
    EXPECT_EQ(readFile(place.license()).value(), "free");
    EXPECT_TRUE(QFileInfo(place.binary()).isExecutable());
    EXPECT_EQ(QDir(place.versionDir()).entryList(QDir::Files | QDir::Hidden).size(), 2);
    EXPECT_EQ(HerdrPin::current(place.bundledBinary).sha256.values(),
              QStringList{HerdrInstaller::sha256(place.binary()).value()});
    EXPECT_FALSE(HerdrInstaller::needsInstall(u"AB"_s, u"ab"_s));

    place.root = home.write(u"file"_s, "x");
    const auto failed = HerdrInstaller::installIfNeeded(place);
    ASSERT_FALSE(failed);
    EXPECT_TRUE(failed.error().message().contains(place.root)) << failed.error().message().toStdString();
}

TEST_F(HerdrInstallerTest, OldVersionsGoUnlessTheyRun)
{
    const auto place = layout();
    for (const auto &version : {u"0.8.0"_s, u"0.9.0"_s, u"0.9.1"_s})
        home.write(u".local/share/keelhaven/herdr/%1/herdr"_s.arg(version), "x");
    QFile::setPermissions(place.root + u"/0.8.0"_s, QFile::ReadOwner | QFile::ExeOwner);
    HerdrInstaller::pruneOldVersions(
        place, [&](const QString &binary) { return binary == place.root + u"/0.9.0/herdr"_s; });
    EXPECT_EQ(QDir(place.root).entryList(QDir::Dirs | QDir::NoDotAndDotDot),
              (QStringList{u"0.9.0"_s, u"0.9.1"_s}));
}

TEST_F(HerdrInstallerTest, TheManagerReplacesAnOutdatedServerOnceNoRunIsLive)
{
    executable(u"bundle/keelhaven-host"_s, "one");
    home.write(u".local/share/keelhaven/herdr/0.8.0/herdr"_s, "x");
    const QString inUse = home.write(u".local/share/keelhaven/herdr/0.8.1 (c++)/herdr"_s, "x");
    settings.set(u"loginShellPATH"_s, u"/opt/tools"_s);
    HerdrStatusJSON now = status(22, true, 22, u"0.9.0"_s);
    processes.output = [&](const ProcessSpec &spec) {
        if (spec.program.endsWith(u"/pgrep")) {
            const QRegularExpression pattern(spec.arguments.last());
            return pattern.match(inUse + u" server"_s).hasMatch() ? QByteArray("7\n") : QByteArray();
        }
        return spec.arguments.contains(u"status"_s) ? printed(now) : QByteArray();
    };
    transport->answers(Herdr::Method::ping, {HerdrError::unreachable(u"no"_s)});
    Tasks tasks;
    HerdrProbe probe(locator);
    HerdrManager manager({locator, probe, processes, clock, tasks, layout()});
    bool idle = false;
    manager.bootstrap([&idle] { return idle; });
    EXPECT_TRUE(manager.busy());
    ASSERT_TRUE(waitUntil([&] { return tasks.running() == 0; }));
    EXPECT_EQ(manager.install()->kind, HerdrInstaller::InstallResult::Kind::Installed);
    EXPECT_EQ(manager.installError(), std::nullopt);
    EXPECT_TRUE(manager.pendingRestart());
    EXPECT_FALSE(manager.busy());
    EXPECT_FALSE(QFileInfo::exists(layout().root + u"/0.8.0"_s));
    EXPECT_TRUE(QFileInfo::exists(inUse));

    const auto stops = [this] {
        return std::ranges::count_if(
            processes.runs, [](const ProcessSpec &spec) { return spec.arguments.contains(u"stop"_s); });
    };
    clock.advance(61s);
    EXPECT_EQ(stops(), 0);
    idle = true;
    now.server.running = false;
    clock.advance(60s);
    EXPECT_EQ(stops(), 1);
    EXPECT_FALSE(manager.pendingRestart());
    EXPECT_EQ(manager.health()->state.kind, Kind::ServerDown);
    clock.advance(60s);
    EXPECT_EQ(stops(), 1);

    await(manager.reinstall());
    EXPECT_EQ(manager.install()->kind, HerdrInstaller::InstallResult::Kind::Installed);
    EXPECT_FALSE(manager.busy());
}

TEST_F(HerdrLocatorTest, TheManagerStartsALostServerOnceAMinute)
{
    executable(u".local/share/keelhaven/herdr/0.9.1/herdr"_s);
    settings.set(u"loginShellPATH"_s, u"/opt/tools"_s);
    Tasks tasks;
    HerdrProbe probe(locator);
    HerdrManager manager({locator, probe, processes, clock, tasks, layout()});
    finish(manager.reviveServer());
    EXPECT_TRUE(processes.detached.isEmpty()); // it answers
    pongs({0, 0, 22});
    finish(manager.reviveServer());
    EXPECT_TRUE(processes.detached.isEmpty());
    clock.advance(60s);
    auto first = manager.reviveServer();
    EXPECT_TRUE(manager.busy());
    auto second = manager.reviveServer();
    finish(std::move(first));
    finish(std::move(second));
    EXPECT_EQ(processes.detached.size(), 1);
    EXPECT_FALSE(manager.busy());
}

} // namespace Keelhaven
