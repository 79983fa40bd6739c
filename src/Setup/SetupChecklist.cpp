#include "Setup/SetupChecklist.h"

#include "Contract/PluginCacheGuard.h"
#include "Contract/SettingsCatalog.h"
#include "Contract/SweepBlockedReason.h"
#include "Platform/Desktop.h"
#include "Platform/Shell.h"

#include <QFileInfo>
#include <QPointer>
#include <utility>

namespace Keelhaven {

SetupChecklist::SetupChecklist(Services services, QObject *parent)
    : QObject(parent)
    , m_services(std::move(services))
    , m_done(Setting::read(m_services.settings, Setting::setupDone) ||
             m_services.settings.value(Setting::keelhavenLastSweepAt.name.toString()))
{}

bool SetupChecklist::allPassed() const
{
    return m_pythonReady && m_claude == ClaudeState::ready && m_runDirectoryReady;
}

QList<SetupRow> SetupChecklist::rows() const
{
    const auto folder = Setting::runDirectory(m_services.settings, m_services.home);
    return {SetupRows::claude(m_claude),
            SetupRows::python(m_pythonReady, m_pythonReady ? QString() : PythonLocator::installCommand()),
            SetupRows::projectsFolder(folder, sweepBlockedReason(m_services.settings, m_services.home))};
}

QString SetupChecklist::note() const
{
    const bool isToolMissing = m_claude == ClaudeState::missing || !m_pythonReady;
    return m_checked && isToolMissing && !shellAnswers() ? SetupRows::silentShell(userShell()) : QString();
}

std::optional<QString> SetupChecklist::folderToMake() const
{
    const auto folder = Setting::runDirectory(m_services.settings, m_services.home);
    const bool canBeMade =
        folder && !QFileInfo::exists(*folder) && !PluginCacheGuard(m_services.home).isForbidden(*folder);
    return canBeMade ? folder : std::nullopt;
}

QCoro::Task<> SetupChecklist::refresh(bool refreshPATH)
{
    if (std::exchange(m_checking, true))
        co_return;
    const QPointer<SetupChecklist> self(this);
    Q_EMIT changed();
    const auto &services = m_services;
    const auto python = co_await services.python.resolve(refreshPATH);
    if (!self)
        co_return;
    const ClaudeState claude = co_await claudeState(&services.locator, &services.processes, refreshPATH);
    if (!self)
        co_return;
    m_pythonReady = python.has_value();
    m_claude = claude;
    m_runDirectoryReady = !sweepBlockedReason(services.settings, services.home);
    m_checked = true;
    m_checking = false;
    Q_EMIT changed();
    if (self && !m_done && allPassed())
        finish();
}

void SetupChecklist::finish()
{
    if (std::exchange(m_done, true))
        return;
    m_services.settings.set(Setting::setupDone.name.toString(), true);
    const QPointer<SetupChecklist> self(this);
    Q_EMIT changed();
    if (self && onFinish)
        onFinish();
}

void SetupChecklist::chooseRunDirectory(const QString &path)
{
    m_services.settings.set(Setting::keelhavenRunDirectory.name.toString(), path);
    m_runDirectoryReady = !sweepBlockedReason(m_services.settings, m_services.home);
    Q_EMIT changed();
}

bool SetupChecklist::perform(SetupAction action)
{
    switch (action) {
    case SetupAction::openTerminal:
    case SetupAction::installClaude:
        return m_services.desktop.openTerminal({userShell()});
    case SetupAction::installDeveloperTools:
        return m_services.python.installDeveloperTools();
    case SetupAction::chooseFolder:
    case SetupAction::none:
        break;
    }
    return false;
}

} // namespace Keelhaven
