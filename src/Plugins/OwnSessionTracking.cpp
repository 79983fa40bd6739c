#include "Plugins/OwnSessionTracking.h"

#include "Contract/BundledPlugin.h"
#include "Platform/ClaudeLocator.h"
#include "Platform/Clock.h"
#include "Platform/Shell.h"
#include "Platform/Tasks.h"

#include <QPointer>

namespace Keelhaven {

using namespace Qt::StringLiterals;

OwnSessionTracking::OwnSessionTracking(const ClaudeLocator &locator, Clock &clock)
    : m_locator(locator)
    , m_clock(clock)
{}

OwnSessionTracking::Status OwnSessionTracking::status(const PluginInventory &inventory)
{
    const auto *plugin = inventory.plugin(BundledPlugin::installedID);
    if (!plugin || plugin->installs.isEmpty())
        return Status::NotInstalled;
    return plugin->enabledUser ? Status::Enabled : Status::Disabled;
}

std::optional<QString> OwnSessionTracking::command(bool on, Status status,
                                                   const std::optional<QString> &bundledRoot)
{
    const QString id = shellQuoted(BundledPlugin::installedID.toString());
    if (!on)
        return u"claude plugin disable %1 2>&1"_s.arg(id);
    const QString enable = u"claude plugin enable %1 2>&1"_s.arg(id);
    if (status != Status::NotInstalled)
        return enable;
    if (!bundledRoot)
        return std::nullopt;
    const QStringList steps{u"claude plugin marketplace add "_s + shellQuoted(*bundledRoot) + u" 2>&1"_s,
                            u"claude plugin install %1 --scope user 2>&1"_s.arg(id), enable};
    return steps.join(u"; "_s);
}

void OwnSessionTracking::setBusy(bool busy)
{
    m_busy = busy;
    Q_EMIT changed();
}

QCoro::Task<> OwnSessionTracking::refresh(QString claudeDir)
{
    const QPointer<OwnSessionTracking> self(this);
    auto work = [claudeDir, now = m_clock.now(), calendar = Calendar::current()] {
        return PluginInventory::scan(claudeDir, now, calendar);
    };
    const auto inventory = co_await onPool(std::move(work));
    if (!self)
        co_return;
    m_status = status(inventory);
    Q_EMIT changed();
}

QCoro::Task<> OwnSessionTracking::setEnabled(bool on, std::optional<QString> bundledRoot, QString claudeDir)
{
    if (m_busy)
        co_return;
    const QPointer<OwnSessionTracking> self(this);
    setBusy(true);
    if (m_status == Status::Unknown) {
        co_await refresh(claudeDir);
        if (!self)
            co_return;
    }
    std::optional<QString> output;
    if (const auto line = command(on, m_status, bundledRoot)) {
        output = co_await m_locator.loginShell(*line);
        if (!self)
            co_return;
    }
    m_lastOutput = output && !output->isEmpty() ? *output : u"(no output)"_s;
    co_await refresh(claudeDir);
    if (!self)
        co_return;
    setBusy(false);
}

} // namespace Keelhaven
