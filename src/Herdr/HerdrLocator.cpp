#include "Herdr/HerdrLocator.h"

#include <QFileInfo>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString overrideKey = u"herdrPathOverride"_s;
const QString resolvedKey = u"herdrResolvedPath"_s;
const QString sessionName = u"keelhaven"_s;

constexpr Span ensureTimeout = 15s;
constexpr Span pingTimeout = 5s;
constexpr int startLooks = 20;
constexpr Span startPause = 500ms;
constexpr int stopLooks = 10;
constexpr Span stopPause = 300ms;

bool isExecutable(const QString &path)
{
    const QFileInfo info(path);
    return !path.isEmpty() && info.isFile() && info.isExecutable();
}

HerdrError stateError(const HerdrProbe::State &state)
{
    return HerdrError::unreachable(state.message().value_or(QString()));
}

Result<Herdr::Pong, HerdrError> checkedProtocol(const Herdr::Pong &pong)
{
    if (pong.protocolVersion == Herdr::protocolVersion)
        return pong;
    return failure(stateError({HerdrProbe::State::Kind::ServerIncompatible, pong.protocolVersion, {}}));
}

} // namespace

HerdrLocator::HerdrLocator(Services services)
    : makeClient(
          [home = services.paths.home](Span timeout) { return HerdrClient(socketPath(home), timeout); })
    , m_services(std::move(services))
{}

QString HerdrLocator::socketPath(const QString &home)
{
    const QString configured = qEnvironmentVariable("HERDR_SOCKET_PATH");
    return configured.isEmpty() ? home + u"/.config/herdr/sessions/keelhaven/herdr.sock"_s : configured;
}

HerdrClient HerdrLocator::client(Span timeout) const
{
    return makeClient(timeout);
}

std::optional<QString> HerdrLocator::usualPlace() const
{
    for (const QString &path : {m_services.paths.home + u"/.local/bin/herdr"_s, u"/opt/homebrew/bin/herdr"_s,
                                u"/usr/local/bin/herdr"_s}) {
        if (isExecutable(path))
            return path;
    }
    return std::nullopt;
}

QCoro::Task<std::optional<HerdrProbe::Binary>> HerdrLocator::resolveBinaryWithSource()
{
    using Source = HerdrProbe::Source;
    using Binary = HerdrProbe::Binary;
    SettingsStore &settings = m_services.settings;
    if (const QString own = settings.text(overrideKey).trimmed(); isExecutable(own))
        co_return Binary{own, Source::Override};
    if (const QString managed = m_services.layout.binary(); isExecutable(managed))
        co_return Binary{managed, Source::Managed};
    if (const QString remembered = settings.text(resolvedKey).trimmed(); isExecutable(remembered))
        co_return Binary{remembered, Source::Fallback};
    std::optional<QString> found = usualPlace();
    if (!found)
        found = co_await m_services.shell.loginShell(u"command -v herdr"_s);
    if (!found || !isExecutable(*found))
        co_return std::nullopt;
    settings.set(resolvedKey, *found);
    co_return Binary{*found, Source::Fallback};
}

HerdrProbe::State::Kind HerdrLocator::missingKind() const
{
    using Kind = HerdrProbe::State::Kind;
    return m_services.layout.hasBundledBinary() ? Kind::Missing : Kind::BundleMissing;
}

QCoro::Task<Result<Herdr::Pong, HerdrError>> HerdrLocator::ping(std::optional<HerdrClient> client)
{
    const HerdrClient asked = client ? *client : makeClient(pingTimeout);
    return asked.call<Herdr::Pong>(Herdr::Method::ping, Herdr::NoParams());
}

QCoro::Task<Result<Herdr::Pong, HerdrError>> HerdrLocator::ensureServer(std::optional<HerdrClient> client)
{
    const HerdrClient asked = client ? *client : makeClient(ensureTimeout);
    const auto first = co_await ping(asked);
    if (first)
        co_return checkedProtocol(*first);
    const auto binary = co_await resolveBinaryWithSource();
    if (!binary)
        co_return failure(stateError({missingKind(), 0, {}}));
    co_await spawnServer(binary->path);
    for (int look = 0; look < startLooks; ++look) {
        const bool slept = co_await m_services.clock.sleep(startPause);
        if (!slept)
            break;
        const auto pong = co_await ping(asked);
        if (pong)
            co_return checkedProtocol(*pong);
    }
    co_return failure(HerdrError::unreachable(
        u"Herdr server did not come up — see Settings ▸ Herdr ▸ Check, or `launchctl print "
        u"gui/$UID/com.keelhaven.herdr` for launchd's view."_s));
}

QCoro::Task<> HerdrLocator::spawnServer(QString binary)
{
    const auto path = co_await m_services.shell.loginShellPATH(false);
    QMap<QString, QString> environment{{u"HERDR_SESSION"_s, sessionName}};
    if (path)
        environment.insert(u"PATH"_s, *path);
    if (const QString socket = qEnvironmentVariable("HERDR_SOCKET_PATH"); !socket.isEmpty())
        environment.insert(u"HERDR_SOCKET_PATH"_s, socket);
    const bool served = co_await m_services.service.start(binary, environment);
    if (!served)
        spawnServerAsChild(binary, path);
}

void HerdrLocator::spawnServerAsChild(const QString &binary, const std::optional<QString> &path)
{
    ProcessSpec spec;
    spec.program = binary;
    spec.arguments = QStringList{u"server"_s};
    spec.environment.insert(u"HERDR_SESSION"_s, sessionName);
    if (path)
        spec.environment.insert(u"PATH"_s, *path);
    static_cast<void>(m_services.processes.startDetached(spec));
}

QCoro::Task<> HerdrLocator::stopServer(QString binary)
{
    ProcessSpec spec;
    spec.program = binary;
    spec.arguments = QStringList{u"server"_s, u"stop"_s};
    spec.environment.insert(u"HERDR_SESSION"_s, sessionName);
    [[maybe_unused]] const auto stopped = co_await m_services.processes.run(spec);
    co_await m_services.service.stop();
    for (int look = 0; look < stopLooks; ++look) {
        const auto pong = co_await ping(makeClient(1s));
        if (!pong)
            co_return;
        const bool slept = co_await m_services.clock.sleep(stopPause);
        if (!slept)
            co_return;
    }
}

QCoro::Task<std::optional<HerdrStatusJSON>> HerdrLocator::statusJSON(QString binary,
                                                                     std::chrono::milliseconds timeout)
{
    const auto path = co_await m_services.shell.loginShellPATH(false);
    ProcessSpec spec;
    spec.program = binary;
    spec.arguments = QStringList{u"status"_s, u"--json"_s};
    spec.environment.insert(u"HERDR_SESSION"_s, sessionName);
    spec.environment.insert(u"HERDR_ENV"_s, std::nullopt);
    spec.environment.insert(u"HERDR_PANE_ID"_s, std::nullopt);
    if (path)
        spec.environment.insert(u"PATH"_s, *path);
    spec.timeout = timeout;
    const ProcessResult result = co_await m_services.processes.run(spec);
    auto status = decodeRecordBytes<HerdrStatusJSON>(result.output);
    if (!status)
        co_return std::nullopt;
    co_return *std::move(status);
}

} // namespace Keelhaven
