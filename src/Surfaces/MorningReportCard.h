#pragma once

#include "Platform/Calendar.h"
#include "Scheduler/ActiveRun.h"
#include "Scheduler/SweepOverview.h"

namespace Keelhaven {

/// What the board says of the sweeps, in words.
struct MorningReportCard
{
    /// A sweep or a session that went on with one.
    struct Line
    {
        QUuid runID;
        QString when;    ///< "Mon 23 Nov, 7:05 PM"
        QString summary; ///< the first line of what it said; empty when it said nothing
        bool operator==(const Line &) const = default;
    };

    /// What is known of sweeps beside the history.
    struct Present
    {
        ActiveRunPtr live = nullptr; ///< the live sweep or follow-up
        bool isQueued = false;
        bool isResuming = false; ///< a follow-up was asked for a moment ago
        std::optional<QString> blocked = {};
    };

    QString timing;  ///< "Mon 23 Nov, 7:05 PM · 12m 3s"; empty when there was no sweep yet
    QString outcome; ///< "completed"
    bool isFailure = false;
    QString message;            ///< what the latest said, Markdown
    QString notice;             ///< the sentence that stands where there is no message
    QString state;              ///< what is going on now; empty when nothing is
    QString runBlocked;         ///< why no sweep can be started now; empty when one can
    QString resumeBlocked;      ///< why the conversation cannot be picked up now; empty when it can
    std::optional<QUuid> runID; ///< the latest
    std::optional<QUuid> liveRunID;
    QList<Line> followUps;
    QList<Line> earlier;

    [[nodiscard]] static MorningReportCard from(const MorningReport &report, const Present &present, Date now,
                                                const Calendar &calendar);

    bool operator==(const MorningReportCard &) const = default;
};

} // namespace Keelhaven
