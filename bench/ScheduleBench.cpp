// The next 1,000 firings of a weekday rule in a zone, beside systemd's own calculator for calendar
// expressions.

#include "Ratio.h"
#include "Scheduler/Model/ScheduleSpec.h"

#include <QProcess>
#include <QStandardPaths>
#include <benchmark/benchmark.h>
#include <cstdlib>

namespace {

using namespace Keelhaven;
using namespace Qt::StringLiterals;

constexpr int firings = 1000;
const QByteArray zone = "America/New_York";
/// No clock skips 9:30, so that the two may be compared: inside a gap their rules differ.
const ScheduleSpec rule{ScheduleSpec::Weekly{{2, 3, 4, 5, 6}, {{9, 30}}}};
const Date from = std::chrono::sys_days(std::chrono::year(2026) / 3 / 5);
const Date farAway = std::chrono::sys_days(std::chrono::year(2090) / 1 / 1);

QList<Date> ownFirings()
{
    const Calendar calendar{QTimeZone(zone)};
    return rule.fireDates(from, farAway, calendar, firings);
}

/// What the peer prints, in UTC; the whole life of its process, as there is no other way to ask it.
QByteArray peerOutput(const QString &program)
{
    QProcess process;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"TZ"_s, u"UTC"_s);
    environment.insert(u"LC_ALL"_s, u"C"_s);
    environment.insert(u"SYSTEMD_COLORS"_s, u"0"_s);
    process.setProcessEnvironment(environment);
    process.start(program,
                  {u"calendar"_s, u"--iterations=%1"_s.arg(firings), u"--base-time=2026-03-05 00:00:00 UTC"_s,
                   u"Mon..Fri *-*-* 09:30:00 "_s + QString::fromLatin1(zone)});
    process.waitForFinished(60'000);
    return process.readAllStandardOutput();
}

/// The moments of lines like "Iter. #2: Fri 2026-03-06 14:30:00 UTC".
QList<Date> peerFirings(const QByteArray &output)
{
    QList<Date> dates;
    for (const QByteArray &raw : output.split('\n')) {
        const QString line = QString::fromLatin1(raw).trimmed();
        if (!line.startsWith(u"Next elapse:") && !line.startsWith(u"Iter. #"))
            continue;
        const QStringList words = line.section(u": "_s, 1).simplified().split(u' ');
        const auto date = dateFromLooseISOText(words.value(1) + u'T' + words.value(2) + u'Z');
        if (date)
            dates.append(*date);
    }
    return dates;
}

void nextFiring(benchmark::State &state)
{
    const Calendar calendar{QTimeZone(zone)};
    Date cursor = from;
    for (auto _ : state) {
        cursor = rule.nextFireDate(cursor, calendar).value();
        if (cursor > farAway)
            cursor = from;
    }
}
BENCHMARK(nextFiring);

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();

    const QString peer = QStandardPaths::findExecutable(u"systemd-analyze"_s);
    if (peer.isEmpty()) {
        std::puts("ScheduleNext: systemd-analyze is not installed, nothing to compare with");
        return EXIT_SUCCESS;
    }
    const auto own = ownFirings();
    if (own.size() != firings || own != peerFirings(peerOutput(peer))) {
        std::fputs("ScheduleNext: the two do not name the same moments\n", stderr);
        return EXIT_FAILURE;
    }
    Bench::compare(
        "ScheduleNext", 100, [] { benchmark::DoNotOptimize(ownFirings()); },
        [&] { benchmark::DoNotOptimize(peerOutput(peer)); }, 5);
    return EXIT_SUCCESS;
}
