#pragma once

#include "Contract/RecordMapper.h"
#include "Platform/SettingsStore.h"

namespace Keelhaven {

/// Which command line runs an agent. Only Claude agents fire from schedules or from a captain's decision.
enum class AgentProvider { Claude, Codex };

template <>
struct EnumTexts<AgentProvider>
{
    static constexpr std::array<std::u16string_view, 2> texts{u"claude", u"codex"};
};

/// "Claude", "Codex".
[[nodiscard]] QString label(AgentProvider provider);
[[nodiscard]] constexpr bool supportsScheduling(AgentProvider provider)
{
    return provider == AgentProvider::Claude;
}

/// What a slot is for: an ordinary user agent, a captain pass (its command comes from a hook), a task of the
/// dispatcher, a one-time task, or the program's own maintenance session (no journal, no result contract, no
/// usage record).
enum class SlotKind { Scheduled, Captain, Dispatch, Oneoff, System };

template <>
struct EnumTexts<SlotKind>
{
    static constexpr std::array<std::u16string_view, 5> texts{u"scheduled", u"captain", u"dispatch",
                                                              u"oneoff", u"system"};
};

/// Straight in the project folders, one workspace for the whole agent, or one for each folder.
enum class WorkspaceMode { None, Shared, PerFolder };

template <>
struct EnumTexts<WorkspaceMode>
{
    static constexpr std::array<std::u16string_view, 3> texts{u"none", u"shared", u"perFolder"};
};

/// "None", "Shared", "Per folder".
[[nodiscard]] QString label(WorkspaceMode mode);

/// A provider with one of its models. No model means the provider's own default: no model flag is passed.
struct AgentModelChoice
{
    AgentProvider provider = AgentProvider::Claude;
    std::optional<QString> model;
    bool operator==(const AgentModelChoice &) const = default;
};

/// What a new blank agent starts on: the settings "defaultAgentProvider" and "defaultAgentModel".
[[nodiscard]] AgentProvider userDefaultProvider(const SettingsStore &settings);
[[nodiscard]] std::optional<QString> userDefaultModel(const SettingsStore &settings);
[[nodiscard]] AgentModelChoice userDefaultChoice(const SettingsStore &settings);

} // namespace Keelhaven
