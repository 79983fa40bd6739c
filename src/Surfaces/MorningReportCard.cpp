#include "Surfaces/MorningReportCard.h"

#include "Surfaces/RunDetail.h"
#include "Surfaces/TimeTexts.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// Beyond these the history is the place to look.
constexpr qsizetype mostLines = 7;

QString firstLine(const RunRecord &record)
{
    const auto lines = record.completionMessage.value_or(QString()).trimmed().split(u'\n');
    for (const QString &line : lines) {
        if (!line.trimmed().isEmpty())
            return line.trimmed();
    }
    return {};
}

QList<MorningReportCard::Line> lines(const QList<RunRecord> &records, const Calendar &calendar)
{
    QList<MorningReportCard::Line> list;
    for (const RunRecord &record : records.first(std::min(records.size(), mostLines)))
        list.append({record.id, TimeTexts::full(record.startedAt, calendar), firstLine(record)});
    return list;
}

QString stateText(const MorningReportCard::Present &present, Date now)
{
    if (present.live)
        return present.live->record.slotName + u" — "_s +
               TimeTexts::elapsed(now - present.live->record.startedAt);
    if (present.isQueued)
        return u"Waiting to start"_s;
    return present.isResuming ? u"Opening the conversation"_s : QString();
}

} // namespace

MorningReportCard MorningReportCard::from(const MorningReport &report, const Present &present, Date now,
                                          const Calendar &calendar)
{
    MorningReportCard card;
    card.state = stateText(present, now);
    if (present.live)
        card.liveRunID = present.live->record.id;
    const QString underWay = card.state.isEmpty() ? QString() : u"A sweep is under way already."_s;
    card.runBlocked = underWay.isEmpty() ? present.blocked.value_or(QString()) : underWay;
    if (!report.latest) {
        card.notice =
            u"No sweep has ended yet. One goes through every project, says what it found, and stops."_s;
        card.resumeBlocked = underWay;
        return card;
    }
    const RunRecord &latest = *report.latest;
    card.runID = latest.id;
    card.timing = RunDetail::timing(latest, calendar);
    card.outcome = latest.outcome->label();
    card.isFailure = latest.outcome->isFailure();
    if (SweepOverview::hasMessage(latest))
        card.message = latest.completionMessage->trimmed();
    else
        card.notice = RunDetail::failureDetail(*latest.outcome).value_or(u"It left no message."_s);
    card.resumeBlocked = underWay.isEmpty() ? report.resumeBlockedReason.value_or(QString()) : underWay;
    card.followUps = lines(report.followUps, calendar);
    card.earlier = lines(report.earlier, calendar);
    return card;
}

} // namespace Keelhaven
