#include "Mirror/MirrorClient.h"

#include <array>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr int okStatus = 200;

constexpr std::array<QStringView, 31> verbs{
    u"get_view",           u"refresh",           u"tick",
    u"rescan_local",       u"analyze",           u"get_analysis",
    u"open_terminal",      u"dismiss_review",    u"hide_work_review",
    u"exclude_repo",       u"include_repo",      u"include_project",
    u"get_settings",       u"save_settings",     u"detect_roots",
    u"get_context",        u"set_active_launch", u"update_active_launch",
    u"pushback_launch",    u"complete_launch",   u"save_vision",
    u"set_project_status", u"rename_project",    u"plugins_view",
    u"plugin_action",      u"add_marketplace",   u"popular_plugins",
    u"save_workspace",     u"delete_workspace",  u"link_workspace_slot",
    u"delete_slot"};
static_assert(verbs.size() == static_cast<size_t>(MirrorMethod::DeleteSlot) + 1);

using Reply = Result<MirrorReply, MirrorError>;

MirrorError errorOf(const HttpError &error)
{
    return {error.kind == HttpError::Kind::NotHttp ? u"no HTTP response"_s : error.message()};
}

Reply read(const HttpResponse &response)
{
    const auto parsed = JSONValue::parse(response.body);
    JSONValue value = parsed ? *parsed : JSONValue();
    if (response.status == okStatus)
        return MirrorReply{std::move(value)};
    const JSONValue *sentence = value[u"error"];
    const auto text = sentence ? sentence->stringValue() : std::nullopt;
    return failure(MirrorError{text.value_or(u"HTTP %1"_s.arg(response.status))});
}

/// A change, whose answer holds nothing that anybody needs.
MirrorClient::Answer<void> change(QCoro::Task<Reply> call)
{
    const auto reply = co_await call;
    if (!reply)
        co_return failure(reply.error());
    co_return Result<void, MirrorError>();
}

template <typename T>
MirrorClient::Answer<T> payload(QCoro::Task<Reply> call)
{
    const auto reply = co_await call;
    if (!reply)
        co_return failure(reply.error());
    co_return T::fromJSON(reply->value);
}

JSONObject launchBody(const QString &project, const MirrorClient::LaunchDetails &launch)
{
    return JSONObject{{u"project"_s, project},
                      {u"type"_s, launch.type},
                      {u"title"_s, launch.title},
                      {u"action"_s, launch.action},
                      {u"target_date"_s, launch.targetDate},
                      {u"goals"_s, launch.goals}};
}

} // namespace

QString mirrorVerb(MirrorMethod method)
{
    return verbs.at(static_cast<size_t>(method)).toString();
}

QUrl MirrorClient::defaultBaseURL()
{
    return QUrl(u"http://127.0.0.1:8787"_s);
}

MirrorClient::MirrorClient(HttpClient &http, QUrl baseURL, std::chrono::milliseconds timeout)
    : m_http(&http)
    , m_baseURL(std::move(baseURL))
    , m_timeout(timeout)
{}

MirrorClient::Answer<MirrorReply> MirrorClient::call(MirrorMethod method, JSONObject params) const
{
    HttpRequest request;
    request.method = "POST";
    request.url = QUrl(u"%1/api/%2"_s.arg(m_baseURL.toString(), mirrorVerb(method)));
    request.headers = {{"Content-Type", "application/json"}};
    request.body = JSONValue(params).encoded();
    request.timeout = m_timeout;
    const auto response = co_await m_http->send(request);
    if (!response)
        co_return failure(errorOf(response.error()));
    co_return read(*response);
}

MirrorClient::Answer<void> MirrorClient::dismissReview(QString project, QString text) const
{
    return change(call(MirrorMethod::DismissReview, {{u"project"_s, project}, {u"text"_s, text}}));
}

MirrorClient::Answer<void> MirrorClient::hideWorkReview(QString project, QString id) const
{
    return change(call(MirrorMethod::HideWorkReview, {{u"project"_s, project}, {u"id"_s, id}}));
}

