#include "Herdr/HerdrProbe.h"

#include "Herdr/HerdrLocator.h"
#include "Herdr/HerdrPin.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

std::optional<QString> HerdrProbe::State::message() const
{
    switch (kind) {
    case Kind::Ok:
        return std::nullopt;
    case Kind::ServerDown:
        return u"Herdr server not running — Keelhaven starts one when a run fires."_s;
    case Kind::Missing:
        return u"Herdr isn't installed and Keelhaven's bundled copy is missing — click Reinstall in Settings ▸ Herdr, or set a path there."_s;
    case Kind::BundleMissing:
        return u"This build of Keelhaven carries no bundled Herdr for this Mac (run scripts/fetch-herdr.sh "
               u"before building), and no Herdr is "
               u"installed — set a path in Settings ▸ Herdr."_s;
    case Kind::UnsupportedProtocol:
        return u"Herdr at "_s + binary +
               u" speaks protocol %1; this Keelhaven needs %2 — clear the custom path in Settings ▸ Herdr to "
               u"use Keelhaven's managed "
               u"Herdr %3."_s.arg(found)
                   .arg(Herdr::protocolVersion)
                   .arg(HerdrPin::current().version);
    case Kind::ServerIncompatible:
        return u"A Herdr server on protocol %1 is still running in Keelhaven's session; this Keelhaven needs "
               u"%2 — restart it from "
               u"Settings ▸ Herdr once no runs are active."_s.arg(found)
                   .arg(Herdr::protocolVersion);
    }
    Q_UNREACHABLE();
}

std::optional<QString> HerdrProbe::Health::summary() const
{
    if (!clientVersion)
        return std::nullopt;
    const QString owner = source == Source::Managed ? u"managed by Keelhaven"_s : u"your own install"_s;
    const QString server =
        serverRunning ? u"server running"_s : u"server not running (starts when a run fires)"_s;
    return u"Herdr "_s + *clientVersion + u" (protocol %1) — "_s.arg(clientProtocol.value_or(0)) + owner +
           u", "_s + server;
}

HerdrProbe::HerdrProbe(HerdrLocator &locator)
    : m_locator(locator)
{}

QCoro::Task<HerdrProbe::Health> HerdrProbe::run()
{
    HerdrLocator &locator = m_locator;
    const auto binary = co_await locator.resolveBinaryWithSource();
    if (!binary) {
        Health health;
        health.state.kind = locator.missingKind();
        co_return health;
    }
    const auto status = co_await locator.statusJSON(binary->path, 10s);
    std::optional<Herdr::Pong> pong;
    if (status && status->server.running) {
        const auto answer = co_await locator.ping(locator.client(3s));
        if (answer)
            pong = *answer;
    }
    co_return evaluate(*binary, status, pong);
}

QCoro::Task<std::optional<QString>> HerdrProbe::blockedReason()
{
    if (untilSettled)
        co_await untilSettled();
    const Health health = co_await run();
    if (!health.state.blocksRuns())
        co_return std::nullopt;
    co_return health.state.message();
}

HerdrProbe::Health HerdrProbe::evaluate(const Binary &binary, const std::optional<HerdrStatusJSON> &status,
                                        const std::optional<Herdr::Pong> &pong)
{
    Health health;
    health.binary = binary.path;
    health.source = binary.source;
    if (status) {
        health.clientVersion = status->client.version;
        health.clientProtocol = status->client.protocol;
        health.serverRunning = status->server.running;
        health.serverVersion = pong ? pong->version : status->server.version;
        health.serverProtocol = pong ? pong->protocolVersion : status->server.protocol;
        health.socket = status->server.socket;
    }
    if (health.clientProtocol != Herdr::protocolVersion)
        health.state = {State::Kind::UnsupportedProtocol, health.clientProtocol.value_or(0), binary.path};
    else if (health.serverRunning && health.serverProtocol != Herdr::protocolVersion)
        health.state = {State::Kind::ServerIncompatible, health.serverProtocol.value_or(0), {}};
    else
        health.state.kind = health.serverRunning ? State::Kind::Ok : State::Kind::ServerDown;
    return health;
}

} // namespace Keelhaven
