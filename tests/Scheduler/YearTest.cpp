#include "EngineFixture.h"
#include "Scheduler/SchedulerCalendar.h"

#include <array>
#include <cmath>
#include <map>
#include <random>

// Whole years of schedules, against tables that are worked out on another road than the calendar's: by
// walking through the year minute by minute and asking the time zone what the wall clock shows.
namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr Span latenessLimit = 30min;

/// A schedule beside a predicate that says the same: does it fire when the wall clock comes to this minute,
/// counted from the wall clock's 1970?
struct Agent
{
    QString name;
    decltype(ScheduleSpec::rule) rule;
    std::function<bool(qint64)> firesAt;
};

int hourOf(qint64 minute)
{
    return static_cast<int>(minute / 60 % 24);
}

bool isAt(qint64 minute, int hour, int minuteOfHour)
{
    return hourOf(minute) == hour && minute % 60 == minuteOfHour;
}

/// 1 = Sunday; the first of January 1970 was a Thursday.
int weekdayOf(qint64 minute)
{
    return static_cast<int>((minute / 1440 + 4) % 7) + 1;
}

const std::vector<Agent> agents{
    {u"night"_s, ScheduleSpec::Daily{{{2, 30}, {2, 0}}},
     [](qint64 m) { return isAt(m, 2, 0) || isAt(m, 2, 30); }},
    {u"midnight"_s, ScheduleSpec::Daily{{{0, 0}, {0, 30}, {23, 59}}},
     [](qint64 m) { return isAt(m, 0, 0) || isAt(m, 0, 30) || isAt(m, 23, 59); }},
    {u"weekend"_s, ScheduleSpec::Weekly{{1, 7}, {{1, 45}, {18, 5}}},
     [](qint64 m) { return (weekdayOf(m) == 1 || weekdayOf(m) == 7) && (isAt(m, 1, 45) || isAt(m, 18, 5)); }},
    {u"even"_s, ScheduleSpec::EveryHours{2, std::nullopt}, [](qint64 m) { return m % 120 == 0; }},
    {u"window"_s, ScheduleSpec::EveryHours{5, ScheduleSpec::DayWindow{9, 17}},
     [](qint64 m) { return isAt(m, 9, 0) || isAt(m, 14, 0); }},
    {u"odd"_s, ScheduleSpec::EveryHours{7, ScheduleSpec::DayWindow{1, 24}},
     [](qint64 m) { return isAt(m, 1, 0) || isAt(m, 8, 0) || isAt(m, 15, 0) || isAt(m, 22, 0); }},
    {u"never"_s, ScheduleSpec::Weekly{{}, {{3, 0}}}, [](qint64) { return false; }},
};

/// One-shots stand behind the agents above; they have a moment, not a wall time.
constexpr std::array<std::chrono::minutes, 4> onceAt{11 * 24h + 7h + 13min, 100 * 24h + 7h + 13min,
                                                     201 * 24h + 1min, 300 * 24h};

QString onceName(size_t index)
{
    return u"once%1"_s.arg(index);
}

struct Year
{
    const char *zone;
    int year;
};

void PrintTo(const Year &year, std::ostream *out)
{
    *out << year.zone << ' ' << year.year;
}

Date startOf(int year)
{
    // Half a minute off, so that no firing falls together with a start, a sleep or an end.
    return std::chrono::sys_days(std::chrono::year(year) / 1 / 1) + 30s;
}

/// The firings of each agent in the year. A minute that the wall clock leaps over fires when it has leapt;
/// one that it shows again does not fire again.
std::vector<QList<Date>> table(const Year &year)
{
    const QTimeZone zone(year.zone);
    std::vector<QList<Date>> firings(agents.size());
    int offset = 0;
    const auto wallMinute = [&](Date moment) {
        const qint64 second = std::chrono::floor<std::chrono::seconds>(moment).time_since_epoch().count();
        // No zone changes its clock between two quarters of an hour.
        if (second % 900 == 0 || offset == 0)
            offset = zone.offsetFromUtc(QDateTime::fromSecsSinceEpoch(second, Qt::UTC));
        return (second + offset) / 60;
    };
    qint64 shown = wallMinute(startOf(year.year));
    for (Date moment = startOf(year.year) + 30s; moment < startOf(year.year + 1); moment += 1min) {
        const qint64 now = wallMinute(moment);
        for (; shown < now; ++shown) {
            for (size_t i = 0; i < agents.size(); ++i) {
                if (agents[i].firesAt(shown + 1) && (firings[i].isEmpty() || firings[i].last() != moment))
                    firings[i].append(moment);
            }
        }
    }
    for (const auto moment : onceAt)
        firings.push_back({startOf(year.year) - 30s + moment});
    return firings;
}

