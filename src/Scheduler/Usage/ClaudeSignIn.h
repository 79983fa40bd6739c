#pragma once

#include "Contract/RecordMapper.h"
#include "Platform/Clock.h"
#include "Platform/KeychainStore.h"

#include <QMutex>
#include <QObject>

namespace Keelhaven {

/// A bearer token of a Claude account. Never logged, shown or put into an error.
struct OAuthToken
{
    QString value;
    std::optional<double> expiresAtMillis; ///< since 1970; nothing when it is not known

    bool operator==(const OAuthToken &) const = default;
    /// Its end is known, and now or before.
    [[nodiscard]] bool isExpired(Date now) const;
    /// From the content of Claude Code's ".credentials.json". Nothing for a sign-in that has expired, that is
    /// not there or that could not stand in a header.
    [[nodiscard]] static std::optional<OAuthToken> parse(QByteArrayView credentials, Date now);
};

template <>
struct RecordTable<OAuthToken>
{
    static auto fields()
    {
        return std::tuple{required(u"value", &OAuthToken::value),
                          optional(u"expiresAtMillis", &OAuthToken::expiresAtMillis)};
    }
};

/// Holds the current token. From any thread.
class TokenCache
{
public:
    [[nodiscard]] std::optional<OAuthToken> token() const;
    void set(const std::optional<OAuthToken> &token);

private:
    mutable QMutex m_mutex;
    std::optional<OAuthToken> m_token;
};

/// Reaches the sign-in of Claude Code: its own file, which is only ever read, with a copy among this
/// program's secrets and one in memory. Main loop; keychain and clock outlive it.
class ClaudeSignIn : public QObject
{
public:
    /// Where the copy is kept.
    static constexpr QStringView copyService = u"com.keelhaven.claude-usage-token";

    ClaudeSignIn(KeychainStore &keychain, Clock &clock, QString credentialsFile);

    /// Whether a copy will do, or Claude Code is to be asked again.
    enum class Reread { No, Shared };

    /// A token that has not expired; nothing when nobody is signed in.
    [[nodiscard]] QCoro::Task<std::optional<OAuthToken>> token(Reread reread);
    /// Drops both copies: the service did not take the token.
    [[nodiscard]] QCoro::Task<> forgetCopies();

private:
    [[nodiscard]] QCoro::Task<std::optional<OAuthToken>> storedCopy();
    [[nodiscard]] QCoro::Task<std::optional<OAuthToken>> sharedToken();

    KeychainStore &m_keychain;
    Clock &m_clock;
    QString m_credentialsFile;
    TokenCache m_cache;
};

} // namespace Keelhaven
