#include "Setup/UpdateTransport.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr auto fetchLimit = std::chrono::seconds(15);
constexpr qint64 recordLimit = 1024 * 1024;

} // namespace

QString UpdateError::message() const
{
    switch (kind) {
    case Kind::Http:
        return u"Update check failed (HTTP %1)"_s.arg(status);
    case Kind::BadVersion:
        return u"Update check returned an unreadable version “%1”"_s.arg(text);
    case Kind::Failed:
        break;
    }
    return text;
}

QCoro::Task<Result<UpdateTransport::Response, UpdateError>> URLSessionUpdateTransport::fetch(QUrl url)
{
    HttpRequest request;
    request.url = url;
    request.headers = {{"Accept", "application/json"}, {"Cache-Control", "no-cache"}};
    request.timeout = fetchLimit;
    request.bodyLimit = recordLimit;
    auto &http = m_http;
    const auto answer = co_await http.send(request);
    if (!answer)
        co_return failure(UpdateError::failed(answer.error().message()));
    co_return Response{answer->body, answer->status};
}

QUrl UpdatePlaces::endpoint()
{
    return QUrl(QStringLiteral(KEELHAVEN_UPDATE_ENDPOINT));
}

QUrl UpdatePlaces::downloadPage()
{
    return QUrl(QStringLiteral(KEELHAVEN_DOWNLOAD_PAGE));
}

} // namespace Keelhaven
