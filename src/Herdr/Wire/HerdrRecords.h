#pragma once

#include "Contract/RecordMapper.h"

#include <QStringList>

/// What the terminal host answers. Member names are the keys on the wire in camel case.
namespace Keelhaven {
namespace Herdr {

/// The protocol this program is written against; the only one it accepts.
inline constexpr int protocolVersion = 22;

namespace Method {
inline constexpr QStringView ping = u"ping";
inline constexpr QStringView workspaceList = u"workspace.list";
inline constexpr QStringView workspaceCreate = u"workspace.create";
inline constexpr QStringView tabList = u"tab.list";
inline constexpr QStringView tabCreate = u"tab.create";
inline constexpr QStringView tabRename = u"tab.rename";
inline constexpr QStringView tabClose = u"tab.close";
inline constexpr QStringView paneRead = u"pane.read";
inline constexpr QStringView paneSendText = u"pane.send_text";
inline constexpr QStringView paneClose = u"pane.close";
inline constexpr QStringView paneFocus = u"pane.focus";
inline constexpr QStringView agentList = u"agent.list";
inline constexpr QStringView agentGet = u"agent.get";
inline constexpr QStringView agentStart = u"agent.start";
inline constexpr QStringView agentPrompt = u"agent.prompt";
} // namespace Method

/// What an agent is doing. A text outside the five makes the whole record undecodable: a server that speaks
/// of other states is one whose meaning this program does not know.
enum class Status { Idle, Working, Blocked, Done, Unknown };

/// Any object.
struct Ack
{
    bool operator==(const Ack &) const = default;
};

struct Pong
{
    QString version;
    int protocolVersion = 0; ///< "protocol" on the wire
    bool operator==(const Pong &) const = default;
};

struct WorkspaceInfo
{
    QString workspaceId;
    QString label;
    std::optional<QString> activeTabId;
    bool operator==(const WorkspaceInfo &) const = default;
};

struct WorkspaceList
{
    QList<WorkspaceInfo> workspaces;
    bool operator==(const WorkspaceList &) const = default;
};

struct TabInfo
{
    QString tabId;
    QString workspaceId;
    std::optional<QString> label;
    bool operator==(const TabInfo &) const = default;
};

struct TabList
{
    QList<TabInfo> tabs;
    bool operator==(const TabList &) const = default;
};

struct PaneInfo
{
    QString paneId;
    QString tabId;
    QString workspaceId;
    std::optional<QString> cwd;
    std::optional<QString> agent;
    std::optional<Status> agentStatus;
    bool operator==(const PaneInfo &) const = default;
};

struct AgentInfo
{
    std::optional<QString> name; ///< the name it was started under
    std::optional<QString>
        agent; ///< the kind seen in the pane ("claude", "codex"); absent when it holds only a shell
    QString paneId;
    QString tabId;
    QString workspaceId;
    std::optional<Status> agentStatus;
    std::optional<bool> launchPending;    ///< true while the agent's process is coming up
    std::optional<bool> interactiveReady; ///< told for Codex: it reached its input prompt
    bool operator==(const AgentInfo &) const = default;

    [[nodiscard]] bool isPending() const { return launchPending.value_or(false); }
};

struct AgentList
{
    QList<AgentInfo> agents;
    bool operator==(const AgentList &) const = default;

    /// The agent in this pane; null when there is none. Valid as long as the list.
    [[nodiscard]] const AgentInfo *inPane(QStringView paneId) const
    {
        for (const AgentInfo &each : agents) {
            if (each.paneId == paneId)
                return &each;
        }
        return nullptr;
    }
};

struct AgentResult
{
    AgentInfo agent;
    bool operator==(const AgentResult &) const = default;
};

struct AgentStarted
{
    AgentInfo agent;
    QList<QString> argv;
    bool operator==(const AgentStarted &) const = default;
};

struct WorkspaceCreated
{
    WorkspaceInfo workspace;
    TabInfo tab;
    PaneInfo rootPane;
    bool operator==(const WorkspaceCreated &) const = default;
};

struct TabCreated
{
    TabInfo tab;
    PaneInfo rootPane;
    bool operator==(const TabCreated &) const = default;
};

struct PaneRead
{
    struct Payload
    {
        QString text;
        bool truncated = false;
        bool operator==(const Payload &) const = default;
    };

