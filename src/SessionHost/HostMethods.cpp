#include "SessionHost/HostMethods.h"

#include "SessionHost/HostVersion.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// One response: `{"id": …, "result": …}` or `{"id": …, "error": …}`; the id is left out when the request had
/// none.
QByteArray responseLine(const std::optional<QString> &id, const QByteArray &member, const QByteArray &json)
{
    const QByteArray first = id ? "\"id\": " + JSONValue(*id).encoded() + ", " : QByteArray();
    return '{' + first + '"' + member + "\": " + json + '}';
}

} // namespace

HostMethods::HostMethods(Terminals &terminals, AgentRegistry &agents, PaneInput &input)
    : m_terminals(terminals)
    , m_agents(agents)
    , m_input(input)
{}

QByteArray HostMethods::errorLine(const HerdrFailure &error, const std::optional<QString> &id)
{
    return responseLine(id, "error", EncodedResult(error));
}

template <auto Method, typename Params>
QCoro::Task<HostMethods::Answer> HostMethods::call(JSONValue params)
{
    auto decoded = decodeRecord<Params>(params);
    if (!decoded)
        co_return failure(
            HerdrFailure{u"invalid_request"_s, u"bad parameters: "_s + decoded.error().message()});
    const auto outcome = co_await (this->*Method)(*decoded);
    if (!outcome)
        co_return failure(outcome.error());
    co_return EncodedResult(*outcome);
}

const QMap<QString, HostMethods::Handler> &HostMethods::table()
{
    using namespace Herdr;
    using Self = HostMethods;
    static const QMap<QString, Handler> methods{
        {Method::ping.toString(), &Self::call<&Self::ping, NoParams>},
        {Method::workspaceList.toString(), &Self::call<&Self::workspaceList, NoParams>},
        {Method::workspaceCreate.toString(), &Self::call<&Self::workspaceCreate, WorkspaceCreateParams>},
        {Method::tabList.toString(), &Self::call<&Self::tabList, TabListParams>},
        {Method::tabCreate.toString(), &Self::call<&Self::tabCreate, TabCreateParams>},
        {Method::tabRename.toString(), &Self::call<&Self::tabRename, TabRenameParams>},
        {Method::tabClose.toString(), &Self::call<&Self::tabClose, TabTarget>},
        {Method::paneRead.toString(), &Self::call<&Self::paneRead, PaneReadParams>},
        {Method::paneSendText.toString(), &Self::call<&Self::paneSendText, PaneSendTextParams>},
        {Method::paneClose.toString(), &Self::call<&Self::paneClose, PaneTarget>},
        {Method::paneFocus.toString(), &Self::call<&Self::paneFocus, PaneTarget>},
        {Method::agentList.toString(), &Self::call<&Self::agentList, NoParams>},
        {Method::agentGet.toString(), &Self::call<&Self::agentGet, AgentTarget>},
        {Method::agentStart.toString(), &Self::call<&Self::agentStart, AgentStartParams>},
        {Method::agentPrompt.toString(), &Self::call<&Self::agentPrompt, AgentPromptParams>},
        {u"server.stop"_s, &Self::call<&Self::serverStop, ServerStopParams>},
    };
    return methods;
}

QCoro::Task<QByteArray> HostMethods::serve(QByteArray line)
{
    const auto request = JSONValue::parse(QByteArrayView(line));
    if (!request || !request->objectValue()) {
        const QString reason = request ? u"a request is one JSON object"_s : request.error().message();
        co_return errorLine(HerdrFailure{u"invalid_request"_s, reason});
    }
    const JSONValue *idValue = (*request)[u"id"];
    const std::optional<QString> id = idValue ? idValue->stringValue() : std::nullopt;
    const JSONValue *methodValue = (*request)[u"method"];
    const std::optional<QString> method = methodValue ? methodValue->stringValue() : std::nullopt;
    if (!method)
        co_return errorLine(HerdrFailure{u"invalid_request"_s, u"a request names a method"_s}, id);
    const Handler handler = table().value(*method, nullptr);
    if (!handler)
        co_return errorLine(
            HerdrFailure{u"unknown_method"_s, u"there is no method %1"_s.arg(method->left(80))}, id);
    const JSONValue *given = (*request)[u"params"];
    const JSONValue params = given && !given->isNull() ? *given : JSONValue(JSONObject());
    const auto answer = co_await (this->*handler)(params);
    if (!answer)
        co_return errorLine(answer.error(), id);
    co_return responseLine(id, "result", *answer);
}

