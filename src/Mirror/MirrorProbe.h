#pragma once

#include "Mirror/MirrorState.h"
#include "Platform/HttpClient.h"

namespace Keelhaven {

/// Asks what answers at the analysis service's address. The HTTP client outlives it and every call.
class MirrorProbe
{
public:
    static constexpr std::chrono::milliseconds timeout = std::chrono::milliseconds(1500);

    MirrorProbe(HttpClient &http, QUrl baseURL);

    /// A live answer has `bridge` false: only the caller knows its child.
    [[nodiscard]] QCoro::Task<MirrorState> probe() const;

private:
    HttpClient *m_http;
    QUrl m_baseURL;
};

} // namespace Keelhaven
