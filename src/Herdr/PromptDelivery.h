#pragma once

#include "Scheduler/Model/AgentProvider.h"

#include <variant>

namespace Keelhaven {

/// How a prompt gets into an agent: typed as it is, or as a pointer to a file, because a long paste is taken
/// badly.
namespace PromptDelivery {

/// Typed as it stands.
struct Inline
{
    QString text;
    bool operator==(const Inline &) const = default;
};

/// `contents` go to `file`, `pointer` is typed.
struct Brief
{
    QString pointer;
    QString file;
    QString contents;
    bool operator==(const Brief &) const = default;
};

using Plan = std::variant<Inline, Brief>;

/// The longest text that is typed as it is, in bytes of UTF-8.
inline constexpr qsizetype longestInline = 800;

/// Codex, a run without a folder and a short text are typed. `follow` is the number of briefs already in
/// `runDir`.
[[nodiscard]] Plan plan(const QString &text, const std::optional<QString> &runDir, AgentProvider provider,
                        qsizetype follow);

/// What goes to the agent.
[[nodiscard]] QString typed(const Plan &plan);

/// The briefs in a run folder; 0 when it cannot be read.
[[nodiscard]] qsizetype briefCount(const QString &runDir);

} // namespace PromptDelivery

} // namespace Keelhaven
