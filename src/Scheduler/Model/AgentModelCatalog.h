#pragma once

#include "Scheduler/Model/AgentProvider.h"
#include "Scheduler/Model/ModelOption.h"

namespace Keelhaven {

/// Which models each provider offers, how they are shown, and how a model becomes command-line arguments.
/// Claude's list is fixed; Codex's is read at each call from the cache file that its command line keeps in
/// `codexHome`.
namespace AgentModelCatalog {

struct Entry
{
    AgentProvider provider = AgentProvider::Claude;
    QString value; ///< what the command line takes
    QString label;

    /// "{provider}:{value}"
    [[nodiscard]] QString id() const;
    [[nodiscard]] AgentModelChoice choice() const { return {provider, value}; }
    bool operator==(const Entry &) const = default;
};

/// $CODEX_HOME of this process, else ".codex" in `home`.
[[nodiscard]] QString codexHome(const QString &home);

/// The provider's models. A Codex cache that is missing, unreadable or empty gives a fixed list.
[[nodiscard]] QList<Entry> entries(AgentProvider provider, const QString &codexHome);

/// The models of a Codex cache, by priority. Nothing for any other shape of file.
[[nodiscard]] QList<Entry> parseCodexCache(QByteArrayView data);

/// "Claude · default", "Codex · default".
[[nodiscard]] QString defaultLabel(AgentProvider provider);

/// The entry's label, the model text itself when no entry has it, the default label without a model.
[[nodiscard]] QString label(const AgentModelChoice &choice, const QString &codexHome);

/// The label up to its first " · ". Nothing without a model.
[[nodiscard]] std::optional<QString> shortLabel(const AgentModelChoice &choice, const QString &codexHome);

/// ["--model", …] for Claude, ["-m", …] for Codex, nothing for no model or a blank one.
[[nodiscard]] QStringList launchArgs(AgentProvider provider, const std::optional<QString> &model);

/// What a free-form model name means, as a captain or dispatcher writes it. `codex` are the Codex entries.
/// Nothing when it means no model known or recognisable.
[[nodiscard]] std::optional<AgentModelChoice> resolve(const std::optional<QString> &text,
                                                      const QList<Entry> &codex);

/// Each provider's default followed by its models.
[[nodiscard]] QList<ModelOption> dispatchOptions(const QString &codexHome);

} // namespace AgentModelCatalog

} // namespace Keelhaven
