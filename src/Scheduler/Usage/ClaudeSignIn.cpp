#include "Scheduler/Usage/ClaudeSignIn.h"

#include "Platform/Files.h"
#include "Platform/Tasks.h"

#include <QPointer>
#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// The file holds a few hundred bytes; what is this large is something else.
constexpr qint64 largestFile = 1024 * 1024;

bool fitsIntoHeader(const QString &token)
{
    return !token.isEmpty() && std::ranges::all_of(token, [](QChar c) { return c > u' ' && c < u'\x7f'; });
}

std::optional<OAuthToken> readSharedToken(const QString &path, Date now)
{
    if (QFileInfo(path).size() > largestFile)
        return std::nullopt;
    const auto bytes = readFile(path);
    return bytes ? OAuthToken::parse(*bytes, now) : std::nullopt;
}

} // namespace

bool OAuthToken::isExpired(Date now) const
{
    return expiresAtMillis && dateFromSeconds(*expiresAtMillis / 1000) <= now;
}

std::optional<OAuthToken> OAuthToken::parse(QByteArrayView credentials, Date now)
{
    const auto json = JSONValue::parse(credentials);
    const JSONValue *signIn = json ? (*json)[u"claudeAiOauth"] : nullptr;
    const JSONValue *accessToken = signIn ? (*signIn)[u"accessToken"] : nullptr;
    const auto value = accessToken ? accessToken->stringValue() : std::nullopt;
    if (!value || !fitsIntoHeader(*value))
        return std::nullopt;
    const JSONValue *expiresAt = (*signIn)[u"expiresAt"];
    OAuthToken token{*value, expiresAt ? expiresAt->doubleValue() : std::nullopt};
    return token.isExpired(now) ? std::nullopt : std::optional(token);
}

std::optional<OAuthToken> TokenCache::token() const
{
    const QMutexLocker lock(&m_mutex);
    return m_token;
}

void TokenCache::set(const std::optional<OAuthToken> &token)
{
    const QMutexLocker lock(&m_mutex);
    m_token = token;
}

ClaudeSignIn::ClaudeSignIn(KeychainStore &keychain, Clock &clock, QString credentialsFile)
    : m_keychain(keychain)
    , m_clock(clock)
    , m_credentialsFile(std::move(credentialsFile))
{}

QCoro::Task<std::optional<OAuthToken>> ClaudeSignIn::token(Reread reread)
{
    const QPointer<ClaudeSignIn> self(this);
    if (reread == Reread::No) {
        const auto cached = m_cache.token();
        if (cached && !cached->isExpired(m_clock.now()))
            co_return std::optional<OAuthToken>(*cached);
        const auto copy = co_await storedCopy();
        if (!self)
            co_return std::nullopt;
        if (copy) {
            m_cache.set(copy);
            co_return std::optional<OAuthToken>(*copy);
        }
    }
    const auto shared = co_await sharedToken();
    if (!self || !shared)
        co_return std::nullopt;
    m_cache.set(shared);
    const QString text = JSONValue(encodeRecord(*shared)).serialized();
    const QString service = copyService.toString();
    // A copy that cannot be kept costs nothing but reading the file the next time.
    [[maybe_unused]] const auto kept = co_await m_keychain.set(text, service);
    co_return std::optional<OAuthToken>(*shared);
}

QCoro::Task<> ClaudeSignIn::forgetCopies()
{
    m_cache.set(std::nullopt);
    const QString service = copyService.toString();
    // A copy that stays is refused again the next time, and Claude Code asked again.
    [[maybe_unused]] const auto removed = co_await m_keychain.delete_(service);
}

QCoro::Task<std::optional<OAuthToken>> ClaudeSignIn::storedCopy()
{
    const QPointer<ClaudeSignIn> self(this);
    const QString service = copyService.toString();
    const auto text = co_await m_keychain.get(service);
    if (!self || !text)
        co_return std::nullopt;
    const auto copy = decodeRecordBytes<OAuthToken>(text->toUtf8());
    if (!copy || !fitsIntoHeader(copy->value) || copy->isExpired(m_clock.now()))
        co_return std::nullopt;
    co_return std::optional<OAuthToken>(*copy);
}

QCoro::Task<std::optional<OAuthToken>> ClaudeSignIn::sharedToken()
{
    const auto work = [path = m_credentialsFile, now = m_clock.now()] { return readSharedToken(path, now); };
    const auto shared = co_await onPool(work);
    co_return std::optional<OAuthToken>(shared);
}

} // namespace Keelhaven
