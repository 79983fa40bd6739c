#pragma once

#include "Platform/HttpClient.h"
#include "Scheduler/Usage/ClaudeSignIn.h"
#include "Scheduler/Usage/UsageSnapshot.h"

namespace Keelhaven {

/// What the usage endpoint answered.
struct APIResult
{
    enum class Kind {
        Snapshot,
        Rejected, ///< it does not take the token
        Failed
    };

    Kind kind = Kind::Failed;
    std::optional<UsageSnapshot> snapshot; ///< Snapshot only
};

/// Asks Claude's own service for the usage meters of the account behind Claude Code. Main loop; what it is
/// built on outlives it.
class ClaudeUsageAPI : public QObject
{
public:
    ClaudeUsageAPI(HttpClient &http, ClaudeSignIn &signIn, Clock &clock);

    /// The meters as they stand now; nothing when nobody is signed in or the service does not answer with
    /// meters. A token that the service does not take is read once more from Claude Code, which may have a
    /// newer one.
    [[nodiscard]] QCoro::Task<std::optional<UsageSnapshot>> fetchFromAPI();

private:
    [[nodiscard]] QCoro::Task<APIResult> usage(OAuthToken token);

    HttpClient &m_http;
    ClaudeSignIn &m_signIn;
    Clock &m_clock;
};

} // namespace Keelhaven
