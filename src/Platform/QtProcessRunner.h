#pragma once

#include "Platform/ProcessRunner.h"

namespace Keelhaven {

/// ProcessRunner on QProcess.
class QtProcessRunner : public ProcessRunner
{
public:
    [[nodiscard]] QCoro::Task<ProcessResult> run(ProcessSpec spec) override;
    [[nodiscard]] bool startDetached(const ProcessSpec &spec) override;
};

} // namespace Keelhaven
