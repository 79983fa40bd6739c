#pragma once

#include "Platform/HttpClient.h"
#include "Platform/OneShot.h"

#include <functional>

namespace Keelhaven {

/// Answers HTTP requests from a function and remembers them. An answer of nothing leaves the request pending
/// until finishPending().
class FakeHttpClient : public HttpClient
{
public:
    using Outcome = Result<HttpResponse, HttpError>;

    /// Gives the answer to a request; by default no server can be reached.
    std::function<std::optional<Outcome>(const HttpRequest &)> answer = [](const HttpRequest &) {
        return Outcome(unreachable());
    };
    QList<HttpRequest> requests;

    [[nodiscard]] QCoro::Task<Outcome> send(HttpRequest request) override
    {
        requests.append(request);
        if (auto outcome = answer(request))
            co_return *outcome;
        OneShot<Outcome> done;
        m_pending.append(done);
        auto outcome = co_await done;
        co_return outcome;
    }

    [[nodiscard]] qsizetype pending() const { return m_pending.size(); }

    void finishPending(const Outcome &outcome)
    {
        for (const auto &done : std::exchange(m_pending, {}))
            done.resolve(outcome);
    }

    [[nodiscard]] static Outcome answered(int status, const QByteArray &body = {})
    {
        HttpResponse response;
        response.status = status;
        response.body = body;
        return response;
    }
    [[nodiscard]] static Outcome unreachable() { return error(HttpError::Kind::Unreachable); }
    [[nodiscard]] static Outcome error(HttpError::Kind kind)
    {
        return failure(HttpError{kind, QStringLiteral("no such server")});
    }

    /// The first value of a request's header; empty when it was not sent.
    [[nodiscard]] static QByteArray header(const HttpRequest &request, const QByteArray &name)
    {
        for (const auto &[key, value] : request.headers) {
            if (key.compare(name, Qt::CaseInsensitive) == 0)
                return value;
        }
        return {};
    }

private:
    QList<OneShot<Outcome>> m_pending;
};

} // namespace Keelhaven
