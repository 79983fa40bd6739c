#pragma once

#include "App/Commands/CommandContext.h"
#include "Scheduler/SchedulerEngine.h"

/// `keelhaven watch`: what happens, one line each.
namespace Keelhaven::WatchCommand {

/// The word for a kind of event: "queued", "launched", "finished", …
[[nodiscard]] QString word(EngineEvent::Kind kind);

/// One line with its end, for a person or as JSON.
[[nodiscard]] QString line(const EngineEvent &event, Date now, const Calendar &calendar, bool asJSON);

} // namespace Keelhaven::WatchCommand