/// The walk through a year is the costly part, and the same for each test of it.
const std::vector<QList<Date>> &tableOf(const Year &year)
{
    static std::map<std::pair<std::string, int>, std::vector<QList<Date>>> known;
    auto &firings = known[{year.zone, year.year}];
    if (firings.empty())
        firings = table(year);
    return firings;
}

/// Ends each run in the moment it fires.
class EndAtOnce : public RunAdmissionPolicy
{
public:
    [[nodiscard]] Admission admit(const SchedulerSlot &, const AdmissionContext &) const override
    {
        return Admission::skip(u"fired"_s);
    }
};

QString described(const RunRecord &record)
{
    const bool missed = record.outcome->kind == RunOutcome::Kind::SkippedMissedWindow;
    return (missed ? u"missed "_s : u"ran "_s) + isoText(record.startedAt);
}

class YearTest : public testing::TestWithParam<Year>, protected EngineWorld
{
protected:
    YearTest()
        : expected(tableOf(GetParam()))
    {
        clock.jump(startOf(GetParam().year) - clock.now());
        calendar = Calendar(QTimeZone(GetParam().zone));
        for (const auto &agent : agents) {
            auto made = slot(agent.name);
            made.schedule.rule = agent.rule;
            store.slotList.append(made);
            names.append(agent.name);
        }
        for (size_t i = 0; i < onceAt.size(); ++i) {
            auto made = slot(onceName(i));
            made.schedule.rule = ScheduleSpec::Once{expected[agents.size() + i].first()};
            store.slotList.append(made);
            names.append(made.name);
        }
        appendAgentsThatDoNotFire();
        restart(&endAtOnce);
        engine->start();
    }

    /// By their schedules alone they would, every hour.
    void appendAgentsThatDoNotFire()
    {
        auto captains = slot(u"captains"_s);
        captains.schedule.rule = ScheduleSpec::EveryHours{};
        captains.captainDecides = true;
        auto codex = captains;
        codex.captainDecides = false;
        codex.provider = AgentProvider::Codex;
        auto off = captains;
        off.captainDecides = false;
        off.enabled = false;
        for (auto *made : {&captains, &codex, &off}) {
            made->id = QUuid::createUuid();
            store.slotList.append(*made);
        }
    }

    /// What is recorded of each agent, oldest first.
    [[nodiscard]] std::vector<QStringList> recorded() const
    {
        std::vector<QStringList> lists(static_cast<size_t>(names.size()));
        for (const auto &record : engine->history()) {
            const auto index = names.indexOf(record.slotName);
            if (index < 0)
                ADD_FAILURE() << record.slotName.toStdString() << " fired";
            else
                lists[static_cast<size_t>(index)].prepend(described(record));
        }
        return lists;
    }
    void expectOneShotsAreSpent() const
    {
        for (const auto &slot : engine->slotList()) {
            if (slot.schedule.isOnce())
                EXPECT_FALSE(slot.enabled) << slot.name.toStdString();
        }
    }
    /// Lives through most of the year with sleeps and changes of the clock, beside the model.
    void liveThroughSleeps(unsigned seed);

    EndAtOnce endAtOnce;
    QStringList names; ///< in the order of the table
    const std::vector<QList<Date>> &expected;
};

/// The engine's rules in the plainest form, over the table: at each look the earliest firing after the last
/// one is run, or recorded as missed, and all that passed since are used up with it.
class Model
{
public:
    Model(const std::vector<QList<Date>> &firings, Date start)
        : m_firings(firings)
        , m_used(firings.size(), start)
        , m_wall(start)
        , records(firings.size())
    {
        aim();
    }

    void advance(Span span)
    {
        for (; m_untilLook && *m_untilLook <= span; look()) {
            span -= *m_untilLook;
            m_wall += *m_untilLook;
        }
        m_wall += span;
        if (m_untilLook)
            *m_untilLook -= span;
    }
    void jump(Span span) { m_wall += span; }
    void look()
    {
        for (size_t i = 0; i < m_firings.size(); ++i) {
            const auto due = next(i);
            if (!due || *due > m_wall)
                continue;
            m_used[i] = m_wall;
            const bool missed = m_wall - *due > latenessLimit;
            records[i].append(missed ? u"missed "_s + isoText(*due) : u"ran "_s + isoText(m_wall));
        }
        aim();
    }

private:
    [[nodiscard]] std::optional<Date> next(size_t i) const
    {
        const auto found = std::upper_bound(m_firings[i].begin(), m_firings[i].end(), m_used[i]);
        return found == m_firings[i].end() ? std::nullopt : std::optional(*found);
    }
    void aim()
    {
        m_untilLook.reset();
        for (size_t i = 0; i < m_firings.size(); ++i) {
            if (const auto due = next(i))
                m_untilLook = std::min(m_untilLook.value_or(Span::max()), std::max<Span>(*due - m_wall, 1s));
        }
    }