MirrorClient::Answer<void> MirrorClient::excludeRepo(QString slug) const
{
    return change(call(MirrorMethod::ExcludeRepo, {{u"slug"_s, slug}}));
}

MirrorClient::Answer<void> MirrorClient::includeRepo(QString slug) const
{
    return change(call(MirrorMethod::IncludeRepo, {{u"slug"_s, slug}}));
}

MirrorClient::Answer<void> MirrorClient::includeProject(QString project) const
{
    return change(call(MirrorMethod::IncludeProject, {{u"project"_s, project}}));
}

MirrorClient::Answer<ServiceSettings> MirrorClient::getSettings() const
{
    return payload<ServiceSettings>(call(MirrorMethod::GetSettings, {}));
}

MirrorClient::Answer<void> MirrorClient::saveSettings(JSONObject settings) const
{
    return change(call(MirrorMethod::SaveSettings, std::move(settings)));
}

MirrorClient::Answer<void> MirrorClient::renameProject(QString project, QString display) const
{
    return change(call(MirrorMethod::RenameProject, {{u"project"_s, project}, {u"display"_s, display}}));
}

MirrorClient::Answer<void> MirrorClient::openTerminal(QString path) const
{
    return change(call(MirrorMethod::OpenTerminal, {{u"path"_s, path}}));
}

MirrorClient::Answer<void> MirrorClient::setProjectStatus(QString project, QString status) const
{
    return change(call(MirrorMethod::SetProjectStatus, {{u"project"_s, project}, {u"status"_s, status}}));
}

MirrorClient::Answer<void> MirrorClient::saveVision(QString project, QString text) const
{
    return change(call(MirrorMethod::SaveVision, {{u"project"_s, project}, {u"text"_s, text}}));
}

MirrorClient::Answer<void> MirrorClient::setActiveLaunch(QString project, LaunchDetails launch) const
{
    return change(call(MirrorMethod::SetActiveLaunch, launchBody(project, launch)));
}

MirrorClient::Answer<void> MirrorClient::updateActiveLaunch(QString project, LaunchDetails launch) const
{
    return change(call(MirrorMethod::UpdateActiveLaunch, launchBody(project, launch)));
}

MirrorClient::Answer<void> MirrorClient::pushbackLaunch(QString project, QString newDate,
                                                        QString reason) const
{
    return change(call(MirrorMethod::PushbackLaunch,
                       {{u"project"_s, project}, {u"new_date"_s, newDate}, {u"reason"_s, reason}}));
}

MirrorClient::Answer<void> MirrorClient::completeLaunch(QString project, QString status) const
{
    return change(call(MirrorMethod::CompleteLaunch, {{u"project"_s, project}, {u"status"_s, status}}));
}

MirrorClient::Answer<void> MirrorClient::refresh() const
{
    return change(call(MirrorMethod::Refresh, {}));
}

MirrorClient::Answer<PluginsPayload> MirrorClient::pluginsView() const
{
    return payload<PluginsPayload>(call(MirrorMethod::PluginsView, {}));
}

MirrorClient::Answer<PopularPayload> MirrorClient::popularPlugins(bool force) const
{
    return payload<PopularPayload>(call(MirrorMethod::PopularPlugins, {{u"force"_s, force}}));
}

MirrorClient::Answer<void> MirrorClient::pluginAction(QString action, QString pluginID, QString scope,
                                                      std::optional<QString> cwd) const
{
    JSONObject body{{u"action"_s, action}, {u"plugin_id"_s, pluginID}, {u"scope"_s, scope}};
    if (cwd)
        body.set(u"cwd", *cwd);
    return change(call(MirrorMethod::PluginAction, std::move(body)));
}

MirrorClient::Answer<void> MirrorClient::addMarketplace(QString source) const
{
    return change(call(MirrorMethod::AddMarketplace, {{u"source"_s, source}}));
}

} // namespace Keelhaven
