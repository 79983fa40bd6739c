#pragma once

#include "Herdr/HerdrClient.h"
#include "Platform/Clock.h"
#include "Platform/OneShot.h"

#include <QHash>

namespace Keelhaven {

/// A terminal host in memory: each method has a queue of answers of which the last one stays. It remembers
/// what was called, with what and when.
class ScriptedTransport : public HerdrTransport
{
public:
    using Answer = std::variant<JSONValue, HerdrError>;

    struct Call
    {
        QString method;
        JSONValue params;
        double at = 0; ///< seconds since the transport was made
        Span timeout{};

        [[nodiscard]] QString text(QStringView key) const
        {
            const JSONValue *value = params[key];
            return value ? value->stringValue().value_or(QString()) : QString();
        }
    };

    explicit ScriptedTransport(Clock &clock)
        : m_clock(clock)
        , m_start(clock.now())
    {}

    /// What `method` answers from now on, one by one.
    void answers(QStringView method, QList<Answer> list)
    {
        m_answers.insert(method.toString(), std::move(list));
    }

    template <TableRecord R>
    static Answer result(const R &record)
    {
        return JSONValue(encodeRecord(record));
    }

    QCoro::Task<Result<QString, HerdrError>> roundTrip(QString line, Span timeout) override
    {
        const auto request = decodeRecordBytes<HerdrRequest<JSONValue>>(line.toUtf8()).value();
        calls.append({request.method, request.params,
                      std::chrono::duration<double>(m_clock.now() - m_start).count(), timeout});
        if (request.method == holds) {
            OneShot<bool> gate;
            m_held.append(gate);
            static_cast<void>(co_await gate);
        }
        auto &queue = m_answers[request.method];
        if (queue.isEmpty())
            co_return failure(
                HerdrError::transport(QStringLiteral("nothing scripted for ") + request.method));
        const Answer answer = queue.size() > 1 ? queue.takeFirst() : queue.first();
        if (const auto *error = std::get_if<HerdrError>(&answer))
            co_return failed(*error);
        const JSONObject envelope{{QStringLiteral("result"), std::get<JSONValue>(answer)}};
        co_return JSONValue(envelope).serialized();
    }

    void post(QString line, Span, std::function<void()> finished) override
    {
        posted.append(line);
        if (answersPosts)
            finished();
    }

    /// Answers the exchanges that were held back, and holds no more.
    void release()
    {
        holds.clear();
        for (const auto &gate : std::exchange(m_held, {}))
            gate.resolve(true);
    }

    [[nodiscard]] QList<Call> callsOf(QStringView method) const
    {
        QList<Call> found;
        std::ranges::copy_if(calls, std::back_inserter(found),
                             [method](const Call &call) { return call.method == method; });
        return found;
    }

    QList<Call> calls;
    QStringList posted;
    bool answersPosts = true;
    QString holds; ///< exchanges of this method wait for release()

private:
    static Result<QString, HerdrError> failed(const HerdrError &error)
    {
        if (error.kind != HerdrError::Kind::Api)
            return failure(error);
        const JSONObject inner{{QStringLiteral("code"), error.code}, {QStringLiteral("message"), error.text}};
        return JSONValue(JSONObject{{QStringLiteral("error"), inner}}).serialized();
    }

    Clock &m_clock;
    Date m_start;
    QHash<QString, QList<Answer>> m_answers;
    QList<OneShot<bool>> m_held;
};

} // namespace Keelhaven
