#pragma once

#include "Herdr/Wire/HerdrRecords.h"
#include "Herdr/Wire/HerdrStatusJSON.h"

#include <QCoroTask>

namespace Keelhaven {

class HerdrLocator;

/// Looks at the terminal host: which binary there is, whether a server runs and whether both speak our
/// protocol.
class HerdrProbe
{
public:
    /// Where the binary comes from: the user's own path, Keelhaven's managed copy, or found on the machine.
    enum class Source { Override, Managed, Fallback, None };

    struct State
    {
        enum class Kind { Ok, ServerDown, Missing, BundleMissing, UnsupportedProtocol, ServerIncompatible };

        Kind kind = Kind::Missing;
        int found = 0;  ///< the protocol of UnsupportedProtocol and ServerIncompatible; 0 when it tells none
        QString binary; ///< of UnsupportedProtocol

        /// The sentence for the user; nothing when all is well.
        [[nodiscard]] std::optional<QString> message() const;
        /// A server that is merely down is started when a run fires.
        [[nodiscard]] bool blocksRuns() const { return kind != Kind::Ok && kind != Kind::ServerDown; }
        bool operator==(const State &) const = default;
    };

    struct Binary
    {
        QString path;
        Source source = Source::None;
        bool operator==(const Binary &) const = default;
    };

    struct Health
    {
        std::optional<QString> binary;
        Source source = Source::None;
        std::optional<QString> clientVersion;
        std::optional<int> clientProtocol;
        bool serverRunning = false;
        std::optional<QString> serverVersion;
        std::optional<int> serverProtocol;
        std::optional<QString> socket;
        State state;

        /// One line for the settings screen; nothing when the binary's version is not known.
        [[nodiscard]] std::optional<QString> summary() const;
        bool operator==(const Health &) const = default;
    };

    /// `locator` outlives every run.
    explicit HerdrProbe(HerdrLocator &locator);

    [[nodiscard]] QCoro::Task<Health> run();

    /// Waited for before a run is judged: while the managed binary is put in place there is none to find.
    std::function<QCoro::Task<>()> untilSettled;

    /// Why no run can start, by a fresh probe.
    [[nodiscard]] QCoro::Task<std::optional<QString>> blockedReason();

    /// Judges what was found. `status` is what the binary says, `pong` what the running server says.
    [[nodiscard]] static Health evaluate(const Binary &binary, const std::optional<HerdrStatusJSON> &status,
                                         const std::optional<Herdr::Pong> &pong);

private:
    HerdrLocator &m_locator;
};

template <>
struct EnumTexts<HerdrProbe::Source>
{
    static constexpr std::array<std::u16string_view, 4> texts{u"override", u"managed", u"fallback", u"none"};
};

} // namespace Keelhaven
