#include "Platform/SystemdJobManager.h"

#include "Platform/Files.h"
#include "Platform/QtProcessRunner.h"
#include "Support/FakeProcessRunner.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QDir>
#include <QRegularExpression>
#include <QStandardPaths>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

const CalendarEntry nine{{u"Hour"_s, 9}, {u"Minute"_s, 0}};
const CalendarEntry monday{{u"Weekday"_s, 1}, {u"Hour"_s, 9}, {u"Minute"_s, 30}};
const CalendarEntry once{{u"Month"_s, 3}, {u"Day"_s, 5}, {u"Hour"_s, 18}, {u"Minute"_s, 7}};

/// A user manager that knows what it was told to.
class SystemdJobManagerTest : public ::testing::Test
{
protected:
    SystemdJobManagerTest()
    {
        processes.answer = [this](const ProcessSpec &spec) -> std::optional<ProcessResult> {
            if (spec.program == u"loginctl")
                return linger.isEmpty() ? ProcessResult() : FakeProcessRunner::exited(0, linger);
            EXPECT_EQ(spec.program, u"systemctl");
            EXPECT_EQ(spec.arguments.value(0), u"--user");
            const QString verb = spec.arguments.value(1);
            if (!hasManager || verb == broken)
                return FakeProcessRunner::exited(1, "Failed to connect to bus\n");
            if (verb == u"restart")
                isActive = true;
            if (verb == u"disable")
                isActive = false;
            if (spec.arguments.contains(u"--property=FragmentPath"_s))
                return FakeProcessRunner::exited(0, loadedFrom.toUtf8() + '\n');
            if (verb == u"show")
                return FakeProcessRunner::exited(0, isActive ? "ActiveState=active\nNeedDaemonReload=no\n"
                                                             : "ActiveState=inactive\nNeedDaemonReload=no\n");
            return FakeProcessRunner::exited(0);
        };
    }

    /// The commands that this took, without what was asked only.
    QString schedule(SystemdJobManager &manager, const QList<CalendarEntry> &entries)
    {
        processes.runs.clear();
        await(manager.schedule(u"com.keelhaven.scheduler"_s, entries));
        QStringList verbs;
        for (const auto &spec : processes.runs) {
            if (!spec.arguments[1].startsWith(u"show"))
                verbs.append(spec.arguments.mid(1).join(u' '));
        }
        return verbs.join(u", ").replace(u"com.keelhaven.scheduler"_s, u"K"_s);
    }
    QString schedule(const QList<CalendarEntry> &entries) { return schedule(jobs, entries); }

    const TestHome home;
    const QString units = home.path(u".config/systemd/user"_s);
    const QString timerFile = units + u"/com.keelhaven.scheduler.timer"_s;
    const QString serviceFile = units + u"/com.keelhaven.scheduler.service"_s;
    const QStringList command{u"/b/keel haven"_s, u"keelhaven://scheduler/wake"_s};
    const QString taken = u"daemon-reload, enable K.timer, restart K.timer"_s;
    FakeProcessRunner processes;
    bool hasManager = true;
    bool isActive = false;
    QString broken;
    QByteArray linger; ///< what loginctl says; it is not there while this is empty
    QString loadedFrom = timerFile;
    SystemdJobManager jobs{processes, home.path(u".config"_s), command};
};

TEST_F(SystemdJobManagerTest, WritesTheTimerAndItsService)
{
    EXPECT_EQ(schedule({nine, monday, once}), taken);
    EXPECT_EQ(readFile(timerFile).value(),
              "[Unit]\nDescription=Firing times of Keelhaven's agents\n\n[Timer]\n"
              "OnCalendar=*-*-* 09:00:00\nOnCalendar=Mon *-*-* 09:30:00\n"
              "OnCalendar=*-03-05 18:07:00\nPersistent=false\nAccuracySec=1s\n\n"
              "[Install]\nWantedBy=timers.target\n");
    EXPECT_TRUE(readFile(serviceFile)
                    .value()
                    .contains("\nExecStart=\"/b/keel haven\" \"keelhaven://scheduler/wake\"\n"));
}

