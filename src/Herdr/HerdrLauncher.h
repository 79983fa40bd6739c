#pragma once

#include "Herdr/HerdrSession.h"

namespace Keelhaven {

class HerdrLocator;
class HerdrProbe;

/// RunLauncher on the terminal host: the one place where a run becomes a live agent session. Main loop only.
/// Calls may interleave; a call under way survives the launcher, but not its collaborators.
class HerdrLauncher : public RunLauncher
{
public:
    /// `locator` and `probe` outlive every call under way; the clock is closed before they go.
    HerdrLauncher(HerdrClient client, HerdrLocator &locator, HerdrProbe &probe, Clock &clock,
                  KeelhavenPaths paths);
    ~HerdrLauncher() override;

    [[nodiscard]] QCoro::Task<Result<LaunchedRun, LaunchError>> launch(RunLaunchRequest request) override;
    [[nodiscard]] QCoro::Task<Result<void, LaunchError>> prompt(LaunchedRun run, QString text) override;
    [[nodiscard]] QCoro::Task<RunProbe> probe(LaunchedRun run) override;
    [[nodiscard]] QCoro::Task<std::optional<QString>> transcript(LaunchedRun run, int lines) override;
    [[nodiscard]] QCoro::Task<> requestExit(LaunchedRun run) override;
    [[nodiscard]] QCoro::Task<> terminate(LaunchedRun run) override;
    [[nodiscard]] QCoro::Task<> focus(LaunchedRun run) override;
    [[nodiscard]] QCoro::Task<> sendText(LaunchedRun run, QString text) override;
    [[nodiscard]] QCoro::Task<bool> reconcileFinishedTabs(QString label, QSet<QString> keeping) override;
    [[nodiscard]] std::optional<QString> takeFailedLaunchScreen(const QUuid &runID) override;
    [[nodiscard]] QCoro::Task<std::optional<QString>> blockedReason() override;
    void terminateAllBlocking(const QList<LaunchedRun> &runs, std::chrono::milliseconds limit) override;

    /// The launcher's limits and its source of Codex events, for tests and for the composition root.
    [[nodiscard]] HerdrContext &context() { return *m_context; }

private:
    HerdrSession::Context m_context;
    HerdrLocator &m_locator;
    HerdrProbe &m_probe;
};

} // namespace Keelhaven
