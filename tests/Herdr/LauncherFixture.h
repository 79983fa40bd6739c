#pragma once

#include "Herdr/HerdrLauncher.h"
#include "HerdrFixture.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace Herdr;

/// A launcher whose host answers every step of a launch as it should, until a test says otherwise.
struct HerdrLauncherTest : HerdrFixture
{
    using Answer = ScriptedTransport::Answer;

    HerdrLauncherTest()
    {
        request.runID = QUuid::createUuid();
        request.cwd = u"/srv/web"_s;
        request.name = u"Web"_s;
        request.prompt = u"do it"_s;
        request.workspaceLabel = u"web"_s;
        transport->answers(Method::workspaceList, {workspaces({})});
        transport->answers(Method::workspaceCreate,
                           {ScriptedTransport::result(WorkspaceCreated{
                               {u"w1"_s, u"web"_s, {}}, {u"t1"_s, u"w1"_s, {}}, pane(u"p1"_s)})});
        transport->answers(Method::tabCreate, {ScriptedTransport::result(
                                                  TabCreated{{u"t2"_s, u"w1"_s, u"Web"_s}, pane(u"p2"_s)})});
        for (const auto method : {Method::tabRename, Method::tabClose, Method::paneClose, Method::paneFocus,
                                  Method::paneSendText})
            transport->answers(method, {ScriptedTransport::result(Ack())});
        transport->answers(Method::agentStart,
                           {ScriptedTransport::result(AgentStarted{agent(Status::Unknown), {}})});
        transport->answers(Method::agentGet, {got(Status::Idle)});
        transport->answers(Method::agentPrompt, {got(Status::Working)});
        transport->answers(Method::agentList, {listed(Status::Idle), listed(Status::Working)});
        transport->answers(Method::paneRead, {screen(u"> "_s)});
    }

    static AgentInfo agent(std::optional<Status> status, const std::optional<QString> &kind = u"claude"_s)
    {
        return {u"web-host"_s, kind, u"p1"_s, u"t1"_s, u"w1"_s, status, {}, {}};
    }
    static PaneInfo pane(const QString &id) { return {id, u"t1"_s, u"w1"_s, {}, {}, {}}; }
    static Answer got(std::optional<Status> status)
    {
        return ScriptedTransport::result(AgentResult{agent(status)});
    }
    static Answer gotAgent(const AgentInfo &info) { return ScriptedTransport::result(AgentResult{info}); }
    static Answer listed(std::optional<Status> status)
    {
        return ScriptedTransport::result(AgentList{{agent(status)}});
    }
    static Answer screen(const QString &text, bool truncated = false)
    {
        return ScriptedTransport::result(PaneRead{{text, truncated}});
    }
    static Answer workspaces(const QList<WorkspaceInfo> &list)
    {
        return ScriptedTransport::result(WorkspaceList{list});
    }
    static Answer busy() { return HerdrError::api(u"agent_pane_busy"_s, u"not yet"_s); }

    QString launchError()
    {
        const auto launched = finish(launcher.launch(request));
        return launched ? u"launched"_s : launched.error().message();
    }
    /// Text and time of each thing typed, e.g. "8.5 \r".
    QStringList typed() const
    {
        QStringList list;
        for (const auto &call : transport->callsOf(Method::paneSendText)) {
            const QString text = call.text(u"text");
            list.append(u"%1 %2"_s.arg(QString::number(call.at), text == u"\r"       ? u"Enter"_s
                                                                 : text == u"\x1b[B" ? u"Down"_s
                                                                                     : text));
        }
        return list;
    }

    RunLaunchRequest request;
    LaunchedRun run{u"p1"_s, u"t1"_s, u"w1"_s, u"web-host"_s, AgentProvider::Claude, {}, {}, {}};
    HerdrProbe prober{locator};
    HerdrLauncher launcher{HerdrClient(transport), locator, prober, clock, home.paths()};
};

} // namespace Keelhaven
