#pragma once

#include "Platform/PythonLocator.h"
#include "Setup/SetupRows.h"

#include <QObject>
#include <functional>

namespace Keelhaven {

/// Whether this machine can run agents: what a first start asks for, until everything is there or the user
/// skips it. Main loop only.
class SetupChecklist : public QObject
{
    Q_OBJECT

public:
    /// All outlive it.
    struct Services
    {
        ProcessRunner &processes;
        SettingsStore &settings;
        const ClaudeLocator &locator;
        const PythonLocator &python;
        Desktop &desktop;
        QString home;
    };

    explicit SetupChecklist(Services services, QObject *parent = nullptr);

    [[nodiscard]] bool pythonReady() const { return m_pythonReady; }
    [[nodiscard]] ClaudeState claude() const { return m_claude; }
    [[nodiscard]] bool runDirectoryReady() const { return m_runDirectoryReady; }
    /// At least one check has finished.
    [[nodiscard]] bool checked() const { return m_checked; }
    [[nodiscard]] bool checking() const { return m_checking; }
    /// Setup is over, also for a user who has already swept. It never goes back.
    [[nodiscard]] bool done() const { return m_done; }

    [[nodiscard]] bool allPassed() const;
    /// Whether the checklist is to be shown.
    [[nodiscard]] bool showsSetup() const { return m_checked && !m_done; }
    /// The three rows in their order, as they stand now.
    [[nodiscard]] QList<SetupRow> rows() const;

    /// Whether the login shell told its PATH; only then does a row know that a tool is missing.
    [[nodiscard]] bool shellAnswers() const { return m_services.locator.shellAnswered(); }
    /// What else explains an open row, as a paragraph; empty for nothing.
    [[nodiscard]] QString note() const;

    /// The configured run directory, when all it lacks is being made.
    [[nodiscard]] std::optional<QString> folderToMake() const;

    /// Looks at everything again; returns at once while another check runs. Closes the checklist when all
    /// have passed. With `refreshPATH` the login shell is asked anew.
    [[nodiscard]] QCoro::Task<> refresh(bool refreshPATH);

    /// Ends setup although something is missing.
    void skip() { finish(); }

    /// Stores the run directory. A refresh is the caller's to start.
    void chooseRunDirectory(const QString &path);

    /// Opens a terminal, or has the package manager ask in one; false when it could not, and for the actions
    /// that are a screen's own.
    [[nodiscard]] bool perform(SetupAction action);

    /// Called once on the main loop, when setup ends.
    std::function<void()> onFinish;

Q_SIGNALS:
    void changed();

private:
    void finish();

    Services m_services;
    bool m_pythonReady = false;
    ClaudeState m_claude = ClaudeState::unknown;
    bool m_runDirectoryReady = false;
    bool m_checked = false;
    bool m_checking = false;
    bool m_done = false;
};

} // namespace Keelhaven