    const std::vector<QList<Date>> &m_firings;
    std::vector<Date> m_used; ///< nothing up to here fires again
    Date m_wall;
    std::optional<Span> m_untilLook;

public:
    std::vector<QStringList> records;
};

class Chance
{
public:
    explicit Chance(unsigned seed)
        : m_random(seed)
    {}
    /// Whole minutes; short spans are as likely as long ones.
    Span upTo(double longestMinutes)
    {
        std::uniform_real_distribution<double> exponent(0, std::log(longestMinutes));
        return std::chrono::minutes(std::llround(std::exp(exponent(m_random))));
    }
    bool isHeads() { return m_random() % 2 == 0; }

private:
    std::mt19937 m_random;
};

unsigned newSeed()
{
    return qEnvironmentVariableIsSet("KEELHAVEN_TEST_SEED")
               ? qEnvironmentVariable("KEELHAVEN_TEST_SEED").toUInt()
               : std::random_device{}();
}

void YearTest::liveThroughSleeps(unsigned seed)
{
    std::printf("KEELHAVEN_TEST_SEED=%u\n", seed);
    Chance chance(seed);
    Model model(expected, clock.now());
    int sleeps = 0;
    while (clock.now() < startOf(GetParam().year + 1) - 20 * 24h) {
        const Span awake = chance.upTo(5 * 1440);
        clock.advance(awake);
        model.advance(awake);
        const bool falls = chance.isHeads();
        const Span jump = falls              ? chance.upTo(6 * 1440)
                          : chance.isHeads() ? chance.upTo(720)
                                             : -chance.upTo(720);
        clock.jump(jump);
        model.jump(jump);
        if (!falls)
            continue; // somebody set the clock; nobody tells
        ++sleeps;
        engine->evaluateDueSlots(clock.now());
        settleAll();
        model.look();
    }
    EXPECT_GT(sleeps, 10);
    const auto lists = recorded();
    for (size_t i = 0; i < lists.size(); ++i) {
        QStringList records = lists[i];
        EXPECT_EQ(records, model.records[i]) << names[qsizetype(i)].toStdString();
        records.replaceInStrings(u"missed "_s, QString()).replaceInStrings(u"ran "_s, QString());
        EXPECT_TRUE(std::ranges::is_sorted(records) && records.removeDuplicates() == 0)
            << "each record is of a later firing than the one before";
    }
    expectOneShotsAreSpent();
}

} // namespace

TEST_P(YearTest, EveryAgentFiresExactlyWhenTheWallClockSays)
{
    clock.advance(startOf(GetParam().year + 1) - clock.now());
    const auto lists = recorded();
    for (size_t i = 0; i < lists.size(); ++i) {
        QStringList ran;
        for (const Date date : expected[i])
            ran.append(u"ran "_s + isoText(date));
        EXPECT_EQ(lists[i], ran) << names[qsizetype(i)].toStdString();
    }
    expectOneShotsAreSpent();
}

TEST_P(YearTest, SleepsAndClockChangesLoseNothingButWhatIsRecordedAndRepeatNothing)
{
    liveThroughSleeps(newSeed());
}

/// Ten days at a time, as the screen shows them, from the middle of a day.
TEST_P(YearTest, TheAgendaHoldsExactlyTheFirings)
{
    constexpr int days = 10;
    std::vector<QList<Date>> shown(expected.size());
    const Date last = startOf(GetParam().year + 1) - 11 * 24h;
    for (Date now = clock.now(); now < last;) {
        const auto agenda = SchedulerCalendar::build(engine->slotList(), now, days, calendar);
        ASSERT_EQ(agenda.days.size(), days);
        const Date end = calendar.resolve(calendar.wallTime(now).day + std::chrono::days(days), 0, 0);
        for (qsizetype day = 0; day < days; ++day) {
            const Date dayEnd = day + 1 < days ? agenda.days[day + 1].start : end;
            for (const auto &entry : agenda.days[day].entries) {
                EXPECT_TRUE(agenda.days[day].start <= entry.date && entry.date < dayEnd);
                const auto index = names.indexOf(entry.name);
                if (index >= 0)
                    shown[static_cast<size_t>(index)].append(entry.date);
                else
                    EXPECT_EQ(entry.name, u"captains") << "its schedule is still shown";
            }
        }
        // The first moment of a day belongs to it.
        now = end - 1us;
    }
    for (size_t i = 0; i < expected.size(); ++i) {
        auto firings = expected[i];
        const Date until = shown[i].isEmpty() ? last : shown[i].last();
        firings.removeIf([&](Date date) { return date > std::max(until, last); });
        EXPECT_EQ(shown[i], firings) << names[qsizetype(i)].toStdString();
    }
}

