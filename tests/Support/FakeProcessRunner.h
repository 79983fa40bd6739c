#pragma once

#include "Platform/OneShot.h"
#include "Platform/ProcessRunner.h"

#include <functional>

namespace Keelhaven {

/// Answers process runs from a function and remembers them. An answer of nothing leaves the run pending until
/// finishPending().
class FakeProcessRunner : public ProcessRunner
{
public:
    /// Gives the result of a run; by default no program can be started.
    std::function<std::optional<ProcessResult>(const ProcessSpec &)> answer = [](const ProcessSpec &) {
        return ProcessResult{};
    };
    QList<ProcessSpec> runs;
    QList<ProcessSpec> detached;

    [[nodiscard]] QCoro::Task<ProcessResult> run(ProcessSpec spec) override
    {
        runs.append(spec);
        if (auto result = answer(spec))
            co_return *result;
        OneShot<ProcessResult> done;
        m_pending.append(done);
        auto result = co_await done;
        co_return result;
    }

    [[nodiscard]] bool startDetached(const ProcessSpec &spec) override
    {
        detached.append(spec);
        return true;
    }

    void finishPending(const ProcessResult &result)
    {
        for (const auto &done : std::exchange(m_pending, {}))
            done.resolve(result);
    }

    [[nodiscard]] static ProcessResult exited(int code, const QByteArray &output = {})
    {
        ProcessResult result;
        result.kind = ProcessResult::Kind::Exited;
        result.exitCode = code;
        result.output = output;
        return result;
    }

private:
    QList<OneShot<ProcessResult>> m_pending;
};

} // namespace Keelhaven