TEST_F(SystemdJobManagerTest, OnlyAChangeReachesTheManager)
{
    EXPECT_EQ(schedule({nine}), taken);
    EXPECT_EQ(schedule({nine}), QString());
    EXPECT_EQ(processes.runs.size(), 0) << "not even a question";
    EXPECT_EQ(schedule({nine, once}), taken);

    SystemdJobManager nextStart(processes, home.path(u".config"_s), command);
    EXPECT_EQ(schedule(nextStart, {nine, once}), QString());
    SystemdJobManager moved(processes, home.path(u".config"_s), {u"/new/keelhaven"_s});
    EXPECT_EQ(schedule(moved, {nine, once}), taken);

    // Written files are no proof that the timer runs.
    isActive = false;
    SystemdJobManager afterCrash(processes, home.path(u".config"_s), {u"/new/keelhaven"_s});
    EXPECT_EQ(schedule(afterCrash, {nine, once}), taken);
    broken = u"restart"_s;
    EXPECT_EQ(schedule(afterCrash, {nine}), taken);
    broken.clear();
    isActive = false;
    EXPECT_EQ(schedule(afterCrash, {nine}), taken) << "what failed is tried again";
}

TEST_F(SystemdJobManagerTest, TheLastEntryTakesTheJobAlong)
{
    EXPECT_EQ(schedule({}), QString());
    EXPECT_EQ(processes.runs.size(), 0) << "nothing was there";
    schedule({nine});
    EXPECT_EQ(schedule({}), u"disable --now K.timer, daemon-reload");
    EXPECT_FALSE(QFile::exists(timerFile) || QFile::exists(serviceFile));
    EXPECT_EQ(schedule({nine}), taken);
    EXPECT_TRUE(QFile::exists(timerFile) && QFile::exists(serviceFile));
}

TEST_F(SystemdJobManagerTest, WithoutAManagerNothingIsWritten)
{
    hasManager = false;
    EXPECT_EQ(schedule({nine}), QString());
    EXPECT_FALSE(QFile::exists(units));
    EXPECT_EQ(
        await(jobs.examine()),
        (ServiceStatus{false, u"no systemd user manager answers: agents fire only while Keelhaven runs."_s}));
    hasManager = true;
    EXPECT_EQ(schedule({nine}), taken) << "it may come later";
    const QString runs = u"systemd starts Keelhaven at the firing times of its agents"_s;
    for (const QByteArray &said : {"", "Linger=yes\n", "Linger=no\n"}) {
        linger = said;
        const bool isLimited = said.contains("no");
        EXPECT_EQ(await(jobs.examine()),
                  (ServiceStatus{true, isLimited ? runs + u", but only while you are logged in; \"loginctl "
                                                          "enable-linger\" changes that"_s
                                                 : runs}));
    }
    // A manager that has gone cannot be told, but its files can go.
    hasManager = false;
    const QString link =
        home.write(u".config/systemd/user/timers.target.wants/com.keelhaven.scheduler.timer"_s, "");
    EXPECT_EQ(schedule({}), QString());
    EXPECT_FALSE(QFile::exists(timerFile) || QFile::exists(serviceFile) || QFile::exists(link));
}

TEST_F(SystemdJobManagerTest, AManagerOfAnotherHomeIsLeftAlone)
{
    for (const QString &elsewhere : {home.path(u"real/com.keelhaven.scheduler.timer"_s), QString()}) {
        loadedFrom = elsewhere;
        EXPECT_EQ(schedule({once}), u"daemon-reload");
        EXPECT_EQ(schedule({}), QString());
        EXPECT_FALSE(QFile::exists(timerFile));
    }
    QDir(home.path(u".config"_s)).removeRecursively();
    home.write(u".config"_s, "a file in the way");
    EXPECT_EQ(schedule({nine}), QString());
}

/// Runs systemd-analyze; success and what it said.
std::pair<bool, QString> analyze(const TestHome &home, const QStringList &words)
{
    ProcessSpec spec;
    spec.program = u"systemd-analyze"_s;
    spec.arguments = words;
    spec.environment.insert(u"XDG_RUNTIME_DIR"_s, home.path());
    spec.environment.insert(u"TZ"_s, u"UTC"_s);
    spec.errors = ProcessSpec::Errors::Merge;
    QtProcessRunner real;
    const ProcessResult result = await(real.run(spec));
    return std::pair(result.succeeded(), QString::fromUtf8(result.output));
}