/// The same each time, so that what it has caught once stays caught.
TEST_P(YearTest, TheSameSleepsAgain)
{
    liveThroughSleeps(20'260'329);
}

INSTANTIATE_TEST_SUITE_P(Zones, YearTest,
                         testing::Values(Year{"America/New_York", 2026}, Year{"Europe/Berlin", 2026},
                                         Year{"Australia/Lord_Howe", 2026}, Year{"Asia/Kolkata", 2026},
                                         Year{"America/Sao_Paulo", 2018}));

/// The same by hand, with the answers written out.
TEST_F(EngineTest, AClockThatIsSetRepeatsNothingAndMakesUpForNothing)
{
    EndAtOnce endAtOnce;
    auto agent = slot(u"agent"_s);
    agent.schedule.rule = ScheduleSpec::Daily{{{10, 0}, {12, 0}}};
    store.slotList.append(agent);
    restart(&endAtOnce);
    engine->start();
    const auto recorded = [this] {
        QStringList list;
        for (const auto &record : engine->history())
            list.prepend(described(record).remove(u":00.000Z"_s).remove(u"2026-03-"_s));
        return list.join(u", "_s).toStdString();
    };
    clock.advance(1h);
    std::string expected = "ran 04T10:00";
    EXPECT_EQ(recorded(), expected);

    clock.jump(-2h); // to 8:00: the ten o'clock that comes again has been
    clock.advance(3h + 59min);
    EXPECT_EQ(recorded(), expected);
    clock.advance(1min);
    expected += ", ran 04T12:00";
    EXPECT_EQ(recorded(), expected);

    clock.advance(21h); // 9:00 of the next day
    clock.jump(3h);     // to 12:00, over one firing and up to the other
    engine->evaluateDueSlots(clock.now());
    settleAll();
    expected += ", missed 05T10:00";
    EXPECT_EQ(recorded(), expected) << "one record for all that was leapt over";
    clock.advance(1h);
    EXPECT_EQ(recorded(), expected);

    clock.advance(20h + 30min); // 9:30
    clock.jump(59min);          // to 10:29: late, but not too late
    clock.advance(30min);
    expected += ", missed 06T10:00";
    EXPECT_EQ(recorded(), expected) << "nobody told, and the timer came half an hour after the jump";

    clock.advance(24h - 1h - 29min); // 9:30
    expected += ", ran 06T12:00";
    clock.jump(59min);
    engine->evaluateDueSlots(clock.now());
    settleAll();
    expected += ", ran 07T10:29";
    EXPECT_EQ(recorded(), expected);

    clock.jump(-7 * 24h);
    clock.advance(7 * 24h + 1h);
    EXPECT_EQ(recorded(), expected) << "a week that was lived through before";
    clock.advance(31min);
    expected += ", ran 07T12:00";
    EXPECT_EQ(recorded(), expected);
}

TEST_F(EngineTest, TwoHundredAgentsDueTogetherAllRunOnceUnderTheCap)
{
    constexpr int count = 200;
    constexpr qsizetype cap = 7;
    settings.set(u"schedulerConcurrencyCap"_s, qint64(cap));
    for (int i = 0; i < count; ++i)
        store.slotList.append(slot(u"a%1"_s.arg(i)));
    qsizetype most = 0;
    engine->onEvent = [&](const EngineEvent &) {
        QSet<QUuid> running; // a run that is just becoming live stands in both lists
        for (const auto &run : engine->active())
            running.insert(run->record.id);
        for (const auto &record : engine->launching())
            running.insert(record.id);
        most = std::max(most, running.size());
    };
    engine->start();
    clock.advance(1h + 59s);
    EXPECT_EQ(engine->queued().size(), count - cap);
    while (!engine->active().isEmpty()) {
        pane().probe = {AgentState::Done, false};
        engine->stop(live()->record.id);
        clock.advance(6s);
    }
    EXPECT_EQ(most, cap);
    EXPECT_EQ(engine->history().size(), count);
    for (const auto &record : engine->history())
        ASSERT_EQ(record.outcome, RunOutcome::cancelled()) << record.outcome->text.toStdString();
    EXPECT_EQ(launcher.launchOrder.size(), count);
    EXPECT_EQ(QSet<QString>(launcher.launchOrder.begin(), launcher.launchOrder.end()).size(), count);
    EXPECT_EQ(powerBackend.held, 0);
    clock.advance(24h);
    EXPECT_EQ(launcher.launchOrder.size(), count + cap) << "and again the next day";
}

} // namespace Keelhaven
