#pragma once

#include <QString>
#include <cstdint>
#include <functional>

namespace Keelhaven {

/// Takes and releases holds against the machine going to sleep or the display going dark.
class PowerBackend
{
public:
    enum class Hold { System, Display };

    virtual ~PowerBackend() = default;

    /// A non-zero id of the hold, or 0 when none could be taken. Never waits: the id may stand for a hold
    /// that is still being asked for, and that is taken again whenever the service that keeps it starts anew.
    [[nodiscard]] virtual std::uint32_t take(Hold hold, const QString &reason) = 0;
    virtual void drop(std::uint32_t id) = 0;
    /// Asks once more for a hold that was refused. Nothing while it stands or the answer is awaited.
    virtual void renew(std::uint32_t) {}

    /// Whether the hold stands now: the service that keeps it may not have answered yet, may have refused, or
    /// may be gone.
    [[nodiscard]] virtual bool isTaken(std::uint32_t id) const { return id != 0; }
    /// Runs on the main loop when isTaken() of some hold has changed by itself.
    std::function<void()> onChanged;
};

/// The answer where no power manager exists: no hold.
class NoPowerBackend : public PowerBackend
{
public:
    [[nodiscard]] std::uint32_t take(Hold, const QString &) override { return 0; }
    void drop(std::uint32_t) override {}
};

} // namespace Keelhaven
