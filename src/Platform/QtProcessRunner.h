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

private:
    QObject m_children; ///< parent of what still runs
};

} // namespace Keelhaven
