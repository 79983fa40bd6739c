#include "Mirror/MirrorProbe.h"

#include "Contract/JSONValue.h"
#include "Platform/Tasks.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// A whole board can be megabytes; the loop should not wait for reading one only to see that it is there.
constexpr qsizetype shortBody = 64 * 1024;

bool isView(const QByteArray &body)
{
    const auto json = JSONValue::parse(body);
    const auto *projects = json ? (*json)[u"projects"] : nullptr;
    return projects && projects->arrayValue();
}

QCoro::Task<bool> looksLikeView(QByteArray body)
{
    if (body.size() <= shortBody)
        co_return isView(body);
    auto work = [body] { return isView(body); };
    const bool answer = co_await onPool(std::move(work));
    co_return answer;
}

} // namespace

MirrorProbe::MirrorProbe(HttpClient &http, QUrl baseURL)
    : m_http(&http)
    , m_baseURL(std::move(baseURL))
{}

QCoro::Task<MirrorState> MirrorProbe::probe() const
{
    HttpRequest request;
    request.url = QUrl(m_baseURL.toString() + u"/api/view"_s);
    request.timeout = timeout;
    const auto answer = co_await m_http->send(request);
    if (!answer) {
        // Whoever says so much, or something else, is there.
        const auto kind = answer.error().kind;
        const bool isThere = kind == HttpError::Kind::TooLarge || kind == HttpError::Kind::NotHttp;
        co_return isThere ? MirrorState::foreign() : MirrorState::down();
    }
    if (answer->status != 200)
        co_return MirrorState::foreign();
    const bool isService = co_await looksLikeView(answer->body);
    co_return isService ? MirrorState::live(false) : MirrorState::foreign();
}

} // namespace Keelhaven
