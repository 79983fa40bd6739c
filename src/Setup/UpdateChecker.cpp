#include "Setup/UpdateChecker.h"

#include "Contract/SettingsCatalog.h"

#include <QPointer>
#include <utility>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

QString relative(Date then, Date now)
{
    const auto minutes = std::chrono::floor<std::chrono::minutes>(now - then).count();
    if (minutes < 1)
        return u"just now"_s;
    if (minutes < 60)
        return u"%1 min ago"_s.arg(minutes);
    return minutes < 24 * 60 ? u"%1 h ago"_s.arg(minutes / 60) : u"%1 d ago"_s.arg(minutes / (24 * 60));
}

/// A page that a browser may be sent to; the record comes from outside.
bool isWebPage(const QUrl &url)
{
    return url.isValid() && (url.scheme() == u"https" || url.scheme() == u"http") && !url.host().isEmpty();
}

} // namespace

UpdateChecker::UpdateChecker(Services services, const QString &versionText, QObject *parent)
    : QObject(parent)
    , m_services(std::move(services))
    , m_currentText(versionText.isEmpty() ? u"0"_s : versionText)
    , m_current(AppVersion::parse(m_currentText).value_or(AppVersion{{0}}))
{
    if (const auto seconds = Setting::read(m_services.defaults, Setting::updateLastCheckedAt))
        m_lastCheckedAt = dateFromSeconds(*seconds);
}

void UpdateChecker::start()
{
    if (m_loop != 0 || !hasEndpoint())
        return;
    m_loop = ++m_loops;
    m_services.tasks.spawn(round(m_loop), "update check");
}

void UpdateChecker::stop()
{
    m_loop = 0;
    m_next.reset();
}

QCoro::Task<> UpdateChecker::round(int loop)
{
    const QPointer<UpdateChecker> self(this);
    co_await check(false);
    if (!self || m_loop != loop)
        co_return;
    m_next =
        m_services.clock.after(period, [this, loop] { m_services.tasks.spawn(round(loop), "update check"); });
}

QCoro::Task<> UpdateChecker::check(bool manual)
{
    if (std::exchange(m_checking, true))
        co_return;
    m_upToDateAs.reset();
    m_lastError.reset();
    const QPointer<UpdateChecker> self(this);
    Q_EMIT changed();
    const auto info = co_await newest();
    if (!self)
        co_return;
    const auto published = info ? AppVersion::parse(info->version) : std::nullopt;
    if (!info) {
        m_lastError = info.error().message();
    } else if (!published) {
        m_lastError = UpdateError::badVersion(info->version).message();
    } else {
        const Date now = m_services.clock.now();
        m_lastCheckedAt = now;
        m_services.defaults.set(Setting::updateLastCheckedAt.name.toString(), secondsSince1970(now));
        apply(*info, *published, manual);
    }
    m_checking = false;
    Q_EMIT changed();
}

QCoro::Task<Result<UpdateInfo, UpdateError>> UpdateChecker::newest()
{
    if (!hasEndpoint())
        co_return failure(UpdateError::failed(u"This build was not told where releases are announced."_s));
    const auto answer = co_await m_services.transport.fetch(m_services.endpoint);
    if (!answer)
        co_return failure(UpdateError(answer.error()));
    if (answer->status < 200 || answer->status > 299)
        co_return failure(UpdateError::http(answer->status));
    auto info = decodeRecordBytes<UpdateInfo>(answer->body);
    if (!info)
        co_return failure(UpdateError::failed(info.error().message()));
    co_return UpdateInfo(*info);
}

void UpdateChecker::apply(const UpdateInfo &info, const AppVersion &published, bool manual)
{
    if (m_current >= published) {
        m_available.reset();
        if (manual)
            m_upToDateAs = m_currentText;
        return;
    }
    const auto skippedText = Setting::read(m_services.defaults, Setting::skippedUpdateVersion);
    const auto skipped = skippedText ? AppVersion::parse(*skippedText) : std::nullopt;
    if (!manual && skipped == published) {
        m_available.reset();
        return;
    }
    m_available = info;
}

void UpdateChecker::skip()
{
    if (!m_available)
        return;
    m_services.defaults.set(Setting::skippedUpdateVersion.name.toString(), m_available->version);
    m_available.reset();
    Q_EMIT changed();
}

bool UpdateChecker::openDownload()
{
    const QUrl named = m_available ? QUrl(m_available->url, QUrl::StrictMode) : QUrl();
    const QUrl page = isWebPage(named) ? named : m_services.downloadPage;
    if (!isWebPage(page) || !openURL)
        return false;
    openURL(page);
    return true;
}

QString UpdateChecker::titleText() const
{
    return u"Keelhaven "_s + m_currentText;
}

QString UpdateChecker::bannerText() const
{
    return m_available
               ? u"Keelhaven %1 is available — you're on %2."_s.arg(m_available->version, m_currentText)
               : QString();
}

QString UpdateChecker::latestText() const
{
    return m_upToDateAs ? u"You're on the latest version (%1)."_s.arg(*m_upToDateAs) : QString();
}

QString UpdateChecker::caption(Date now) const
{
    QString text = u"Checks on launch and every 6 hours while Keelhaven is open."_s;
    if (m_lastCheckedAt)
        text += u" Last checked %1."_s.arg(relative(*m_lastCheckedAt, now));
    if (const auto skipped = Setting::read(m_services.defaults, Setting::skippedUpdateVersion))
        text += u" Skipping %1 until the next release."_s.arg(*skipped);
    return text;
}

} // namespace Keelhaven
