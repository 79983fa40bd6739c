// One keystroke in a prompt field that knows 5,000 commands, beside a bare scan over the same names; and a
// path in a folder with 5,000 entries, beside a bare sort of them.

#include "Ratio.h"
#include "Scheduler/Prompt/PathCompleter.h"
#include "Scheduler/Prompt/SlashCommandCatalog.h"

#include <QCollator>
#include <benchmark/benchmark.h>

namespace {

using namespace Keelhaven;
using namespace Qt::StringLiterals;

constexpr int candidates = 5000;
/// Ends up nowhere, so that nothing is found early.
const QString nowhere = u"zz-none"_s;

SlashCommandCatalog catalog()
{
    QList<SlashCommand> commands;
    for (int i = 0; i < candidates; ++i) {
        const QString own = u"Command-%1"_s.arg((i * 7919) % candidates);
        commands.append({u"plugin-%1:%2"_s.arg(i % 40).arg(own),
                         {own},
                         SlashCommand::Source::plugin(u"p@m"_s, u"plugin-%1"_s.arg(i % 40)),
                         u"/p"_s});
    }
    return SlashCommandCatalog(std::move(commands));
}

QList<PathCompleter::DirectoryEntry> entries(const QString &)
{
    QList<PathCompleter::DirectoryEntry> list;
    for (int i = 0; i < candidates; ++i)
        list.append({u"File-%1.txt"_s.arg((i * 7919) % candidates), i % 10 == 0});
    return list;
}

void keystroke(benchmark::State &state)
{
    const auto commands = catalog();
    for (auto _ : state)
        benchmark::DoNotOptimize(commands.suggestions(nowhere, promptSuggestionLimit));
}
BENCHMARK(keystroke)->Unit(benchmark::kMicrosecond);

void path(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(
            PathCompleter::completions(u"/w/"_s, {}, {}, entries, promptSuggestionLimit));
}
BENCHMARK(path)->Unit(benchmark::kMicrosecond);

void compareWithBareScans()
{
    const auto commands = catalog();
    QStringList folded;
    for (const auto &command : commands.commands())
        folded << command.name.toLower() << command.aliases.first().toLower();
    Bench::compare(
        "keystroke_vs_bare_scan", 0.5,
        [&] {
            for (int round = 0; round < 20; ++round)
                benchmark::DoNotOptimize(commands.suggestions(nowhere, promptSuggestionLimit));
        },
        [&] {
            for (int round = 0; round < 20; ++round) {
                qsizetype found = 0;
                for (const QString &name : std::as_const(folded))
                    found += name.startsWith(nowhere);
                benchmark::DoNotOptimize(found);
            }
        });
    Bench::compare(
        "path_vs_bare_sort", 1,
        [] {
            benchmark::DoNotOptimize(
                PathCompleter::completions(u"/w/"_s, {}, {}, entries, promptSuggestionLimit));
        },
        [] {
            auto list = entries({});
            QCollator collator;
            collator.setCaseSensitivity(Qt::CaseInsensitive);
            std::ranges::sort(list, [&](const auto &a, const auto &b) {
                return a.isDir != b.isDir ? a.isDir : collator.compare(a.name, b.name) < 0;
            });
            benchmark::DoNotOptimize(list);
        });
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    compareWithBareScans();
    return 0;
}
