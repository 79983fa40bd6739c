#pragma once

#include "Contract/Models/EventList.h"
#include "Platform/Moments.h"

#include <QSet>

namespace Keelhaven {

/// Finds a run's session among all sessions of the machine and reads from its hook events whether its turn is
/// over. Pure functions.
namespace RunMatcher {

/// What of a run takes part in the matching.
struct RunKey
{
    QUuid runID;
    QString cwd;
    Date startedAt{};
    std::optional<QString> sessionID;
    std::optional<Date> eventFloor; ///< events before this belong to an earlier turn
    std::optional<QUuid> launchRunID;
};

/// What the events tell of a run.
struct Assessment
{
    std::optional<QString> capturedSessionID;
    bool completed = false;
    std::optional<QString> completionMessage;
    std::optional<Date> lastActivityAt;
    bool operator==(const Assessment &) const = default;
};

/// A folder's session may have started this long before and after the run did, both ends included.
inline constexpr auto matchBefore = std::chrono::seconds(5);
inline constexpr auto matchAfter = std::chrono::seconds(45);

/// Reads Claude events. `claimed` are the sessions of all other live runs.
[[nodiscard]] Assessment assess(const RunKey &key, const EventList &events, const QSet<QString> &claimed);

/// What to type into a pane that shows a folder-trust question: Enter, the arrow-down key when the cursor is
/// not on the yes line, or nothing.
[[nodiscard]] std::optional<QString> trustPromptResponse(const QString &paneText);

/// Whether Claude's pane says at its foot that nobody is signed in. It then rests like any idle session, yet
/// answers every prompt with that sentence.
[[nodiscard]] bool asksToSignIn(const QString &paneText);

/// The path with symbolic links resolved.
[[nodiscard]] QString normalize(const QString &path);

/// Whether more than `stallMinutes` passed since the later of start and last activity.
[[nodiscard]] bool isStalled(Date startedAt, std::optional<Date> lastActivityAt, Date now, int stallMinutes);

} // namespace RunMatcher

} // namespace Keelhaven