TEST(SystemdUnitTest, SystemdItselfAcceptsTheUnits)
{
    const TestHome home;
    const QString program = home.write(u"b/a $b 50% ü/keelhaven"_s, "#!/bin/sh\n");
    QFile::setPermissions(program, QFile::ReadOwner | QFile::ExeOwner | QFile::WriteOwner);
    const QString service = SystemdJobManager::serviceText({program, u"a $b \"c\" 50%\\"_s});
    EXPECT_TRUE(service.contains(u"/a $b 50%% ü/keelhaven\" \"a $$b \\\"c\\\" 50%%\\\\\"\n"))
        << service.toStdString();
    const QStringList files{
        home.write(u"u/k.service"_s, service.toUtf8()),
        home.write(u"u/k.timer"_s, SystemdJobManager::timerText({nine, monday, once}).toUtf8())};
    const auto verified =
        analyze(home, QStringList{u"--user"_s, u"verify"_s, u"--recursive-errors=no"_s} + files);
    EXPECT_EQ(verified, std::pair(true, QString())) << verified.second.toStdString();
}

TEST(SystemdUnitTest, CalendarMomentsMeanWhatTheEntriesSay)
{
    const TestHome home;
    struct Case
    {
        CalendarEntry entry;
        QString text;
        QString nextAfterNewYear; ///< 2027-01-01 is a Friday
    };
    const CalendarEntry sunday{{u"Weekday"_s, 0}, {u"Hour"_s, 23}, {u"Minute"_s, 59}};
    const CalendarEntry saturday{{u"Weekday"_s, 6}, {u"Hour"_s, 0}, {u"Minute"_s, 5}};
    const CalendarEntry hourly{{u"Minute"_s, 15}};
    const Case cases[] = {{nine, u"*-*-* 09:00:00"_s, u"Fri 2027-01-01 09:00:00"_s},
                          {monday, u"Mon *-*-* 09:30:00"_s, u"Mon 2027-01-04 09:30:00"_s},
                          {sunday, u"Sun *-*-* 23:59:00"_s, u"Sun 2027-01-03 23:59:00"_s},
                          {saturday, u"Sat *-*-* 00:05:00"_s, u"Sat 2027-01-02 00:05:00"_s},
                          {once, u"*-03-05 18:07:00"_s, u"Fri 2027-03-05 18:07:00"_s},
                          {hourly, u"*-*-* *:15:00"_s, u"Fri 2027-01-01 00:15:00"_s}};
    for (const auto &[entry, text, next] : cases) {
        EXPECT_EQ(SystemdJobManager::onCalendar(entry), text);
        const auto said = analyze(home, {u"calendar"_s, u"--base-time=2027-01-01 00:00:00 UTC"_s, text});
        EXPECT_TRUE(said.first && said.second.contains(next)) << said.second.toStdString();
    }
}

/// The moments of 2027 in UTC at which systemd starts the service, with a table of the moments that an entry
/// names, worked out minute by minute.
TEST(SystemdUnitTest, AYearOfATimerHasExactlyTheMinutesOfItsEntries)
{
    const TestHome home;
    const QList<CalendarEntry> entries{monday,
                                       once,
                                       {{u"Month"_s, 2}, {u"Day"_s, 29}, {u"Hour"_s, 7}, {u"Minute"_s, 0}},
                                       {{u"Weekday"_s, 0}, {u"Hour"_s, 0}, {u"Minute"_s, 0}},
                                       {{u"Hour"_s, 23}, {u"Minute"_s, 59}}};
    for (const auto &entry : entries) {
        const QString text = SystemdJobManager::onCalendar(entry);
        SCOPED_TRACE(text.toStdString());
        QStringList expected;
        const QDateTime start(QDate(2027, 1, 1), QTime(0, 0), Qt::UTC);
        for (QDateTime at = start; at.date().year() == 2027; at = at.addSecs(60)) {
            const auto matches = [&](const QString &part, int value) {
                return entry.value(part, value) == value;
            };
            if (matches(u"Month"_s, at.date().month()) && matches(u"Day"_s, at.date().day()) &&
                matches(u"Weekday"_s, at.date().dayOfWeek() % 7) && matches(u"Hour"_s, at.time().hour()) &&
                matches(u"Minute"_s, at.time().minute()))
                expected.append(at.toString(u"yyyy-MM-dd HH:mm:ss"_s));
        }
        const auto said = analyze(home, {u"calendar"_s, u"--base-time=2026-12-31 23:59:59 UTC"_s,
                                         u"--iterations=%1"_s.arg(expected.size() + 1), text});
        static const QRegularExpression moment(u"(?:Iter\\. #\\d+|Next elapse): \\w+ (2027-\\S+ \\S+) UTC"_s);
        QStringList told;
        for (auto found = moment.globalMatch(said.second); found.hasNext();)
            told.append(found.next().captured(1));
        EXPECT_EQ(told, expected) << said.second.left(500).toStdString();
    }
}

} // namespace
} // namespace Keelhaven
