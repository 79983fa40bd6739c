#pragma once

#include "Herdr/HerdrClient.h"
#include "Herdr/HerdrInstaller.h"
#include "Herdr/HerdrProbe.h"
#include "Herdr/HerdrUserService.h"
#include "Platform/ClaudeLocator.h"
#include "Platform/Clock.h"

namespace Keelhaven {

/// Finds the terminal host's binary and socket, and starts and stops its server. Lives as long as the
/// application model; its collaborators outlive it. Main loop only.
class HerdrLocator
{
public:
    struct Services
    {
        KeelhavenPaths paths;
        SettingsStore &settings;
        ProcessRunner &processes;
        ClaudeLocator &shell;
        Clock &clock;
        HerdrUserService &service;
        HerdrInstaller::Layout layout;
    };

    explicit HerdrLocator(Services services);

    /// First hit: the user's own path, the managed copy, the remembered one, the usual places, the login
    /// shell's PATH.
    [[nodiscard]] QCoro::Task<std::optional<HerdrProbe::Binary>> resolveBinaryWithSource();

    /// $HERDR_SOCKET_PATH when set, else the managed session's socket below `home`.
    [[nodiscard]] static QString socketPath(const QString &home);

    /// A client on that socket.
    [[nodiscard]] HerdrClient client(Span timeout) const;

    /// Gives the pong of a server of our protocol, starting one when none answers. Every failure is
    /// Unreachable.
    [[nodiscard]] QCoro::Task<Result<Herdr::Pong, HerdrError>>
    ensureServer(std::optional<HerdrClient> client);

    /// With no client given, one with a 5 s time-out.
    [[nodiscard]] QCoro::Task<Result<Herdr::Pong, HerdrError>> ping(std::optional<HerdrClient> client);

    /// Starts a server that outlives the program: as a user service, else as a child. Whether it came up
    /// shows in ping.
    [[nodiscard]] QCoro::Task<> spawnServer(QString binary);

    /// Ends the server and waits until it no longer answers, at most ten looks.
    [[nodiscard]] QCoro::Task<> stopServer(QString binary);

    /// What `binary status --json` prints; nothing when that is no status.
    [[nodiscard]] QCoro::Task<std::optional<HerdrStatusJSON>> statusJSON(QString binary,
                                                                         std::chrono::milliseconds timeout);

    /// What to say when there is no binary: Missing, or BundleMissing when this build carries none.
    [[nodiscard]] HerdrProbe::State::Kind missingKind() const;

    /// Makes the clients of `client()`; tests put their own transport here.
    std::function<HerdrClient(Span timeout)> makeClient;

private:
    [[nodiscard]] std::optional<QString> usualPlace() const;
    void spawnServerAsChild(const QString &binary, const std::optional<QString> &path);

    Services m_services;
};

} // namespace Keelhaven
