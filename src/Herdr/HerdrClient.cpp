#include "Herdr/HerdrClient.h"

#include "Herdr/UnixSocketTransport.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

HerdrClient::HerdrClient(std::shared_ptr<HerdrTransport> carrier, Span limit)
    : transport(std::move(carrier))
    , timeout(limit)
{}

HerdrClient::HerdrClient(const QString &socketPath, Span limit)
    : HerdrClient(std::make_shared<UnixSocketTransport>(socketPath), limit)
{}

Result<JSONValue, HerdrError> HerdrClient::parse(const QString &method, const QString &line)
{
    auto json = JSONValue::parse(QStringView(line));
    if (!json)
        return failure(undecodable(method, json.error().message()));
    return *std::move(json);
}

HerdrError HerdrClient::undecodable(const QString &method, const QString &reason)
{
    return HerdrError::transport(u"could not decode "_s + method + u" response: "_s + reason);
}

HerdrError HerdrClient::emptyEnvelope(const QString &method)
{
    return HerdrError::transport(method + u" returned neither result nor error"_s);
}

} // namespace Keelhaven
