#include "Scheduler/Model/RunRecord.h"

#include <limits>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// Everything that depends on the case of an outcome, in the order of RunOutcome::Kind.
struct OutcomeTexts
{
    QStringView json;
    QStringView key;
    QStringView label;
    QStringView payload; ///< name of the text member, where there is one
    bool isFailure;
};

constexpr std::array<OutcomeTexts, 8> outcomes{{
    {u"processExited", u"process_exited", u"exited", u"", true},
    {u"preflightFailed", u"preflight_failed", u"preflight failed", u"output", true},
    {u"launchFailed", u"launch_failed", u"launch failed", u"reason", true},
    {u"completed", u"completed", u"completed", u"", false},
    {u"timeout", u"timeout", u"timed out", u"", true},
    {u"skippedMissedWindow", u"skipped_missed_window", u"skipped (missed window)", u"", false},
    {u"skippedNoChanges", u"skipped_no_changes", u"skipped (no changes)", u"", false},
    {u"cancelled", u"cancelled", u"cancelled", u"", false},
}};

const OutcomeTexts &textsOf(RunOutcome::Kind kind)
{
    return outcomes[static_cast<size_t>(kind)];
}

} // namespace

qint64 RunUsage::workTokens() const
{
    qint64 sum = 0;
    for (const qint64 part : {input, output, cacheCreation}) {
        if (__builtin_add_overflow(sum, part, &sum))
            return std::numeric_limits<qint64>::max();
    }
    return sum;
}

QString RunOutcome::key() const
{
    return textsOf(kind).key.toString();
}

QString RunOutcome::label() const
{
    if (kind == Kind::ProcessExited && code != 0)
        return u"exited (%1)"_s.arg(code);
    return textsOf(kind).label.toString();
}

bool RunOutcome::isFailure() const
{
    return textsOf(kind).isFailure && !(kind == Kind::ProcessExited && code == 0);
}

std::optional<double> RunRecord::minutes() const
{
    if (!endedAt)
        return std::nullopt;
    return std::chrono::duration<double, std::ratio<60>>(*endedAt - startedAt).count();
}

Decoded<RunOutcome> JSONCodec<RunOutcome>::decode(const JSONValue &json)
{
    for (size_t i = 0; i < outcomes.size(); ++i) {
        const JSONValue *payload = json[outcomes[i].json];
        if (!payload)
            continue;
        RunOutcome outcome{static_cast<RunOutcome::Kind>(i), 0, {}};
        if (outcome.kind == RunOutcome::Kind::ProcessExited) {
            const JSONValue *code = (*payload)[u"code"];
            const auto value =
                code ? JSONCodec<qint32>::decode(*code) : Decoded<qint32>(Detail::wrongType(u"an integer"));
            if (!value)
                return failure(Detail::within(u"code", value.error()));
            outcome.code = *value;
        } else if (!outcomes[i].payload.isEmpty()) {
            const JSONValue *text = (*payload)[outcomes[i].payload];
            const auto value =
                text ? JSONCodec<QString>::decode(*text) : Decoded<QString>(Detail::wrongType(u"a text"));
            if (!value)
                return failure(Detail::within(outcomes[i].payload, value.error()));
            outcome.text = *value;
        }
        return outcome;
    }
    return failure(DecodeError{{}, u"unknown outcome"_s});
}

JSONValue JSONCodec<RunOutcome>::encode(const RunOutcome &outcome)
{
    const auto &texts = textsOf(outcome.kind);
    JSONObject payload;
    if (outcome.kind == RunOutcome::Kind::ProcessExited)
        payload.set(u"code"_s, qint64(outcome.code));
    else if (!texts.payload.isEmpty())
        payload.set(texts.payload.toString(), outcome.text);
    return JSONObject{{texts.json.toString(), payload}};
}

} // namespace Keelhaven
