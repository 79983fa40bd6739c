#pragma once

#include "Contract/RecordMapper.h"
#include "SessionHost/AgentRules.h"
#include "SessionHost/ProcessTree.h"

namespace Keelhaven {

/// How far an agent has come.
enum class AgentPhase {
    Launching, ///< its start was typed, its process is not there yet
    Arriving,  ///< the process runs, neither input box nor dialog has shown
    Running,
    Ended, ///< the shell is left
};

/// What the host keeps of one started agent with its pane.
struct AgentRecord
{
    QString name;
    AgentKind kind = AgentKind::Claude;
    AgentPhase phase = AgentPhase::Launching;
    QString token;            ///< names the start script
    double startedAt = 0;     ///< seconds since 1970
    qint64 timeoutMs = 60000; ///< how long it may take to arrive
    pid_t pid = 0;
    quint64 startTime = 0;
    bool isReady = false; ///< Codex: the input line has shown
    bool operator==(const AgentRecord &) const = default;

    [[nodiscard]] ProcessID process() const { return {pid, startTime}; }
    [[nodiscard]] bool isPresent() const
    {
        return phase == AgentPhase::Arriving || phase == AgentPhase::Running;
    }
    [[nodiscard]] bool isPending() const
    {
        return phase == AgentPhase::Launching || phase == AgentPhase::Arriving;
    }
};

template <>
struct EnumTexts<AgentKind>
{
    static constexpr std::array<std::u16string_view, 2> texts{u"claude", u"codex"};
};

template <>
struct EnumTexts<AgentPhase>
{
    static constexpr std::array<std::u16string_view, 4> texts{u"launching", u"arriving", u"running",
                                                              u"ended"};
};

template <>
struct RecordTable<AgentRecord>
{
    static auto fields()
    {
        using R = AgentRecord;
        return std::tuple{required(u"name", &R::name),
                          required(u"kind", &R::kind),
                          required(u"phase", &R::phase),
                          required(u"token", &R::token),
                          required(u"started_at", &R::startedAt),
                          required(u"timeout_ms", &R::timeoutMs),
                          required(u"pid", &R::pid),
                          required(u"start_time", &R::startTime),
                          required(u"is_ready", &R::isReady)};
    }
};

} // namespace Keelhaven
