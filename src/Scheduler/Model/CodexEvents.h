#pragma once

#include "Scheduler/Model/RunMatcher.h"

namespace Keelhaven {

/// The hook log of one Codex run: "{directory}/{run id}.jsonl", one event a line.
namespace CodexEvents {

/// The run's own events; an absent file gives none, a bad line loses itself.
[[nodiscard]] QList<EventRecord> read(const QUuid &runID, const QString &directory);

/// What the events tell of the run's session.
[[nodiscard]] RunMatcher::Assessment assess(const RunMatcher::RunKey &key, const QList<EventRecord> &events);

} // namespace CodexEvents

} // namespace Keelhaven
