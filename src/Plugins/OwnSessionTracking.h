#pragma once

#include "Plugins/PluginInventory.h"

#include <QCoroTask>
#include <QObject>

namespace Keelhaven {

class ClaudeLocator;
class Clock;

/// Switches the application's own plugin on and off in the user's Claude Code, so that sessions started by
/// hand are followed too. Lives on the main loop. The collaborators outlive it.
class OwnSessionTracking : public QObject
{
    Q_OBJECT

public:
    enum class Status { Unknown, NotInstalled, Enabled, Disabled };

    /// The locator's limit is how long the `claude` commands may take; installing goes over the network.
    OwnSessionTracking(const ClaudeLocator &locator, Clock &clock);

    [[nodiscard]] Status status() const { return m_status; }
    [[nodiscard]] bool isOn() const { return m_status == Status::Enabled; }
    [[nodiscard]] bool busy() const { return m_busy; }
    /// What the last `claude` commands printed, or "(no output)"; nothing before the first.
    [[nodiscard]] const std::optional<QString> &lastOutput() const { return m_lastOutput; }

    /// Looks at what is installed.
    [[nodiscard]] QCoro::Task<> refresh(QString claudeDir);
    /// Runs the `claude` commands, then looks again: `status` follows what is found, not how the commands
    /// ended. Does nothing while busy.
    [[nodiscard]] QCoro::Task<> setEnabled(bool on, std::optional<QString> bundledRoot, QString claudeDir);

    [[nodiscard]] static Status status(const PluginInventory &inventory);
    /// One line for /bin/sh; nothing when there is nothing to install from.
    [[nodiscard]] static std::optional<QString> command(bool on, Status status,
                                                        const std::optional<QString> &bundledRoot);

Q_SIGNALS:
    void changed();

private:
    void setBusy(bool busy);

    const ClaudeLocator &m_locator;
    Clock &m_clock;
    Status m_status = Status::Unknown;
    bool m_busy = false;
    std::optional<QString> m_lastOutput;
};

} // namespace Keelhaven
