#include "App/Commands/AgendaCommand.h"

#include "App/CommandFixture.h"

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

class AgendaCommandTest : public CommandTest
{
protected:
    /// What a caller with a terminal of so many columns reads; 0 is none.
    QString agenda(const QStringList &words, int columns = 0)
    {
        caller.columns = columns;
        return said(QStringList{u"agenda"_s} + words);
    }
    SchedulerSlot add(const QString &name, const ScheduleSpec &rule)
    {
        auto agent = slot(name);
        agent.schedule = rule;
        engine->upsert(agent);
        return agent;
    }
};

} // namespace

TEST_F(AgendaCommandTest, ProgramsReadEveryDayWithItsEntriesInOrder)
{
    engine->start();
    const Date midnight = calendar.startOfDay(clock.now() + 24h);
    // Its name reads like the end of an entry's JSON.
    const auto once = add(u"\"1970-01-01T00:00:00.000Z\", \\ ⚓"_s, {ScheduleSpec::Once{midnight + 26h}});
    const auto daily = add(u"Bilge"_s, {ScheduleSpec::Daily{{{1, 30}, {2, 0}}}});
    const auto line = agenda({u"--days"_s, u"3"_s, u"--json"_s});
    EXPECT_FALSE(line.contains(u'\n')) << line.toStdString();
    const auto json = JSONValue::parse(line);
    ASSERT_TRUE(json) << line.toStdString();
    JSONArray days;
    for (int i = 0; i < 3; ++i) {
        const Date start = calendar.startOfDay(clock.now()) + i * 24h;
        JSONArray entries;
        const auto append = [&](const SchedulerSlot &agent, Date date) {
            if (date > clock.now())
                entries.push_back(JSONObject{{u"slotID"_s, uuidText(agent.id)},
                                             {u"name"_s, agent.name},
                                             {u"date"_s, isoText(date)},
                                             {u"isOneShot"_s, agent.id == once.id}});
        };
        append(daily, start + 90min);
        if (i == 2)
            append(once, start + 2h);
        append(daily, start + 2h);
        days.push_back(JSONObject{{u"start"_s, isoText(start)}, {u"entries"_s, entries}});
    }
    EXPECT_EQ(json->encoded().toStdString(),
              JSONValue(JSONObject{{u"days"_s, days}}).encoded().toStdString());
    EXPECT_EQ(agenda({u"--days"_s, u"3"_s, u"--json"_s}, 80).toStdString(),
              json->encodedPretty().trimmed().toStdString());
}

TEST_F(AgendaCommandTest, APersonReadsALineForEachEntryCutToTheTerminal)
{
    engine->start();
    EXPECT_EQ(agenda({u"--days"_s, u"3"_s}), u"Nothing fires in the next 3 days."_s);
    const Date start = calendar.startOfDay(clock.now() + 24h);
    const auto agent = add(u"Look\x1b[2J at the\nhull"_s, {ScheduleSpec::Daily{{{0, 5}}}});
    const auto wall = calendar.wallTime(start);
    const QString day = QLocale::c().dayName((wall.weekday() + 5) % 7 + 1, QLocale::ShortFormat) +
                        toQDateTime(start).toTimeZone(calendar.zone()).toString(u" yyyy-MM-dd 00:05"_s);
    const QString id = uuidText(agent.id).first(8);
    const QStringList whole = agenda({u"--days"_s, u"4"_s}).split(u'\n');
    EXPECT_EQ(whole[0], u"WHEN                  AGENT     NAME"_s);
    EXPECT_EQ(whole[1], day + u"  "_s + id + u"  Look [2J at the hull"_s);
    EXPECT_EQ(agenda({u"--days"_s, u"2"_s}, 40).split(u'\n')[1], day + u"  "_s + id + u"  Look [2…"_s);
    EXPECT_EQ(agenda({u"--days"_s, u"2"_s}, 5).split(u'\n')[1], day) << "wrapped by the terminal";
}

} // namespace Keelhaven
