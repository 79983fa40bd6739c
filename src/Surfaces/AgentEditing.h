#pragma once

#include "Surfaces/AgentDraft.h"
#include "Surfaces/Confirmation.h"

namespace Keelhaven {

/// What the agent editor says about a draft besides its fields, and what it makes of typed texts.
namespace AgentEditor {

/// Fields that stand closed together until they are wanted.
enum class Group { Gates, Limits, Workspace, Session, Ship };

/// "Gates", "Limits", …
[[nodiscard]] QString label(Group group);
/// One line on what is set in the group.
[[nodiscard]] QString summary(Group group, const AgentDraft &draft,
                              const QList<AgentDraft::ShipChoice> &ships);

/// The field that the draft's hint is about, by its key; nothing without a hint.
[[nodiscard]] std::optional<QStringView>
hintedField(const AgentDraft &draft, const std::function<bool(const QString &)> &isForbiddenFolder);

/// Why the draft has no next dates; nothing when it has some.
[[nodiscard]] std::optional<QString> noDatesReason(const AgentDraft &draft, Date now,
                                                   const Calendar &calendar);

/// A time of day as people type it: "9", "9:30", "0930", "9.30 pm", "noon". Nothing for any other text.
[[nodiscard]] std::optional<ScheduleSpec::HourMinute> clockFromText(const QString &text);
/// A day as people type it: "2026-11-26", "26.11.2026", "today", "tomorrow", "fri" for the next Friday after
/// today. Nothing for any other text, and for a day that no calendar has.
[[nodiscard]] std::optional<std::chrono::sys_days> dayFromText(const QString &text,
                                                               std::chrono::sys_days today);
/// "2026-11-26"
[[nodiscard]] QString dayText(std::chrono::sys_days day);

/// The later of the given times and an hour from it, where there is room in the day: what one more time
/// starts on.
[[nodiscard]] ScheduleSpec::HourMinute furtherTime(const QList<ScheduleSpec::HourMinute> &times);

/// `mine` was edited from `was`, while the stored agent became `is`: what I left alone follows it.
[[nodiscard]] AgentDraft merged(AgentDraft mine, const AgentDraft &was, const AgentDraft &is);

/// What stands under the folders when some of them are not on this machine; empty when all are there.
[[nodiscard]] QString missingFoldersNote(const QStringList &missing);
/// Whether a text holds invisible marks that change the order in which it is shown.
[[nodiscard]] bool turnsDirection(const QString &text);
inline constexpr QStringView directionNote =
    u"The prompt holds invisible marks that turn the writing direction: it may read otherwise than it looks.";

/// Asked before edits are lost. An empty name is an agent that has none yet.
[[nodiscard]] Confirmation discardQuestion(const QString &agentName);

} // namespace AgentEditor

} // namespace Keelhaven
