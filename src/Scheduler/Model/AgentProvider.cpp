#include "Scheduler/Model/AgentProvider.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

QString label(AgentProvider provider)
{
    return provider == AgentProvider::Claude ? u"Claude"_s : u"Codex"_s;
}

QString label(WorkspaceMode mode)
{
    switch (mode) {
    case WorkspaceMode::None:
        return u"None"_s;
    case WorkspaceMode::Shared:
        return u"Shared"_s;
    case WorkspaceMode::PerFolder:
        break;
    }
    return u"Per folder"_s;
}

AgentProvider userDefaultProvider(const SettingsStore &settings)
{
    return enumFromText<AgentProvider>(settings.text(u"defaultAgentProvider"_s))
        .value_or(AgentProvider::Claude);
}

std::optional<QString> userDefaultModel(const SettingsStore &settings)
{
    const QString model = settings.text(u"defaultAgentModel"_s).trimmed();
    return model.isEmpty() ? std::nullopt : std::optional(model);
}

AgentModelChoice userDefaultChoice(const SettingsStore &settings)
{
    return {userDefaultProvider(settings), userDefaultModel(settings)};
}

} // namespace Keelhaven
