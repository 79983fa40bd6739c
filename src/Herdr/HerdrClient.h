#pragma once

#include "Herdr/HerdrTransport.h"
#include "Herdr/Wire/HerdrEnvelope.h"
#include "Herdr/Wire/HerdrParams.h"
#include "Herdr/Wire/HerdrRecords.h"

#include <memory>

namespace Keelhaven {

/// Calls the terminal host's methods. A plain value without a connection; copies share the transport.
struct HerdrClient
{
    static constexpr Span defaultTimeout = std::chrono::seconds(15);

    std::shared_ptr<HerdrTransport> transport;
    Span timeout = defaultTimeout;

    explicit HerdrClient(std::shared_ptr<HerdrTransport> carrier, Span limit = defaultTimeout);
    explicit HerdrClient(const QString &socketPath, Span limit = defaultTimeout);

    /// Calls `method` and gives its result record. Every failure is a HerdrError: the transport's own, the
    /// server's (Api), or a Transport error for an answer that is not what the method gives.
    template <TableRecord Outcome, TableRecord Params>
    [[nodiscard]] QCoro::Task<Result<Outcome, HerdrError>>
    call(QStringView method, Params params, std::optional<Span> timeoutOverride = std::nullopt) const
    {
        return exchange<Outcome>(transport, method.toString(), requestLine(method, params),
                                 timeoutOverride.value_or(timeout));
    }

    /// One request as it goes over the wire, without the line feed.
    template <TableRecord Params>
    [[nodiscard]] static QString requestLine(QStringView method, const Params &params)
    {
        const HerdrRequest<Params> request{newHerdrRequestID(), method.toString(), params};
        return JSONValue(encodeRecord(request)).serialized();
    }

private:
    /// Parses an answer's line; the error says what `method` sent instead.
    [[nodiscard]] static Result<JSONValue, HerdrError> parse(const QString &method, const QString &line);
    [[nodiscard]] static HerdrError undecodable(const QString &method, const QString &reason);
    [[nodiscard]] static HerdrError emptyEnvelope(const QString &method);

    template <TableRecord Outcome>
    [[nodiscard]] static QCoro::Task<Result<Outcome, HerdrError>>
    exchange(std::shared_ptr<HerdrTransport> carrier, QString method, QString line, Span limit)
    {
        const auto answer = co_await carrier->roundTrip(line, limit);
        if (!answer)
            co_return failure(answer.error());
        const auto json = parse(method, *answer);
        if (!json)
            co_return failure(json.error());
        auto envelope = decodeRecord<HerdrEnvelope<Outcome>>(*json);
        if (!envelope)
            co_return failure(undecodable(method, envelope.error().message()));
        if (envelope->error)
            co_return failure(HerdrError::api(envelope->error->code, envelope->error->message));
        if (!envelope->result)
            co_return failure(emptyEnvelope(method));
        co_return *std::move(envelope->result);
    }
};

} // namespace Keelhaven
