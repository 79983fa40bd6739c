#include "Contract/JSONValue.h"
#include "RapidPeer.h"
#include "Ratio.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>
#include <random>

namespace {

using namespace Keelhaven;

/// Makes up a contract file like the analysis service's: projects by slug, each with work units, sessions and
/// texts.
class ContractFile
{
public:
    static const QByteArray &twentyMegabytes()
    {
        static const QByteArray bytes = ContractFile().make(20'000'000);
        return bytes;
    }

private:
    QByteArray make(qsizetype size)
    {
        m_out = R"({"schema_version": 3, "last_refresh": "2026-03-04T05:06:07.890Z", "projects": {)";
        for (int i = 0; m_out.size() < size; ++i) {
            if (i > 0)
                m_out += ", ";
            project(i);
        }
        return m_out + "}}";
    }

    void project(int number)
    {
        m_out += "\"project-" + QByteArray::number(number) + R"(": {"name": "Project )" +
                 QByteArray::number(number) + R"(", "path": "/home/user/src/group)" +
                 QByteArray::number(number % 40) + "/project-" + QByteArray::number(number) +
                 R"(", "starred": )" + (number % 7 ? "false" : "true") +
                 R"(, "head_sig": null, "summary": ")" + text(60) + R"(", "work_units": [)";
        for (int i = 0; i < 12; ++i) {
            if (i > 0)
                m_out += ", ";
            workUnit();
        }
        m_out += "]}";
    }

    void workUnit()
    {
        m_out +=
            R"({"id": ")" + QByteArray::number(m_random() | 1ULL << 63, 16) + R"(", "title": ")" + text(6) +
            R"(", "status": "in_progress", "created_at": "2026-03-04T05:06:07.890Z", "confidence": )" +
            QByteArray::number(static_cast<double>(m_random() % 1'000'000) / 1e6, 'g', 6) +
            R"(, "commits": )" + QByteArray::number(m_random() % 500) + R"(, "last_event_ts": )" +
            QByteArray::number(1.7726e9 + static_cast<double>(m_random() % 1'000'000'000) / 1e3, 'f', 3) +
            R"(, "unseen_activity": true, "notes": ")" + text(25) +
            R"(", "tags": ["plan", "review", "long-running job"]})";
    }

    QByteArray text(int words)
    {
        static const QByteArray vocabulary[] = {
            "agent",   "schedule", "the",       "a",      "of",           "refactoring", "worktree", "is",
            "waiting", "for",      "review\\n", "größer", "\\\"done\\\"", "tests",       "pass",     "✓"};
        QByteArray result;
        for (int i = 0; i < words; ++i)
            result += vocabulary[m_random() % std::size(vocabulary)] + (i + 1 < words ? " " : "");
        return result;
    }

    QByteArray m_out;
    std::mt19937_64 m_random{20260304};
};

std::string_view input()
{
    const QByteArray &bytes = ContractFile::twentyMegabytes();
    return {bytes.constData(), static_cast<size_t>(bytes.size())};
}

JSONValue parseOwn()
{
    return JSONValue::parse(ContractFile::twentyMegabytes()).value();
}

void ownRoundTrip()
{
    benchmark::DoNotOptimize(parseOwn().encoded());
}

void nlohmannRoundTrip()
{
    benchmark::DoNotOptimize(nlohmann::ordered_json::parse(input()).dump());
}

void rapidRoundTrip()
{
    benchmark::DoNotOptimize(Bench::rapidRoundTrip(input()));
}

void parse(benchmark::State &state)
{
    for ([[maybe_unused]] auto round : state)
        benchmark::DoNotOptimize(parseOwn());
    state.SetBytesProcessed(state.iterations() * ContractFile::twentyMegabytes().size());
}

void write(benchmark::State &state)
{
    const JSONValue value = parseOwn();
    for ([[maybe_unused]] auto round : state)
        benchmark::DoNotOptimize(value.encoded());
    state.SetBytesProcessed(state.iterations() * ContractFile::twentyMegabytes().size());
}

void walkWithKeys(benchmark::State &state)
{
    const JSONValue value = parseOwn();
    for ([[maybe_unused]] auto round : state) {
        qint64 commits = 0;
        for (const auto &[slug, project] : *value[u"projects"]->objectValue()) {
            for (const auto &unit : *project[u"work_units"]->arrayValue())
                commits += *unit[u"commits"]->intValue();
        }
        benchmark::DoNotOptimize(commits);
    }
}

BENCHMARK(parse)->Unit(benchmark::kMillisecond);
BENCHMARK(write)->Unit(benchmark::kMillisecond);
BENCHMARK(walkWithKeys)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    Bench::compare("json-parse-write-vs-nlohmann", 3, ownRoundTrip, nlohmannRoundTrip);
    Bench::compare("json-parse-write-vs-rapidjson", 0.5, ownRoundTrip, rapidRoundTrip);
    return 0;
}
