#pragma once

#include "Contract/RecordMapper.h"

#include <QStringList>

/// What a caller sends with each method, keys in this order on the wire.
namespace Keelhaven {
namespace Herdr {

struct NoParams
{
    bool operator==(const NoParams &) const = default;
};

struct WorkspaceCreateParams
{
    std::optional<QString> label;
    std::optional<QString> cwd;
    std::optional<QMap<QString, QString>> env;
    bool focus = false;
    bool operator==(const WorkspaceCreateParams &) const = default;
};

struct TabCreateParams
{
    std::optional<QString> workspaceId;
    std::optional<QString> label;
    std::optional<QString> cwd;
    std::optional<QMap<QString, QString>> env;
    bool focus = false;
    bool operator==(const TabCreateParams &) const = default;
};

struct TabListParams
{
    std::optional<QString> workspaceId;
    bool operator==(const TabListParams &) const = default;
};

struct TabTarget
{
    QString tabId;
    bool operator==(const TabTarget &) const = default;
};

struct TabRenameParams
{
    QString tabId;
    QString label;
    bool operator==(const TabRenameParams &) const = default;
};

struct PaneTarget
{
    QString paneId;
    bool operator==(const PaneTarget &) const = default;
};

struct PaneSendTextParams
{
    QString paneId;
    QString text; ///< typed as keystrokes; "\r" is Enter
    bool operator==(const PaneSendTextParams &) const = default;
};

struct PaneReadParams
{
    QString paneId;
    QString source = QStringLiteral("recent");
    std::optional<int> lines;
    bool stripAnsi = true;
    QString format = QStringLiteral("text");
    bool operator==(const PaneReadParams &) const = default;
};

struct AgentStartParams
{
    QString name;
    QString kind; ///< "claude" or "codex"
    QString paneId;
    QList<QString> args;
    std::optional<int> timeoutMs;
    bool operator==(const AgentStartParams &) const = default;
};

struct AgentTarget
{
    QString target; ///< the agent's name
    bool operator==(const AgentTarget &) const = default;
};

struct AgentPromptParams
{
    QString target;
    QString text;
    bool operator==(const AgentPromptParams &) const = default;
};

} // namespace Herdr

template <>
struct RecordTable<Herdr::NoParams>
{
    static auto fields() { return std::tuple<>(); }
};

template <>
struct RecordTable<Herdr::WorkspaceCreateParams>
{
    static auto fields()
    {
        using R = Herdr::WorkspaceCreateParams;
        return std::tuple{optional(u"label", &R::label), optional(u"cwd", &R::cwd), optional(u"env", &R::env),
                          defaulted(u"focus", &R::focus)};
    }
};

template <>
struct RecordTable<Herdr::TabCreateParams>
{
    static auto fields()
    {
        using R = Herdr::TabCreateParams;
        return std::tuple{optional(u"workspace_id", &R::workspaceId), optional(u"label", &R::label),
                          optional(u"cwd", &R::cwd), optional(u"env", &R::env),
                          defaulted(u"focus", &R::focus)};
    }
};

template <>
struct RecordTable<Herdr::TabListParams>
{
    static auto fields() { return std::tuple{optional(u"workspace_id", &Herdr::TabListParams::workspaceId)}; }
};

template <>
struct RecordTable<Herdr::TabTarget>
{
    static auto fields() { return std::tuple{required(u"tab_id", &Herdr::TabTarget::tabId)}; }
};

template <>
struct RecordTable<Herdr::TabRenameParams>
{
    static auto fields()
    {
        using R = Herdr::TabRenameParams;
        return std::tuple{required(u"tab_id", &R::tabId), required(u"label", &R::label)};
    }
};

template <>
struct RecordTable<Herdr::PaneTarget>
{
    static auto fields() { return std::tuple{required(u"pane_id", &Herdr::PaneTarget::paneId)}; }
};

template <>
struct RecordTable<Herdr::PaneSendTextParams>
{
    static auto fields()
    {
        using R = Herdr::PaneSendTextParams;
        return std::tuple{required(u"pane_id", &R::paneId), required(u"text", &R::text)};
    }
};

template <>
struct RecordTable<Herdr::PaneReadParams>
{
    static auto fields()
    {
        using R = Herdr::PaneReadParams;
        return std::tuple{required(u"pane_id", &R::paneId), defaulted(u"source", &R::source),
                          optional(u"lines", &R::lines), defaulted(u"strip_ansi", &R::stripAnsi),
                          defaulted(u"format", &R::format)};
    }
};

template <>
struct RecordTable<Herdr::AgentStartParams>
{
    static auto fields()
    {
        using R = Herdr::AgentStartParams;
        return std::tuple{required(u"name", &R::name), required(u"kind", &R::kind),
                          required(u"pane_id", &R::paneId), defaulted(u"args", &R::args),
                          optional(u"timeout_ms", &R::timeoutMs)};
    }
};

template <>
struct RecordTable<Herdr::AgentTarget>
{
    static auto fields() { return std::tuple{required(u"target", &Herdr::AgentTarget::target)}; }
};

template <>
struct RecordTable<Herdr::AgentPromptParams>
{
    static auto fields()
    {
        using R = Herdr::AgentPromptParams;
        return std::tuple{required(u"target", &R::target), required(u"text", &R::text)};
    }
};

} // namespace Keelhaven
