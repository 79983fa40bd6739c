#pragma once

#include "Platform/ChildProcess.h"

#include <QObject>
#include <QPointer>

namespace Keelhaven {

class ChildProcessBody;
class QtChildProcessFactory;

/// ChildProcess on QProcess, with pipes of its own for what the child says: they tell when the child closes a
/// stream, and take no more from it than is handled, so a child that floods waits instead of filling memory.
class QtChildProcess : public ChildProcess
{
public:
    QtChildProcess(const ChildSpec &spec, QtChildProcessFactory &factory);
    ~QtChildProcess() override;

    void start() override;
    [[nodiscard]] Result<void, ChildWriteError> write(const QByteArray &bytes) override;
    void closeInput() override;
    void terminate() override;
    [[nodiscard]] bool isRunning() const override;

private:
    QPointer<ChildProcessBody> m_body; ///< outlives this object until the group is gone
};

/// Its end kills what still runs.
class QtChildProcessFactory : public ChildProcessFactory
{
public:
    [[nodiscard]] std::unique_ptr<ChildProcess> create(const ChildSpec &spec) override;

    /// Kills what still runs, tells the owners, and starts nothing more. For shutdown: whoever waits for a
    /// child would wait for ever.
    void close();

private:
    friend class ChildProcessBody;
    bool m_isClosed = false;
    QObject m_bodies; ///< parent of what still runs
};

} // namespace Keelhaven
