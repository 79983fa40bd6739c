#pragma once

#include "Platform/PowerBackend.h"
#include "Platform/SettingsStore.h"

#include <QObject>
#include <set>

namespace Keelhaven {

/// Keeps the machine from sleeping while somebody needs it: runs by their keys "run-{id}", the user's own
/// switch by "user". One hold of the system serves all. A hold that could not be taken is tried again by
/// the next holder. On the main loop; the collaborators outlive it.
class PowerAssertionController : public QObject
{
    Q_OBJECT

public:
    PowerAssertionController(PowerBackend &backend, SettingsStore &settings);
    ~PowerAssertionController() override;

    /// Holding a held key and releasing an unknown one change nothing.
    void hold(const QString &key);
    void release(const QString &key);

    /// The user's switches "keepMacAwake" and "preventMacLockScreen", written to the settings when set.
    [[nodiscard]] bool keepAwake() const { return m_keepAwake; }
    void setKeepAwake(bool on);
    [[nodiscard]] bool preventLockScreen() const { return m_preventLockScreen; }
    void setPreventLockScreen(bool on);
    /// Takes the switches as the settings hold them now.
    void readSettings();

    /// Ids of the holds, 0 when none. A hold that was asked for may still be refused.
    [[nodiscard]] std::uint32_t assertionID() const { return m_assertionID; }
    [[nodiscard]] std::uint32_t displayAssertionID() const { return m_displayAssertionID; }
    [[nodiscard]] bool isHeld() const { return m_backend.isTaken(m_assertionID); }
    [[nodiscard]] bool isDisplayHeld() const { return m_backend.isTaken(m_displayAssertionID); }
    [[nodiscard]] const std::set<QString> &holders() const { return m_holders; }

Q_SIGNALS:
    void changed();

private:
    void ensureAssertion();
    void ensure(std::uint32_t &id, PowerBackend::Hold hold, const QString &reason);
    void reconcile();
    void applyLockScreen();

    PowerBackend &m_backend;
    SettingsStore &m_settings;
    std::uint32_t m_assertionID = 0;
    std::uint32_t m_displayAssertionID = 0;
    std::set<QString> m_holders;
    bool m_preventLockScreen = false;
    bool m_keepAwake = false;
};

} // namespace Keelhaven
