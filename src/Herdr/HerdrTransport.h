#pragma once

#include "Herdr/Wire/HerdrError.h"
#include "Platform/Moments.h"
#include "Platform/Result.h"

#include <QCoroTask>
#include <functional>

namespace Keelhaven {

/// Carries one line to the terminal host and one line back.
class HerdrTransport
{
public:
    virtual ~HerdrTransport() = default;

    /// Sends `line` and waits for the answer. `timeout` bounds each single read and write, not the whole
    /// exchange.
    [[nodiscard]] virtual QCoro::Task<Result<QString, HerdrError>> roundTrip(QString line, Span timeout) = 0;

    /// The same exchange without a coroutine and without the main loop, its answer dropped; `finished` runs
    /// on whatever thread did the work. For quit, when no loop resumes anybody any more.
    virtual void post(QString line, Span timeout, std::function<void()> finished) = 0;
};

} // namespace Keelhaven
