#include "UI/DemoProfile.h"

#include "Dispatch/DispatchLedger.h"
#include "Scheduler/SweepOverview.h"

#include "App/AppSelection.h"
#include "Assets/Asset.h"
#include "Contract/SettingsCatalog.h"
#include "Platform/LoginShell.h"
#include "Store/DatabaseOpening.h"
#include "Store/RunStore.h"
#include "Store/SQLiteRunStore.h"
#include "UI/AppView.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const Date demoStart = *dateFromISOText(u"2026-11-23T13:58:00.000Z"); ///< a Monday

QUuid runID(int number)
{
    return {0x5ca1ab1eu + uint(number), 0x11d0, 0x4e2a, 0x8b, 0x01, 0, 0, 0, 0, 0, 1};
}

struct Ending
{
    RunOutcome outcome;
    QString message;
};

/// Endings in the mix of an ordinary month.
const QList<Ending> &endings()
{
    static const QList<Ending> all{
        {RunOutcome::completed(),
         u"All **412 tests** pass. Two were flaky because of a shared port; they now pick a free one."_s},
        {RunOutcome::completed(),
         u"Three updates are safe and in pull request #218. `libtide` 4 changes its API, so I left it."_s},
        {RunOutcome::completed(),
         u"Nothing needs a decision today. Yesterday's merge window went through without a revert."_s},
        {RunOutcome::completed(),
         u"Sorted 23 messages, drafted 6 answers. One from the harbour office wants a date from you."_s},
        {RunOutcome::completed(), {}},
        {RunOutcome::processExited(1), {}},
        {RunOutcome::completed(), u"The changelog has entries for the last nine merges."_s},
        {RunOutcome::skippedNoChanges(), {}},
        {RunOutcome::completed(),
         u"Mended four pages. The page on *mooring* contradicts itself; I noted where."_s},
        {RunOutcome::timeout(), {}},
        {RunOutcome::completed(),
         u"Found the cause: the test reads the clock twice across midnight. A fix is on the branch `midnight`."_s},
        {RunOutcome::cancelled(), {}},
        {RunOutcome::completed(), u"Figures are drawn; traffic is up by 8 % and errors are down by half."_s},
        {RunOutcome::preflightFailed(u"error: cannot pull with rebase: You have unstaged changes."_s), {}},
        {RunOutcome::skippedMissedWindow(), {}},
        {RunOutcome::launchFailed(u"The session did not start within 60 seconds."_s), {}},
        {RunOutcome::processExited(0), {}},
    };
    return all;
}

QImage chart(int kind)
{
    QImage image(672, 400, QImage::Format_RGB32);
    image.fill(QColor(u"#fbfaf8"_s));
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(u"#e2dfd9"_s), 2));
    for (int y = 80; y < 360; y += 70)
        painter.drawLine(50, y, 630, y);
    const QList<int> values{110, 150, 128, 190, 172, 236, 214, 262};
    if (kind == 0) {
        QPainterPath path;
        for (int i = 0; i < values.size(); ++i)
            i == 0 ? path.moveTo(60, 360 - values[i]) : path.lineTo(60 + 80 * i, 360 - values[i]);
        painter.strokePath(path, QPen(QColor(u"#0e5a80"_s), 6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    } else {
        for (int i = 0; i < values.size(); ++i)
            painter.fillRect(60 + 72 * i, 350 - values[i], 44, values[i],
                             QColor(i == 7 ? u"#0e5a80"_s : u"#a9c4d1"_s));
    }
    return image;
}

const auto longReport = uR"(## Figures of week 47

Traffic is **up by 8 %** on the week before, and errors are down by half since the retry change of Tuesday.

- The *mooring* endpoint takes 40 % of all time; its cache is cold after each deploy.
- Two customers still use the old `v1/tide` path. I listed them in `clients.csv`.
- Friday's dip is the planned maintenance, not a fault.

1. Warm the cache in the deploy step: [pull request 231](https://example.org/pull/231)
2. Write to the two customers before December.

```
week   requests   errors   p95
46       1.92 M     0.41 %  310 ms
47       2.07 M     0.19 %  284 ms
```

> The numbers of Monday are partly estimated: the collector was down from 03:10 to 03:40.)"_s;

void addAsset(KeelhavenDatabase &database, const Asset &asset)
{
    using V = SQLiteValue;
    const auto added = database.sync([&](SQLiteConnection &connection) {
        return connection.run(u"INSERT INTO assets (id, run_id, path, stored_path, kind, caption, bytes, "
                              u"thumbnail_path, copied, source, "
                              u"added_at) VALUES (?,?,?,?,?,?,?,?,?,?,?)"_s,
                              {V::text(asset.id), V::uuid(asset.runID), V::text(asset.path),
                               V::optText(asset.storedPath), V::text(enumText(asset.kind)),
                               V::optText(asset.caption), V::optInt(asset.bytes),
                               V::optText(asset.thumbnailPath), V::bool_(asset.copied),
                               V::text(enumText(asset.source)), V::date(asset.addedAt)});
    });
    if (!added)
        throw std::runtime_error("no asset could be added");
}

} // namespace

