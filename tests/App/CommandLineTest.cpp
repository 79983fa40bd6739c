#include "App/CommandLine.h"

#include "App/Commands/CommandTable.h"
#include "App/Commands/ScheduleOptions.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

ParsedCommandLine parse(const QString &words)
{
    return parseCommandLine(words.split(u' ', Qt::SkipEmptyParts), commandTable());
}

/// "usage: …" or "help" or the command's name.
QString resultOf(const QString &words)
{
    const auto parsed = parse(words);
    if (const auto *error = std::get_if<UsageError>(&parsed))
        return u"usage: "_s + error->sentence;
    if (std::holds_alternative<HelpText>(parsed))
        return u"help"_s;
    return std::get<ParsedCommand>(parsed).command->path.toString();
}

} // namespace

TEST(CommandLine, WordsAreUnderstoodOrExplained)
{
    const std::pair<QString, QString> cases[] = {
        {u""_s, u"usage: a command is missing"_s},
        {u"bogus"_s, u"usage: unknown command \"bogus\""_s},
        {u"agents"_s, u"usage: say what to do with agents"_s},
        {u"agents fly"_s, u"usage: unknown command \"agents fly\""_s},
        {u"status"_s, u"status"_s},
        {u"status --json"_s, u"status"_s},
        {u"status --json --json"_s, u"usage: --json is given twice"_s},
        {u"status --json=yes"_s, u"usage: --json takes no value"_s},
        {u"status now"_s, u"usage: unexpected \"now\""_s},
        {u"status -x"_s, u"usage: unknown option \"-x\""_s},
        {u"status --no-json"_s, u"usage: unknown option \"--no-json\""_s},
        {u"runs show"_s, u"usage: RUN is missing"_s},
        {u"runs show 1234 5678"_s, u"usage: unexpected \"5678\""_s},
        {u"runs show -- --json"_s, u"runs show"_s},
        {u"runs list --limit 0"_s, u"usage: --limit: \"0\" is no number of runs"_s},
        {u"runs list --limit"_s, u"usage: --limit needs N"_s},
        {u"runs list --limit --all"_s, u"usage: --limit needs N"_s},
        {u"agents add --name x"_s,
         u"usage: a schedule is missing: give --daily, --weekly, --every-hours, --once, --template or --file"_s},
        {u"agents add --template x"_s,
         u"usage: --template: \"x\" is no template; \"keelhaven templates list\" names them"_s},
        {u"agents add --template security-review --file -"_s, u"usage: give one of --template and --file"_s},
        {u"sweep --force --report"_s, u"usage: only one of --force, --report and --resume can be given"_s},
        {u"agents add --daily 9:00 --every-hours 2"_s,
         u"usage: give one of --daily, --weekly, --every-hours and --once"_s},
        {u"agents edit A --priority -3 --no-keep-awake --model="_s, u"agents edit"_s},
        {u"agents edit A --timeout-minutes 0"_s,
         u"usage: --timeout-minutes: \"0\" is no number of minutes"_s},
        {u"agents edit A --max-usage-percent 101"_s,
         u"usage: --max-usage-percent: \"101\" is neither a percentage from 0 to 100 nor \"none\""_s},
        {u"agents edit A --provider gpt"_s, u"usage: --provider: \"gpt\" is none of claude, codex"_s},
        {u"help"_s, u"help"_s},
        {u"help agents add"_s, u"help"_s},
        {u"agents --help"_s, u"help"_s},
        {u"agents add --name --help"_s, u"usage: --name needs NAME"_s},
        {u"--version"_s, u"help"_s},
    };
    for (const auto &[words, expected] : cases)
        EXPECT_EQ(resultOf(words).toStdString(), expected.toStdString()) << words.toStdString();
}

TEST(CommandLine, ListsEndWhereTheNextOptionBeginsAndMayBeRepeated)
{
    const auto parsed = parse(u"agents edit A --cwd a b --name=--odd --cwd=-c --daily 08:00"_s);
    ASSERT_TRUE(std::holds_alternative<ParsedCommand>(parsed));
    const auto &arguments = std::get<ParsedCommand>(parsed).arguments;
    EXPECT_EQ(arguments.operand(), u"A"_s);
    EXPECT_EQ(arguments.values(u"cwd"), QStringList({u"a"_s, u"b"_s, u"-c"_s}));
    EXPECT_EQ(arguments.value(u"name"), u"--odd"_s);
}