QCoro::Task<HostResult<Herdr::Pong>> HostMethods::ping(Herdr::NoParams)
{
    // The fields by name: an aggregate in braces must not stand in a coroutine's expressions.
    Herdr::Pong pong;
    pong.version = hostVersion();
    pong.protocolVersion = Herdr::protocolVersion;
    co_return pong;
}

QCoro::Task<HostResult<Herdr::WorkspaceList>> HostMethods::workspaceList(Herdr::NoParams)
{
    return m_terminals.workspaces();
}

QCoro::Task<HostResult<Herdr::WorkspaceCreated>>
HostMethods::workspaceCreate(Herdr::WorkspaceCreateParams params)
{
    return m_terminals.createWorkspace(std::move(params));
}

QCoro::Task<HostResult<Herdr::TabList>> HostMethods::tabList(Herdr::TabListParams params)
{
    return m_terminals.tabs(std::move(params));
}

QCoro::Task<HostResult<Herdr::TabCreated>> HostMethods::tabCreate(Herdr::TabCreateParams params)
{
    return m_terminals.createTab(std::move(params));
}

QCoro::Task<HostResult<Herdr::Ack>> HostMethods::tabRename(Herdr::TabRenameParams params)
{
    return m_terminals.renameTab(std::move(params));
}

QCoro::Task<HostResult<Herdr::Ack>> HostMethods::tabClose(Herdr::TabTarget params)
{
    return m_terminals.closeTab(std::move(params));
}

QCoro::Task<HostResult<Herdr::PaneRead>> HostMethods::paneRead(Herdr::PaneReadParams params)
{
    return m_terminals.read(std::move(params));
}

QCoro::Task<HostResult<Herdr::Ack>> HostMethods::paneSendText(Herdr::PaneSendTextParams params)
{
    const auto row = co_await m_terminals.pane(params.paneId);
    if (!row)
        co_return failure(row.error());
    const auto typed = co_await m_input.type(row->pane, params.text.toUtf8());
    if (!typed)
        co_return failure(targetError(typed.error(), IDKind::Pane, params.paneId));
    co_return Herdr::Ack();
}

QCoro::Task<HostResult<Herdr::Ack>> HostMethods::paneClose(Herdr::PaneTarget params)
{
    return m_terminals.closePane(std::move(params));
}

QCoro::Task<HostResult<Herdr::Ack>> HostMethods::paneFocus(Herdr::PaneTarget params)
{
    return m_terminals.focusPane(std::move(params));
}

QCoro::Task<HostResult<EncodedResult>> HostMethods::agentList(Herdr::NoParams)
{
    return m_agents.list();
}

QCoro::Task<HostResult<Herdr::AgentResult>> HostMethods::agentGet(Herdr::AgentTarget params)
{
    const auto info = co_await m_agents.get(params.target);
    if (!info)
        co_return failure(info.error());
    Herdr::AgentResult result;
    result.agent = *info;
    co_return result;
}

QCoro::Task<HostResult<Herdr::AgentStarted>> HostMethods::agentStart(Herdr::AgentStartParams params)
{
    return m_agents.start(std::move(params));
}

QCoro::Task<HostResult<Herdr::AgentResult>> HostMethods::agentPrompt(Herdr::AgentPromptParams params)
{
    const auto info = co_await m_agents.prompt(params);
    if (!info)
        co_return failure(info.error());
    Herdr::AgentResult result;
    result.agent = *info;
    co_return result;
}

QCoro::Task<HostResult<Herdr::Ack>> HostMethods::serverStop(ServerStopParams params)
{
    if (params.panes) {
        const auto closed = co_await m_terminals.closeEverything();
        if (!closed)
            co_return failure(closed.error());
    }
    if (onStop)
        onStop();
    co_return Herdr::Ack();
}

} // namespace Keelhaven
