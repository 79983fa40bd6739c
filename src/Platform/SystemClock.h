#pragma once

#include "Platform/Clock.h"

namespace Keelhaven {

/// The machine's clock, with timers of the thread's Qt event loop. A repeating timer of 20 s to a minute
/// fires on whole seconds, up to half a second off.
class SystemClock : public Clock
{
public:
    [[nodiscard]] Date now() const override;
    [[nodiscard]] Timer after(Span delay, std::function<void()> callback) override;
    [[nodiscard]] Timer every(Span interval, std::function<void()> callback) override;
};

} // namespace Keelhaven
