#pragma once

#include "SessionHost/AgentRegistry.h"
#include "SessionHost/Terminals.h"

#include <functional>

namespace Keelhaven {

/// What `server.stop` does besides ending the host.
struct ServerStopParams
{
    bool panes = false; ///< close every pane and end the tmux server, too
    bool operator==(const ServerStopParams &) const = default;
};

template <>
struct RecordTable<ServerStopParams>
{
    static auto fields() { return std::tuple{defaulted(u"panes", &ServerStopParams::panes)}; }
};

/// The methods by name. Whatever a client sends, it gets one response line; failures are error objects with a
/// code: invalid_request, unknown_method, and those of the method. Collaborators outlive it.
class HostMethods
{
public:
    HostMethods(Terminals &terminals, AgentRegistry &agents, PaneInput &input);

    /// Serves one request line, without line feeds both ways.
    [[nodiscard]] QCoro::Task<QByteArray> serve(QByteArray line);

    /// A response that carries only an error.
    [[nodiscard]] static QByteArray errorLine(const HerdrFailure &error,
                                              const std::optional<QString> &id = {});

    /// Runs after the answer to `server.stop` was made.
    std::function<void()> onStop;

private:
    using Answer = HostResult<EncodedResult>;
    using Handler = QCoro::Task<Answer> (HostMethods::*)(JSONValue);

    [[nodiscard]] static const QMap<QString, Handler> &table();

    template <auto Method, typename Params>
    QCoro::Task<Answer> call(JSONValue params);

    QCoro::Task<HostResult<Herdr::Pong>> ping(Herdr::NoParams params);
    QCoro::Task<HostResult<Herdr::WorkspaceList>> workspaceList(Herdr::NoParams params);
    QCoro::Task<HostResult<Herdr::WorkspaceCreated>> workspaceCreate(Herdr::WorkspaceCreateParams params);
    QCoro::Task<HostResult<Herdr::TabList>> tabList(Herdr::TabListParams params);
    QCoro::Task<HostResult<Herdr::TabCreated>> tabCreate(Herdr::TabCreateParams params);
    QCoro::Task<HostResult<Herdr::Ack>> tabRename(Herdr::TabRenameParams params);
    QCoro::Task<HostResult<Herdr::Ack>> tabClose(Herdr::TabTarget params);
    QCoro::Task<HostResult<Herdr::PaneRead>> paneRead(Herdr::PaneReadParams params);
    QCoro::Task<HostResult<Herdr::Ack>> paneSendText(Herdr::PaneSendTextParams params);
    QCoro::Task<HostResult<Herdr::Ack>> paneClose(Herdr::PaneTarget params);
    QCoro::Task<HostResult<Herdr::Ack>> paneFocus(Herdr::PaneTarget params);
    QCoro::Task<HostResult<EncodedResult>> agentList(Herdr::NoParams params);
    QCoro::Task<HostResult<Herdr::AgentResult>> agentGet(Herdr::AgentTarget params);
    QCoro::Task<HostResult<Herdr::AgentStarted>> agentStart(Herdr::AgentStartParams params);
    QCoro::Task<HostResult<Herdr::AgentResult>> agentPrompt(Herdr::AgentPromptParams params);
    QCoro::Task<HostResult<Herdr::Ack>> serverStop(ServerStopParams params);

    Terminals &m_terminals;
    AgentRegistry &m_agents;
    PaneInput &m_input;
};

} // namespace Keelhaven
