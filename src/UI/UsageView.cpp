#include "UI/UsageView.h"

#include "App/AppModel.h"
#include "Contract/SettingsCatalog.h"
#include "Scheduler/Usage/CodexUsageMonitor.h"
#include "Scheduler/Usage/UsageMonitor.h"
#include "Scheduler/Usage/UsageTexts.h"
#include "UI/EngineObjects.h"
#include "UI/ShownText.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

UsageView::UsageView(AppModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    const auto provider = Setting::read(model.settings(), Setting::defaultAgentProvider);
    m_provider = provider == u"codex" ? AgentProvider::Codex : AgentProvider::Claude;
    connect(&model.usage(), &UsageMonitor::snapshotChanged, this, &UsageView::changed);
    connect(&model.usage(), &UsageMonitor::refreshStateChanged, this, &UsageView::changed);
    connect(&model.codexUsage(), &CodexUsageMonitor::changed, this, &UsageView::changed);
    m_times.setInterval(1min);
    m_times.setTimerType(Qt::VeryCoarseTimer);
    connect(&m_times, &QTimer::timeout, this, [this] {
        // An idle window draws nothing, so only words that are others by now count.
        const auto shown = std::exchange(m_shown, {meters(), notices()});
        if (shown != m_shown)
            Q_EMIT changed();
    });
}

UsageView *UsageView::create(QQmlEngine *engine, QJSEngine *)
{
    return EngineObjects::of<UsageView>(engine);
}

QString UsageView::provider() const
{
    return enumText(m_provider);
}

void UsageView::setProvider(const QString &name)
{
    const auto provider = enumFromText<AgentProvider>(name);
    if (!provider || *provider == m_provider)
        return;
    m_provider = *provider;
    follow();
    Q_EMIT changed();
}

void UsageView::setWatched(bool watched)
{
    m_watchers = std::max(0, m_watchers + (watched ? 1 : -1));
    follow();
    if (watched)
        Q_EMIT changed();
}

void UsageView::follow()
{
    const bool isSeen = m_watchers > 0;
    if (isSeen && !m_times.isActive())
        m_times.start();
    else if (!isSeen)
        m_times.stop();
    const bool isWanted = isSeen && m_provider == AgentProvider::Codex;
    if (isWanted == std::exchange(m_isFollowing, isWanted))
        return;
    if (isWanted)
        m_model.codexUsage().startFollowing();
    else
        m_model.codexUsage().stopFollowing();
}

QVariantList UsageView::meters() const
{
    return m_provider == AgentProvider::Codex ? codexMeters() : claudeMeters();
}

QVariantList UsageView::claudeMeters() const
{
    QVariantList list;
    const auto snapshot = m_model.usage().estimated();
    if (!snapshot)
        return list;
    const Date now = m_model.clock().now();
    for (const auto &meter : snapshot->meters)
        list.append(QVariantMap{{u"label"_s, ShownText::line(meter.label())},
                                {u"percent"_s, meter.percent},
                                {u"extra"_s, meter.estimatedExtra},
                                {u"text"_s, u"%1%"_s.arg(meter.percent)},
                                {u"caption"_s, UsageTexts::caption(meter, now)},
                                {u"help"_s, UsageTexts::help(meter, snapshot->fetchedAt, now)},
                                {u"ahead"_s, UsageTexts::aheadOfPace(meter, now)}});
    return list;
}

QVariantList UsageView::codexMeters() const
{
    QVariantList list;
    const auto &snapshot = m_model.codexUsage().snapshot();
    if (!snapshot)
        return list;
    const Date now = m_model.clock().now();
    const auto meters = snapshot->meters();
    for (const auto &[label, window] : meters) {
        QStringList caption{window.caption()};
        if (const auto date = window.resetDate())
            caption.append(u"resets "_s + UsageTexts::relativeTime(*date, now));
        list.append(QVariantMap{{u"label"_s, label},
                                {u"percent"_s, window.percent()},
                                {u"extra"_s, 0},
                                {u"text"_s, u"%1%"_s.arg(window.percent())},
                                {u"caption"_s, caption.join(u" · "_s)},
                                {u"help"_s, QString()},
                                {u"ahead"_s, false}});
    }
    return list;
}

QStringList UsageView::notices() const
{
    const Date now = m_model.clock().now();
    QStringList list;
    if (m_provider == AgentProvider::Codex) {
        list = m_model.codexUsage().notices(now);
    } else {
        if (const auto notice = UsageTexts::notice(m_model.usage().snapshot(), now))
            list.append(*notice);
        if (const auto &error = m_model.usage().lastRefreshError())
            list.append(*error);
    }
    for (QString &notice : list)
        notice = ShownText::line(notice);
    return list;
}

bool UsageView::isRefreshing() const
{
    return m_provider == AgentProvider::Codex ? m_model.codexUsage().isLoading()
                                              : m_model.usage().refreshing();
}

QString UsageView::refreshHelp() const
{
    return m_provider == AgentProvider::Codex ? u"Ask Codex for its meters now"_s
                                              : UsageTexts::refreshHelp.toString();
}

void UsageView::refresh()
{
    if (m_provider == AgentProvider::Codex)
        m_model.tasks().spawn(m_model.codexUsage().refresh(), "Codex usage");
    else
        m_model.tasks().spawn(m_model.usage().refreshLive(), "usage");
}

} // namespace Keelhaven
