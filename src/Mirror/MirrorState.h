#pragma once

#include <QString>

namespace Keelhaven {

/// What answers at the analysis service's address.
struct MirrorState
{
    enum class Kind {
        Live,
        Down,   ///< nothing answers
        Foreign ///< something answers that is not the service
    };

    Kind kind = Kind::Down;
    bool bridge = false; ///< when live: the process that answers is our own child

    [[nodiscard]] static MirrorState live(bool bridge) { return {Kind::Live, bridge}; }
    [[nodiscard]] static MirrorState down() { return {}; }
    [[nodiscard]] static MirrorState foreign() { return {Kind::Foreign, false}; }
    [[nodiscard]] bool isLive() const { return kind == Kind::Live; }
    bool operator==(const MirrorState &) const = default;
};

/// What the screens say while the service takes no changes.
namespace MirrorTexts {

/// Why nothing can be changed; empty while the service is live. `bridgeFailure` is why our own service
/// failed.
[[nodiscard]] QString mutationHint(const MirrorState &state, const QString &bridgeFailure = {});
/// "Change failed: …"
[[nodiscard]] QString changeFailed(const QString &error);

inline constexpr QStringView controlTooltip = u"Start the service to make changes";
inline constexpr QStringView sourcesPane = u"Sources and tokens are stored by the project analysis service. "
                                           u"Start it to connect GitHub, Bitbucket, or local clones.";
inline constexpr QStringView startService = u"Start service";
inline constexpr QStringView sidebarAddFolder =
    u"Start the project analysis service to add a project folder.";

} // namespace MirrorTexts

} // namespace Keelhaven
