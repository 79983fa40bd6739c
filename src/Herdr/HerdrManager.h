#pragma once

#include "Herdr/HerdrInstaller.h"
#include "Herdr/HerdrProbe.h"
#include "Platform/Clock.h"
#include "Platform/ProcessRunner.h"
#include "Platform/Tasks.h"

#include <QObject>

namespace Keelhaven {

class HerdrLocator;

/// Keeps the managed terminal host installed and its server of the installed version, which is replaced only
/// while no run uses it. Main loop only; file work and child processes run off it.
class HerdrManager : public QObject
{
    Q_OBJECT

public:
    /// All outlive it.
    struct Services
    {
        HerdrLocator &locator;
        HerdrProbe &probe;
        ProcessRunner &processes;
        Clock &clock;
        Tasks &tasks;
        HerdrInstaller::Layout layout;
    };

    explicit HerdrManager(Services services, QObject *parent = nullptr);

    [[nodiscard]] const std::optional<HerdrProbe::Health> &health() const { return m_health; }
    [[nodiscard]] const std::optional<HerdrInstaller::InstallResult> &install() const { return m_install; }
    [[nodiscard]] const std::optional<QString> &installError() const { return m_installError; }
    /// A server of another version runs and is replaced at the next idle moment.
    [[nodiscard]] bool pendingRestart() const { return m_pendingRestart; }
    [[nodiscard]] bool busy() const { return m_busy; }

    /// Installs, probes, prunes old versions and starts the idle watch. `isIdle` says that no run is live.
    void bootstrap(std::function<bool()> isIdle);

    /// Until no installation and no restart is under way.
    [[nodiscard]] QCoro::Task<> settled();
    [[nodiscard]] QCoro::Task<> refresh();
    [[nodiscard]] QCoro::Task<> reinstall();
    [[nodiscard]] QCoro::Task<> restartServerIfIdle();
    /// Starts the server when it is gone, at most once a minute: its panes go on without it, but nobody could
    /// see or end what runs in them.
    [[nodiscard]] QCoro::Task<> reviveServer();

    /// Whether the running server is not the one that the binary would start.
    [[nodiscard]] static bool needsRestart(const std::optional<HerdrProbe::Health> &health);

Q_SIGNALS:
    void changed();

private:
    [[nodiscard]] QCoro::Task<> start();
    [[nodiscard]] QCoro::Task<> installAndProbe();
    [[nodiscard]] QCoro::Task<> probe();
    [[nodiscard]] QCoro::Task<> prune();
    void setBusy(bool busy);

    Services m_services;
    std::function<bool()> m_isIdle = [] { return true; };
    std::optional<HerdrProbe::Health> m_health;
    std::optional<HerdrInstaller::InstallResult> m_install;
    std::optional<QString> m_installError;
    bool m_pendingRestart = false;
    bool m_busy = false;
    Date m_nextRevival = distantPast;
    Timer m_idleWatch;
};

} // namespace Keelhaven