    Payload read;
    bool operator==(const PaneRead &) const = default;
};

} // namespace Herdr

template <>
struct EnumTexts<Herdr::Status>
{
    static constexpr std::array<std::u16string_view, 5> texts{u"idle", u"working", u"blocked", u"done",
                                                              u"unknown"};
};

template <>
struct RecordTable<Herdr::Ack>
{
    static auto fields() { return std::tuple<>(); }
};

template <>
struct RecordTable<Herdr::Pong>
{
    static auto fields()
    {
        return std::tuple{required(u"version", &Herdr::Pong::version),
                          required(u"protocol", &Herdr::Pong::protocolVersion)};
    }
};

template <>
struct RecordTable<Herdr::WorkspaceInfo>
{
    static auto fields()
    {
        using R = Herdr::WorkspaceInfo;
        return std::tuple{required(u"workspace_id", &R::workspaceId), required(u"label", &R::label),
                          optional(u"active_tab_id", &R::activeTabId)};
    }
};

template <>
struct RecordTable<Herdr::WorkspaceList>
{
    static auto fields() { return std::tuple{required(u"workspaces", &Herdr::WorkspaceList::workspaces)}; }
};

template <>
struct RecordTable<Herdr::TabInfo>
{
    static auto fields()
    {
        using R = Herdr::TabInfo;
        return std::tuple{required(u"tab_id", &R::tabId), required(u"workspace_id", &R::workspaceId),
                          optional(u"label", &R::label)};
    }
};

template <>
struct RecordTable<Herdr::TabList>
{
    static auto fields() { return std::tuple{required(u"tabs", &Herdr::TabList::tabs)}; }
};

template <>
struct RecordTable<Herdr::PaneInfo>
{
    static auto fields()
    {
        using R = Herdr::PaneInfo;
        return std::tuple{required(u"pane_id", &R::paneId),
                          required(u"tab_id", &R::tabId),
                          required(u"workspace_id", &R::workspaceId),
                          optional(u"cwd", &R::cwd),
                          optional(u"agent", &R::agent),
                          optional(u"agent_status", &R::agentStatus)};
    }
};

template <>
struct RecordTable<Herdr::AgentInfo>
{
    static auto fields()
    {
        using R = Herdr::AgentInfo;
        return std::tuple{optional(u"name", &R::name),
                          optional(u"agent", &R::agent),
                          required(u"pane_id", &R::paneId),
                          required(u"tab_id", &R::tabId),
                          required(u"workspace_id", &R::workspaceId),
                          optional(u"agent_status", &R::agentStatus),
                          optional(u"launch_pending", &R::launchPending),
                          optional(u"interactive_ready", &R::interactiveReady)};
    }
};

template <>
struct RecordTable<Herdr::AgentList>
{
    static auto fields() { return std::tuple{required(u"agents", &Herdr::AgentList::agents)}; }
};

template <>
struct RecordTable<Herdr::AgentResult>
{
    static auto fields() { return std::tuple{required(u"agent", &Herdr::AgentResult::agent)}; }
};

template <>
struct RecordTable<Herdr::AgentStarted>
{
    static auto fields()
    {
        using R = Herdr::AgentStarted;
        return std::tuple{required(u"agent", &R::agent), required(u"argv", &R::argv)};
    }
};

template <>
struct RecordTable<Herdr::WorkspaceCreated>
{
    static auto fields()
    {
        using R = Herdr::WorkspaceCreated;
        return std::tuple{required(u"workspace", &R::workspace), required(u"tab", &R::tab),
                          required(u"root_pane", &R::rootPane)};
    }
};

template <>
struct RecordTable<Herdr::TabCreated>
{
    static auto fields()
    {
        using R = Herdr::TabCreated;
        return std::tuple{required(u"tab", &R::tab), required(u"root_pane", &R::rootPane)};
    }
};

template <>
struct RecordTable<Herdr::PaneRead::Payload>
{
    static auto fields()
    {
        using R = Herdr::PaneRead::Payload;
        return std::tuple{required(u"text", &R::text), required(u"truncated", &R::truncated)};
    }
};

template <>
struct RecordTable<Herdr::PaneRead>
{
    static auto fields() { return std::tuple{required(u"read", &Herdr::PaneRead::read)}; }
};

} // namespace Keelhaven