DemoProfile::DemoProfile(const Options &options)
    : m_clock(demoStart)
{
    m_home.enter();
    qputenv("TMPDIR", m_home.path().toUtf8());
    m_settings.set(Setting::boardIntroduced.name.toString(), true);
    if (options.isFirstStart) {
        // A shell that knows of no tools.
        const QByteArray answer = LoginShell::framed(m_home.path(u".local/bin"_s).toUtf8());
        m_processes.answer = [answer](const ProcessSpec &) { return FakeProcessRunner::exited(0, answer); };
    } else {
        m_settings.set(Setting::setupDone.name.toString(), true);
    }
    const std::optional<QUrl> releases =
        options.newestVersion.isEmpty() ? std::nullopt : std::optional(QUrl(u"https://example.org/newest"_s));
    m_http.answer = [version = options.newestVersion.toUtf8()](const HttpRequest &request) {
        if (version.isEmpty() || request.url.host() != u"example.org")
            return FakeHttpClient::unreachable();
        return FakeHttpClient::answered(200, R"({"version":")" + version +
                                                 R"(","url":"https://example.org/get"})");
    };
    m_settings.set(Setting::sweepKeelhavenOnOpen.name.toString(), false);
    m_settings.set(Setting::appPanel.name.toString(), u"scheduler"_s);
    if (options.hasBrokenDatabase)
        m_home.write(u".local/share/keelhaven/keelhaven.sqlite"_s, QByteArray(5000, 'x'));
    if (!options.isEmpty)
        seed(options);
    auto paths = m_home.paths();
    if (options.hasPlugins) {
        seedDemoPlugins(m_home, options.isHostile);
        m_settings.set(u"loginShellPATH"_s, m_home.path(u".local/bin"_s));
        paths.resourcesDir = m_home.path(u"resources"_s);
    }
    auto model = AppModel::create({paths,
                                   m_clock,
                                   m_processes,
                                   m_settings,
                                   m_watches,
                                   m_jobs,
                                   m_power,
                                   m_sink,
                                   m_sleep,
                                   m_desktop,
                                   {},
                                   {},
                                   m_secrets,
                                   m_http,
                                   m_children,
                                   &m_sessions,
                                   releases});
    if (!model)
        throw std::runtime_error("no model");
    m_model = *std::move(model);
    m_model->start();
    if (m_task.taskSlotID)
        m_model->dispatch().prepend(m_task);
    settle();
    if (!options.isEmpty && options.hasLiveRuns)
        startRuns();
}

DemoProfile::~DemoProfile()
{
    m_model.reset();
    m_clock.close();
    settle();
}

QString DemoProfile::folder(const QString &name) const
{
    const QString path = m_home.path(u"code/"_s + name);
    QDir().mkpath(path);
    return path;
}

