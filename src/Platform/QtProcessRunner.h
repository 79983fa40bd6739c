#pragma once

#include "Platform/ProcessRunner.h"

#include <QObject>

namespace Keelhaven {

/// ProcessRunner on QProcess. Its end kills what still runs; whoever waits for that is not resumed.
class QtProcessRunner : public ProcessRunner
{
public:
    [[nodiscard]] QCoro::Task<ProcessResult> run(ProcessSpec spec) override;
    [[nodiscard]] bool startDetached(const ProcessSpec &spec) override;

    /// Kills what still runs, tells the waiters, and starts nothing more. For shutdown: a coroutine frame
    /// that nobody resumes is leaked.
    void close();

private:
    bool m_isClosed = false;
    QObject m_children; ///< parent of what still runs
};

} // namespace Keelhaven
