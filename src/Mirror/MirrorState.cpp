#include "Mirror/MirrorState.h"

namespace Keelhaven::MirrorTexts {

using namespace Qt::StringLiterals;

QString mutationHint(const MirrorState &state, const QString &bridgeFailure)
{
    if (state.isLive())
        return {};
    if (state.kind == MirrorState::Kind::Foreign)
        return u"Port 8787 is occupied by another process — editing is unavailable."_s;
    if (!bridgeFailure.isEmpty())
        return u"Service failed: %1"_s.arg(bridgeFailure);
    return u"Read-only — start the project analysis service (or the web dashboard) to make changes."_s;
}

QString changeFailed(const QString &error)
{
    return u"Change failed: %1"_s.arg(error);
}

} // namespace Keelhaven::MirrorTexts