void DemoProfile::seed(const Options &options)
{
    for (const SchedulerSlot &agent : demoAgents(m_home.path(), m_clock.now()))
        QDir().mkpath(agent.cwd());
    if (options.hasBrokenDatabase) {
        static_cast<void>(RunStore(m_home.paths()).saveSlots(demoAgents(m_home.path(), m_clock.now())));
        return;
    }
    const auto opened = openDatabase(m_home.paths());
    if (!opened)
        throw std::runtime_error("no database");
    const auto paths = m_home.paths();
    SQLiteRunStore store(*opened->database, m_clock, paths.runsDir(), paths.assetsDir());
    auto agents = demoAgents(m_home.path(), m_clock.now());
    if (options.isHostile) {
        agents[0].name = u"<b>Bold</b><img src=\"file:///etc/passwd\"> & co"_s;
        agents[1].name = u"\u202eerutcip\u202c סוכן עברי مرحبا 🛟🚢⚓️"_s;
        agents[2].name = QString(100'000, u'W');
        agents[3].name = u"line one\nline two\ttab\u001b[31mred"_s;
        agents[4].name = QString();
    }
    if (!store.saveSlots(agents))
        throw std::runtime_error("no agents could be stored");
    seedRuns(store, agents, options.runs);
    seedReport(*opened->database, store, agents.last());
    seedTask(store);
    if (options.hasSweeps)
        seedSweeps(store);
    if (options.isHostile)
        seedHostile(store, agents);
}

void DemoProfile::seedRuns(SQLiteRunStore &store, const QList<SchedulerSlot> &agents, int count)
{
    Date at = m_clock.now() - 52min;
    for (int i = 0; i < count; ++i) {
        const auto &agent = agents[(i * 7 + i / 5) % agents.size()];
        const auto &ending = endings()[(i * 5 + i / 17) % endings().size()];
        RunRecord run;
        run.id = runID(i);
        run.slotID = agent.id;
        run.slotName = agent.name;
        run.cwd = agent.cwd();
        run.command = agent.command;
        run.provider = agent.provider;
        run.trigger = i % 4 == 0 ? RunTrigger::Manual : RunTrigger::Scheduled;
        run.startedAt = at;
        run.endedAt = at + std::chrono::seconds(40 + (i * 97) % 1700);
        run.outcome = ending.outcome;
        if (!ending.message.isEmpty())
            run.completionMessage = ending.message;
        run.sessionID = u"7c1d2e%1-9a40-4d51-b8f0-5b1e"_s.arg(i, 2, 16, QLatin1Char('0'));
        run.usage = RunUsage{18'000 + i * 37, 4'200 + i * 11, 9'000, 120'000};
        if (i % 23 == 9)
            run.hidden = true;
        if (!ending.outcome.isFailure() || i % 2 == 0)
            run.scrollbackFile = u"runs/%1.txt"_s.arg(uuidText(run.id));
        if (i == 3 || (ending.outcome.kind == RunOutcome::Kind::PreflightFailed && m_failedRun.isNull()))
            m_failedRun = run.id;
        if (!store.saveRecord(run))
            throw std::runtime_error("no run could be stored");
        if (run.scrollbackFile && i < 20)
            static_cast<void>(store.saveScrollback(
                u"$ claude\n\n● Reading the repository…\n  └ 214 files\n\n● All tests pass.\n"_s.repeated(40),
                run.id));
        at -= std::chrono::minutes(70 + (i * 53) % 160);
    }
}

void DemoProfile::seedReport(KeelhavenDatabase &database, SQLiteRunStore &store, const SchedulerSlot &agent)
{
    RunRecord run;
    run.id = m_reportedRun = runID(5000);
    run.slotID = agent.id;
    run.slotName = agent.name;
    run.cwd = agent.cwd();
    run.command = agent.command;
    run.provider = AgentProvider::Claude;
    run.trigger = RunTrigger::Scheduled;
    run.startedAt = m_clock.now() - 31min;
    run.endedAt = run.startedAt + 8min + 14s;
    run.outcome = RunOutcome::completed();
    run.completionMessage = longReport;
    run.summary = u"Traffic is up by 8 %, errors are down by half; the mooring cache wants warming."_s;
    run.sessionID = u"7c1d2ea0-9a40-4d51-b8f0-5b1e0c4402aa"_s;
    run.model = u"opus"_s;
    run.usage = RunUsage{41'200, 9'840, 22'000, 310'000};
    run.scrollbackFile = u"runs/%1.txt"_s.arg(uuidText(run.id));
    if (!store.saveRecord(run))
        throw std::runtime_error("no run could be stored");
    static_cast<void>(store.saveScrollback(
        u"● Drawing the figures of week 47\n  └ traffic.png\n  └ errors.png\n"_s.repeated(60), run.id));
    const struct
    {
        QString name;
        QString caption;
        AssetKind kind;
    } files[] = {
        {u"traffic.png"_s, u"Requests a day, week 47"_s, AssetKind::Image},
        {u"errors.png"_s, u"Errors by service"_s, AssetKind::Image},
        {u"clients.csv"_s, u"Who still uses v1/tide"_s, AssetKind::Text},
        {u"report-week-47-for-the-management-board.pdf"_s, {}, AssetKind::Document},
    };
    int number = 0;
    for (const auto &file : files) {
        Asset asset;
        asset.id = uuidText(runID(6000 + number));
        asset.runID = run.id;
        asset.path = folder(u"figures"_s) + u'/' + file.name;
        asset.kind = file.kind;
        if (!file.caption.isEmpty())
            asset.caption = file.caption;
        asset.bytes = 48'213 + 9'120 * number;
        asset.addedAt = run.startedAt + std::chrono::seconds(number);
        if (file.kind == AssetKind::Image) {
            chart(number).save(asset.path);
            asset.thumbnailPath = asset.path;
        } else {
            m_home.write(u"code/figures/"_s + file.name, "tide,4\n");
        }
        addAsset(database, asset);
        ++number;
    }
}

void DemoProfile::seedTask(SQLiteRunStore &store)
{
    const struct
    {
        QString request;
        QString answer;
    } turns[] = {
        {u"Why is the harbour page slow since Friday? Fix it if it is simple."_s,
         u"It loads every ship's log at once since Friday's change. I page them now; the page opens in **0.4 s** instead of 3.1 s."_s},
        {u"Does the phone view do the same?"_s, u"It did. The same fix is in it, with a test for both."_s},
        {u"Good. Open a pull request."_s,
         u"Opened as [pull request 233](https://example.org/pull/233); checks are green."_s},
    };
    m_task = DispatchRecord::fromApp(turns[0].request, m_clock.now() - 41min);
    m_task.id = u"7f3a90c2"_s;
    m_task.source = DispatchSource::Telegram;
    m_task.status = DispatchStatus::Completed;
    m_task.taskSlotID = runID(8000);
    m_task.taskName = u"Slow harbour page"_s;
    for (int i = 0; i < 3; ++i) {
        RunRecord run;
        run.id = runID(8001 + i);
        run.slotID = *m_task.taskSlotID;
        run.slotName = *m_task.taskName;
        run.cwd = folder(u"harbour"_s);
        run.command = turns[i].request;
        run.startedAt = m_clock.now() - std::chrono::minutes(40 - 2 * i);
        run.endedAt = run.startedAt + std::chrono::seconds(70 + 11 * i);
        run.outcome = RunOutcome::completed();
        run.completionMessage = turns[i].answer;
        run.agentKind = SlotKind::Dispatch;
        run.dispatchID = m_task.id;
        run.sessionID = u"7c1d2ea0-9a40-4d51-b8f0-5b1e0c4402bb"_s;
        m_task.runIDs.append(run.id);
        if (i > 0)
            m_task.followUps.append({std::nullopt, turns[i].request, run.startedAt});
        if (!store.saveRecord(run))
            throw std::runtime_error("no run could be stored");
    }
}

void DemoProfile::seedSweeps(SQLiteRunStore &store)
{
    m_settings.set(Setting::keelhavenRunDirectory.name.toString(), folder(u"projects"_s));
    const QStringList reports{
        u"## Four projects, one wants you\n\n- **harbour**: the release branch is two days behind; I merged "
        u"`main` and the tests pass.\n"
        "- **tide-api**: *the certificate ends on Thursday*. I cannot renew it without you.\n"
        "- **figures**: nothing to do.\n- **docs**: three broken links repaired, [pull request "
        "88](https://example.org/pull/88) waits for a look.\n\n"
        "Next I would write the changelog of harbour 2.4."_s,
        u"All quiet: no project changed since Friday."_s,
        u"harbour 2.3 is out. I closed nine issues and moved two to 2.4."_s,
    };
    for (int i = 0; i < reports.size() + 1; ++i) {
        const bool isFollowUp = i == reports.size();
        RunRecord run;
        run.id = runID(9000 + i);
        run.slotID = runID(9100 + i);
        run.agentKind = isFollowUp ? SlotKind::Scheduled : SlotKind::System;
        run.slotName = (isFollowUp ? SweepOverview::followUpName : SweepOverview::sweepName).toString();
        run.command = isFollowUp ? u"Where do things stand?"_s : SweepOverview::command.toString();
        run.cwd = folder(u"projects"_s);
        run.trigger = RunTrigger::Manual;
        run.startedAt = isFollowUp ? m_clock.now() - 3h : m_clock.now() - 5h - std::chrono::days(3 * i);
        run.endedAt = run.startedAt + 7min + 12s;
        run.outcome = RunOutcome::completed();
        run.completionMessage =
            isFollowUp ? u"You renewed the certificate; I checked that it is served."_s : reports[i];
        run.sessionID = u"7c1d2ea0-9a40-4d51-b8f0-5b1e0c440%1cc"_s.arg(isFollowUp ? 0 : i);
        if (!store.saveRecord(run))
            throw std::runtime_error("no run could be stored");
    }
}

void DemoProfile::seedHostile(SQLiteRunStore &store, const QList<SchedulerSlot> &agents)
{
    const QStringList reports{
        u"<script>alert(1)</script><h1>Huge</h1><img src=\"http://127.0.0.1:1/x.png\"> ![x](file:///etc/passwd)"_s,
        QString(100'000, u'x'),
        u"תגובה מימין לשמאל\nمرحبا \u202egnorw\u202c 👩‍👩‍👧‍👦"_s,
        u"a\u0000b\u0007c\u001b[2J"_s, u"* "_s.repeated(20'000)};
    for (int i = 0; i < reports.size(); ++i) {
        RunRecord run;
        run.id = runID(7000 + i);
        run.slotID = agents[i].id;
        run.slotName = agents[i].name;
        run.cwd = QString(u"/tmp/"_s + QString(3'000, u'd'));
        run.command = reports[i];
        run.startedAt = m_clock.now() - std::chrono::minutes(5 + i);
        run.endedAt = run.startedAt + 1min;
        run.outcome = i == 1 ? RunOutcome::launchFailed(QString(100'000, u'y')) : RunOutcome::completed();
        run.completionMessage = reports[i];
        if (!store.saveRecord(run))
            throw std::runtime_error("no run could be stored");
    }
}

} // namespace Keelhaven
