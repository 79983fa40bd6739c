#include "App/Commands/AgendaCommand.h"

#include "App/Commands/Lookup.h"
#include "App/Commands/TextTable.h"
#include "Scheduler/SchedulerCalendar.h"
#include "Scheduler/SchedulerEngine.h"

namespace Keelhaven::AgendaCommand {

using namespace Qt::StringLiterals;

namespace {

constexpr int defaultDays = 10;
constexpr int mostDays = 366;
constexpr std::array<QByteArrayView, 7> weekdays{"Sun ", "Mon ", "Tue ", "Wed ", "Thu ", "Fri ", "Sat "};
const QString anyMoment = u"Sun 2026-03-08 02:30"_s; ///< as wide as every moment in the table

/// What stands around the moment in each line of one agent.
struct Surroundings
{
    QByteArray before;
    QByteArray after;
};
using ByAgent = QHash<QUuid, Surroundings>;

JSONValue entryJSON(const SchedulerCalendar::Entry &entry)
{
    return JSONObject{{u"slotID"_s, uuidText(entry.slotID)},
                      {u"name"_s, entry.name},
                      {u"date"_s, isoText(entry.date)},
                      {u"isOneShot"_s, entry.isOneShot}};
}

ByAgent surroundingsInJSON(const QList<SchedulerSlot> &agents)
{
    const QByteArray date = isoText({}).toLatin1();
    ByAgent byAgent;
    for (const auto &agent : agents) {
        const QByteArray whole = entryJSON({agent.id, agent.name, {}, agent.schedule.isOnce()}).encoded();
        const qsizetype at = whole.lastIndexOf(date); // a name may hold the same text, but stands before it
        byAgent.insert(agent.id, {whole.first(at), whole.sliced(at + date.size())});
    }
    return byAgent;
}

/// One line for a program, a day at each call.
class JSONPieces
{
public:
    JSONPieces(SchedulerCalendar agenda, const QList<SchedulerSlot> &agents)
        : m_agenda(std::move(agenda))
        , m_byAgent(surroundingsInJSON(agents))
    {}

    QByteArray operator()()
    {
        if (m_next == m_agenda.days.size())
            return {};
        const auto &day = m_agenda.days[m_next];
        QByteArray text = m_next++ == 0 ? R"({"days": [{"start": ")" : R"(, {"start": ")";
        text += QByteArrayView(isoCharacters(day.start));
        text += R"(", "entries": [)";
        QByteArrayView between;
        for (const auto &entry : day.entries) {
            const auto &around = *m_byAgent.constFind(entry.slotID);
            text += between;
            text += around.before;
            text += QByteArrayView(isoCharacters(entry.date));
            text += around.after;
            between = ", ";
        }
        text += m_next == m_agenda.days.size() ? "]}]}\n" : "]}";
        return text;
    }

private:
    SchedulerCalendar m_agenda;
    ByAgent m_byAgent;
    qsizetype m_next = 0; ///< of the days
};

/// A line for each entry, the days with any one after another.
class TablePieces
{
public:
    TablePieces(SchedulerCalendar agenda, const QList<SchedulerSlot> &agents, const Calendar &calendar,
                int columns)
        : m_agenda(std::move(agenda))
        , m_calendar(calendar)
    {
        TextTable rows({u"WHEN"_s, u"AGENT"_s, u"NAME"_s});
        for (const auto &agent : agents)
            rows.addRow({anyMoment, shortID(agent.id), agent.name});
        // A terminal too narrow for the moment alone wraps it.
        const int width = columns > 0 ? std::max(columns, static_cast<int>(anyMoment.size())) : 0;
        const QStringList lines = rows.text(width).split(u'\n');
        m_text = lines.front().toUtf8() + '\n';
        for (qsizetype i = 0; i < agents.size(); ++i)
            m_byAgent.insert(agents[i].id, {{}, lines[i + 1].sliced(anyMoment.size()).toUtf8() + '\n'});
    }

    QByteArray operator()()
    {
        QByteArray text = std::exchange(m_text, {});
        for (; m_next < m_agenda.days.size() && text.size() < pieceSize; ++m_next) {
            for (const auto &entry : m_agenda.days[m_next].entries) {
                const auto wall = m_calendar.wallTime(entry.date);
                text += weekdays[wall.weekday() - 1];
                text += QByteArrayView(dayAndMinute(wall.day, wall.hour, wall.minute));
                text += m_byAgent.constFind(entry.slotID)->after;
            }
        }
        return text;
    }

private:
    static constexpr qsizetype pieceSize = 16 * 1024;

    SchedulerCalendar m_agenda;
    Calendar m_calendar;
    ByAgent m_byAgent;
    QByteArray m_text;    ///< the headings
    qsizetype m_next = 0; ///< of the days
};

} // namespace

CommandReply agenda(const Arguments &arguments, const CommandContext &context)
{
    const int days = arguments.integer(u"days").value_or(defaultDays);
    const auto agents = context.engine.slotList();
    auto agenda = SchedulerCalendar::build(agents, context.now, days, context.calendar);
    if (arguments.wantsJSON()) {
        JSONPieces pieces(std::move(agenda), agents);
        if (!context.caller.isTerminal())
            return {.listing = pieces};
        QByteArray whole;
        for (QByteArray piece; !(piece = pieces()).isEmpty();)
            whole += piece;
        return CommandReply::json(*JSONValue::parse(whole), context);
    }
    const bool isEmpty =
        std::ranges::all_of(agenda.days, [](const auto &day) { return day.entries.isEmpty(); });
    if (isEmpty)
        return CommandReply::done(u"Nothing fires in the next %1 days."_s.arg(days));
    return {.listing = TablePieces(std::move(agenda), agents, context.calendar, context.caller.columns)};
}

std::optional<QString> checkDays(QStringView text)
{
    bool isNumber = false;
    const int days = text.toInt(&isNumber);
    return isNumber && days >= 1 && days <= mostDays
               ? std::nullopt
               : std::optional(u"is no number of days from 1 to %1"_s.arg(mostDays));
}

} // namespace Keelhaven::AgendaCommand
