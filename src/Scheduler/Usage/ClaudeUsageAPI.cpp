#include "Scheduler/Usage/ClaudeUsageAPI.h"

#include <QPointer>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Reread = ClaudeSignIn::Reread;

namespace {

constexpr auto timeout = 15s;
constexpr qint64 largestAnswer = 1024 * 1024;

HttpRequest usageRequest(const OAuthToken &token)
{
    HttpRequest request;
    request.url = QUrl(u"https://api.anthropic.com/api/oauth/usage"_s);
    request.headers = {{"Authorization", "Bearer " + token.value.toUtf8()},
                       {"anthropic-beta", "oauth-2025-04-20"},
                       {"anthropic-version", "2023-06-01"}};
    request.timeout = timeout;
    request.bodyLimit = largestAnswer;
    return request;
}

} // namespace

ClaudeUsageAPI::ClaudeUsageAPI(HttpClient &http, ClaudeSignIn &signIn, Clock &clock)
    : m_http(http)
    , m_signIn(signIn)
    , m_clock(clock)
{}

QCoro::Task<std::optional<UsageSnapshot>> ClaudeUsageAPI::fetchFromAPI()
{
    const QPointer<ClaudeUsageAPI> self(this);
    const auto token = co_await m_signIn.token(Reread::No);
    if (!self || !token)
        co_return std::nullopt;
    const auto first = co_await usage(*token);
    if (!self || first.kind != APIResult::Kind::Rejected)
        co_return std::optional<UsageSnapshot>(first.snapshot);
    co_await m_signIn.forgetCopies();
    if (!self)
        co_return std::nullopt;
    const auto newer = co_await m_signIn.token(Reread::Shared);
    if (!self || !newer || newer->value == token->value)
        co_return std::nullopt;
    const auto second = co_await usage(*newer);
    co_return std::optional<UsageSnapshot>(second.snapshot);
}

QCoro::Task<APIResult> ClaudeUsageAPI::usage(OAuthToken token)
{
    const QPointer<ClaudeUsageAPI> self(this);
    const HttpRequest request = usageRequest(token);
    const auto response = co_await m_http.send(request);
    APIResult result;
    if (!self || !response)
        co_return result;
    if (response->status == 401 || response->status == 403)
        result.kind = APIResult::Kind::Rejected;
    if (response->status == 200)
        result.snapshot = UsageSnapshot::parse(response->body, m_clock.now());
    if (result.snapshot)
        result.kind = APIResult::Kind::Snapshot;
    co_return result;
}

} // namespace Keelhaven