TEST(CommandLine, HelpNamesEveryCommandAndEveryOption)
{
    const QString all = std::get<HelpText>(parse(u"--help"_s)).text;
    for (const auto &command : commandTable()) {
        EXPECT_TRUE(all.contains(command.path));
        const QString own = std::get<HelpText>(parse(command.path.toString() + u" --help"_s)).text;
        EXPECT_TRUE(own.contains(u"--json"_s));
        for (const auto &option : command.options)
            EXPECT_TRUE(own.contains(option.name)) << option.name.toString().toStdString();
    }
}

TEST(CommandLine, ScheduleOptionsBecomeSchedules)
{
    const Calendar berlin(QTimeZone("Europe/Berlin"));
    const std::pair<QString, QString> cases[] = {
        {u"--daily 9:00 21:30,09:00"_s,
         uR"({"kind": "daily", "times": [{"hour": 9, "minute": 0}, {"hour": 21, "minute": 30}]})"_s},
        {u"--weekly Fri,monday@08:30,17:00"_s,
         uR"({"kind": "weekly", "days": [2, 6], "times": [{"hour": 8, "minute": 30}, {"hour": 17, "minute": 0}]})"_s},
        {u"--weekly sun@00:00"_s,
         uR"({"kind": "weekly", "days": [1], "times": [{"hour": 0, "minute": 0}]})"_s},
        {u"--every-hours 3"_s, uR"({"kind": "everyHours", "interval": 3})"_s},
        {u"--every-hours 2@9-17"_s,
         uR"({"kind": "everyHours", "interval": 2, "window": {"startHour": 9, "endHour": 17}})"_s},
        {u"--every-hours 24@0-24"_s,
         uR"({"kind": "everyHours", "interval": 24, "window": {"startHour": 0, "endHour": 24}})"_s},
        {u"--once 2026-03-04T05:06:07.890Z"_s, uR"({"kind": "once", "date": "2026-03-04T05:06:07.890Z"})"_s},
        {u"--once 2026-03-04T05:06:07+02:00"_s, uR"({"kind": "once", "date": "2026-03-04T03:06:07.000Z"})"_s},
        {u"--once 2026-07-04T09:30-01:00"_s, uR"({"kind": "once", "date": "2026-07-04T10:30:00.000Z"})"_s},
        {u"--once 2026-07-04T09:30"_s, uR"({"kind": "once", "date": "2026-07-04T07:30:00.000Z"})"_s},
        {u"--once 2026-03-29T02:30"_s,
         uR"({"kind": "once", "date": "2026-03-29T01:00:00.000Z"})"_s}, // in the gap
    };
    for (const auto &[words, json] : cases) {
        const auto parsed = parse(u"agents edit A "_s + words);
        ASSERT_TRUE(std::holds_alternative<ParsedCommand>(parsed)) << words.toStdString();
        const auto schedule = ScheduleOptions::read(std::get<ParsedCommand>(parsed).arguments, berlin);
        ASSERT_TRUE(schedule);
        EXPECT_EQ(JSONCodec<ScheduleSpec>::encode(*schedule).serialized().toStdString(), json.toStdString());
    }
    EXPECT_FALSE(ScheduleOptions::read(Arguments(), berlin));
}

TEST(CommandLine, WrongSchedulesAreWrongUsage)
{
    for (const auto &words :
         {u"--daily 24:00"_s, u"--daily 9"_s, u"--daily 9:5"_s, u"--daily 08:00,"_s, u"--daily 12:60"_s,
          u"--weekly 08:30"_s, u"--weekly @08:30"_s, u"--weekly mon"_s, u"--weekly mo@08:30"_s,
          u"--weekly mon@8:61"_s, u"--every-hours 0"_s, u"--every-hours 25"_s, u"--every-hours 2@17-9"_s,
          u"--every-hours 2@9-25"_s, u"--every-hours 1.5"_s, u"--once tomorrow"_s,
          u"--once 2026-02-30T10:00"_s, u"--once 2026-03-04"_s})
        EXPECT_TRUE(resultOf(u"agents edit A "_s + words).startsWith(u"usage: --"_s)) << words.toStdString();
}

} // namespace Keelhaven
