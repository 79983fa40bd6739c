#pragma once

#include "Platform/ChildProcess.h"

#include <QElapsedTimer>
#include <QQmlEngine>
#include <QTemporaryFile>
#include <QTimer>

namespace Keelhaven {

class ClaudeLocator;

/// Tries an agent's preflight command the way a launch would run it: in the user's login shell, with the
/// login shell's PATH and within the same time. Its output shows while it runs, and it can be cancelled. The
/// collaborators outlive it.
class PreflightTrial : public QObject
{
    Q_OBJECT
    QML_ANONYMOUS
    /// "", "running", "passed", "failed" or "cancelled"
    Q_PROPERTY(QString state READ state NOTIFY changed)
    /// How it ended, in a line: "Passed · exit 0 · 1.4 s"
    Q_PROPERTY(QString result READ result NOTIFY changed)
    /// The last of what it printed, as text that can be shown.
    Q_PROPERTY(QString output READ output NOTIFY changed)

public:
    PreflightTrial(ChildProcessFactory &children, const ClaudeLocator &locator, QObject *parent = nullptr);
    ~PreflightTrial() override;

    /// Output beyond this is not worth waiting for: the command is ended.
    static constexpr qint64 outputLimit = 16 * 1024 * 1024;

    [[nodiscard]] QString state() const { return m_state; }
    [[nodiscard]] QString result() const { return m_result; }
    [[nodiscard]] QString output() const { return m_output; }

    /// Does nothing for a blank command, and while one is running.
    Q_INVOKABLE void run(const QString &command);
    Q_INVOKABLE void cancel();
    /// Forgets what was tried.
    Q_INVOKABLE void clear();

Q_SIGNALS:
    void changed();

private:
    void finish(const ChildExit &exit);
    void conclude(const QString &state, const QString &result);
    void readOutput();

    ChildProcessFactory &m_children;
    const ClaudeLocator &m_locator;
    std::unique_ptr<ChildProcess> m_child;
    std::unique_ptr<QTemporaryFile> m_log;
    QElapsedTimer m_elapsed;
    QTimer m_reading;
    QTimer m_limit;
    QString m_state;
    QString m_result;
    QString m_output;
};

} // namespace Keelhaven
