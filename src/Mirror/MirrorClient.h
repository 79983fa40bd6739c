#pragma once

#include "Contract/JSONValue.h"
#include "Mirror/ServiceSettings.h"
#include "Platform/HttpClient.h"
#include "Plugins/PluginsPayload.h"

namespace Keelhaven {

/// Why the analysis service did not do what it was asked: its own sentence, or what kept it from answering.
struct MirrorError
{
    QString text;
    [[nodiscard]] QString message() const { return text; }
    bool operator==(const MirrorError &) const = default;
};

/// What the service answered to a success: null when the body is no JSON.
struct MirrorReply
{
    JSONValue value;
    bool operator==(const MirrorReply &) const = default;
};

/// What the analysis service can be asked; the texts are the last parts of its addresses.
enum class MirrorMethod {
    GetView,
    Refresh,
    Tick,
    RescanLocal,
    Analyze,
    GetAnalysis,
    OpenTerminal,
    DismissReview,
    HideWorkReview,
    ExcludeRepo,
    IncludeRepo,
    IncludeProject,
    GetSettings,
    SaveSettings,
    DetectRoots,
    GetContext,
    SetActiveLaunch,
    UpdateActiveLaunch,
    PushbackLaunch,
    CompleteLaunch,
    SaveVision,
    SetProjectStatus,
    RenameProject,
    PluginsView,
    PluginAction,
    AddMarketplace,
    PopularPlugins,
    SaveWorkspace,
    DeleteWorkspace,
    LinkWorkspaceSlot,
    DeleteSlot
};

/// "get_view" and so on.
[[nodiscard]] QString mirrorVerb(MirrorMethod method);

/// Asks the analysis service, the owner of the board's files, to change or tell something. Main loop; the
/// HTTP client outlives it and every call.
class MirrorClient
{
public:
    template <typename T>
    using Answer = QCoro::Task<Result<T, MirrorError>>;

    /// What a project is to ship.
    struct LaunchDetails
    {
        QString type;
        QString title;
        QString action;
        QString targetDate;
        QString goals;
    };

    static QUrl defaultBaseURL();

    explicit MirrorClient(HttpClient &http, QUrl baseURL = defaultBaseURL(),
                          std::chrono::milliseconds timeout = std::chrono::seconds(5));

    [[nodiscard]] const QUrl &baseURL() const { return m_baseURL; }
    [[nodiscard]] std::chrono::milliseconds timeout() const { return m_timeout; }

    /// The one transport.
    [[nodiscard]] Answer<MirrorReply> call(MirrorMethod method, JSONObject params) const;

    [[nodiscard]] Answer<void> dismissReview(QString project, QString text) const;
    [[nodiscard]] Answer<void> hideWorkReview(QString project, QString id) const;
    [[nodiscard]] Answer<void> excludeRepo(QString slug) const;
    [[nodiscard]] Answer<void> includeRepo(QString slug) const;
    [[nodiscard]] Answer<void> includeProject(QString project) const;
    [[nodiscard]] Answer<ServiceSettings> getSettings() const;
    [[nodiscard]] Answer<void> saveSettings(JSONObject settings) const;
    [[nodiscard]] Answer<void> renameProject(QString project, QString display) const;
    [[nodiscard]] Answer<void> openTerminal(QString path) const;
    [[nodiscard]] Answer<void> setProjectStatus(QString project, QString status) const;
    [[nodiscard]] Answer<void> saveVision(QString project, QString text) const;
    [[nodiscard]] Answer<void> setActiveLaunch(QString project, LaunchDetails launch) const;
    [[nodiscard]] Answer<void> updateActiveLaunch(QString project, LaunchDetails launch) const;
    [[nodiscard]] Answer<void> pushbackLaunch(QString project, QString newDate, QString reason) const;
    [[nodiscard]] Answer<void> completeLaunch(QString project, QString status) const;
    [[nodiscard]] Answer<void> refresh() const;
    [[nodiscard]] Answer<PluginsPayload> pluginsView() const;
    [[nodiscard]] Answer<PopularPayload> popularPlugins(bool force) const;
    /// `action` is "install", "enable" and the like; `scope` is "user" or "project", whose folder is `cwd`.
    [[nodiscard]] Answer<void> pluginAction(QString action, QString pluginID, QString scope,
                                            std::optional<QString> cwd = std::nullopt) const;
    [[nodiscard]] Answer<void> addMarketplace(QString source) const;

private:
    HttpClient *m_http;
    QUrl m_baseURL;
    std::chrono::milliseconds m_timeout;
};

} // namespace Keelhaven
