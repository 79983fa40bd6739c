#include "App/AppServices.h"

// Plugins, the analysis service, and what the screens ask of both.
namespace Keelhaven {

MirrorClient &AppModel::mirror()
{
    return m_services->mirror;
}
MirrorMonitor &AppModel::mirrorMonitor()
{
    return m_services->mirrorMonitor;
}
PluginInventoryStore &AppModel::pluginInventory()
{
    return m_services->pluginInventory;
}
OwnSessionTracking &AppModel::ownSessions()
{
    return m_services->ownSessions;
}
WorkspaceStore &AppModel::workspaces()
{
    return m_services->workspaceStore;
}

QCoro::Task<> AppModel::mutate(QCoro::Task<Result<void, MirrorError>> operation,
                               std::function<void()> onSuccess)
{
    const QPointer<AppModel> self(this);
    const auto done = co_await operation;
    if (!self)
        co_return;
    if (!done) {
        setError(done.error().message(), true);
        co_return;
    }
    setLastMutationError(std::nullopt);
    if (onSuccess)
        onSuccess();
    // The result shows without waiting for the watcher.
    if (self && !m_isShutDown)
        m_services->hub.reload();
}

QString AppModel::lastErrorText() const
{
    const QString error = m_lastMutationError.value_or(QString());
    return m_isFailedChange ? MirrorTexts::changeFailed(error) : error;
}

} // namespace Keelhaven
