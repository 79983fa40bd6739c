#include "Journal/JournalIngestor.h"

#include "Journal/TranscriptUsageReader.h"
#include "Platform/Files.h"

#include <QDir>
#include <QPointer>
#include <algorithm>
#include <limits>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// How much of a journal is read when its run is over, in reads of the tailer's limit. The main loop waits
/// for it, and whatever the agent left running may go on writing.
constexpr int lastReads = 8;

/// Nobody answers as many questions of one run. An agent that asks in a loop must not fill the item, which is
/// stored whole with each question, nor the user's screen.
constexpr qsizetype mostOpenQuestions = 100;

/// Stored events are read back in pages, and no further when they have come to this many bytes: an agent may
/// have written anything, and the main loop waits.
constexpr qsizetype pageSize = 16;
constexpr qint64 mostEventBytes = 16 << 20;

qsizetype openQuestionsOf(const RunRecord &run, const std::optional<WorkItem> &item)
{
    return item ? std::ranges::count_if(
                      item->humanQA,
                      [&](const HumanQuestion &asked) { return asked.isOpen() && asked.runID == run.id; })
                : 0;
}

/// Whether the item has this question of this run already: a journal that was replaced is read again.
bool wasAsked(const HumanQuestion &question, const std::optional<WorkItem> &item)
{
    return item && std::ranges::any_of(item->humanQA, [&](const HumanQuestion &asked) {
               return asked.runID == question.runID && asked.askedAt == question.askedAt &&
                      asked.question == question.question;
           });
}

} // namespace

JournalIngestor::JournalIngestor(KeelhavenDatabase &database, Clock &clock, Tasks &tasks, QString home,
                                 AssetStore *assets, WorkItemStore *workItems)
    : m_database(database)
    , m_clock(clock)
    , m_tasks(tasks)
    , m_home(std::move(home))
    , m_assets(assets)
    , m_workItems(workItems)
{}

void JournalIngestor::begin(const RunRecord &run, const QString &journalPath, bool skipExisting)
{
    m_tailers.insert_or_assign(run.id, RunJournalTailer(journalPath, skipExisting));
    m_progress.remove(run.id);
}

void JournalIngestor::poll(const RunRecord &run)
{
    readOnce(run);
}

std::optional<QString> JournalIngestor::finish(const RunRecord &run)
{
    const auto tailer = m_tailers.find(run.id);
    // The summary comes last: of a journal that outran the polls, the end counts.
    if (tailer != m_tailers.end())
        tailer->second.skipToLast(quint64(lastReads) * RunJournalTailer::readLimit);
    bool hasMore = true;
    for (int reads = 0; reads <= lastReads && hasMore; ++reads)
        hasMore = readOnce(run);
    // Looked for again: what is told of an event may begin or end runs.
    if (const auto rest = m_tailers.find(run.id); rest != m_tailers.end() && !hasMore)
        take(rest->second.readRest(m_clock.now()), run);
    m_tailers.erase(run.id);
    m_progress.remove(run.id);
    return summary(run.id);
}

/// Handles one read's events; true when there is more to read.
bool JournalIngestor::readOnce(const RunRecord &run)
{
    const auto tailer = m_tailers.find(run.id);
    if (tailer == m_tailers.end())
        return false;
    const auto events = tailer->second.read(m_clock.now());
    const bool hasMore = tailer->second.hasMore();
    take(events, run);
    return hasMore;
}

void JournalIngestor::take(const QList<JournalEvent> &events, const RunRecord &run)
{
    record(events, run);
    for (const JournalEvent &event : events)
        handle(event, run);
    if (!events.isEmpty())
        Q_EMIT changed(run.id);
}

void JournalIngestor::record(const QList<JournalEvent> &events, const RunRecord &run)
{
    const auto insert = [&](SQLiteConnection &connection) -> Result<void, SQLiteError> {
        for (const JournalEvent &event : events) {
            // A second event of the same moment and kind is ignored, which makes reading a journal again
            // harmless. A row that fails is dropped and takes no other with it.
            static_cast<void>(connection.run(
                u"INSERT OR IGNORE INTO journal (run_id, ship_id, ts, type, payload) VALUES (?,?,?,?,?)"_s,
                {SQLiteValue::uuid(run.id), SQLiteValue::optUUID(run.shipID), SQLiteValue::double_(event.ts),
                 SQLiteValue::text(enumText(event.kind)),
                 SQLiteValue::utf8Text(JSONValue(event.raw).encoded())}));
        }
        return {};
    };
    if (!events.isEmpty())
        static_cast<void>(m_database.sync([&](SQLiteConnection &connection) {
            return connection.transaction([&] { return insert(connection); });
        }));
}

void JournalIngestor::handle(const JournalEvent &event, const RunRecord &run)
{
    const auto text = event.text();
    switch (event.kind) {
    case JournalEvent::Kind::Summary:
        if (text)
            m_summaries.insert(run.id, *text);
        break;
    case JournalEvent::Kind::Progress:
        if (!text)
            break;
        m_progress.insert(run.id, *text);
        if (onProgress)
            onProgress(run.id, *text);
        break;
    case JournalEvent::Kind::Question:
        handleQuestion(event, run);
        break;
    case JournalEvent::Kind::Asset:
        if (const auto path = event.path())
            addAsset(run, *path, event.assetKind(), event.caption(), Asset::Source::MCP);
        break;
    case JournalEvent::Kind::Note:
        break;
    }
}

void JournalIngestor::handleQuestion(const JournalEvent &event, const RunRecord &run)
{
    const auto words = event.question();
    if (!words || !m_workItems)
        return;
    const auto item = autoItem(run);
    if (!item)
        return;
    HumanQuestion question{.id = {},
                           .question = *words,
                           .options = event.options(),
                           .answer = {},
                           .askedAt = event.date(),
                           .answeredAt = {},
                           .dismissedAt = {},
                           .runID = run.id};
    const auto known = m_workItems->item(*item);
    if (wasAsked(question, known) || openQuestionsOf(run, known) >= mostOpenQuestions)
        return;
    question.id = freeQuestionID(event.questionID().value_or(QString()));
    m_workItems->appendQuestion(question, *item);
    if (onQuestion)
        onQuestion(run, question);
}

/// The agent's own id where it can be had. Agents of many runs call their first question "q1", and an answer
/// knows its question by nothing but the id.
QString JournalIngestor::freeQuestionID(const QString &wanted) const
{
    if (wanted.isEmpty())
        return newShortID();
    QString id = wanted;
    for (int number = 2; m_workItems->hasQuestion(id); ++number)
        id = wanted + u'-' + QString::number(number);
    return id;
}

std::optional<QString> JournalIngestor::autoItem(const RunRecord &run)
{
    if (run.workItemID)
        return run.workItemID;
    if (!run.shipID || !m_workItems)
        return std::nullopt;
    // The run's record does not learn of the item, so its second question finds it by the run.
    if (const auto known = m_workItems->itemForRun(run.id))
        return known->id;
    WorkItem item = WorkItem::make(*run.shipID, run.slotName, WorkItem::Origin::User, m_clock.now());
    item.status = WorkItem::Status::Running;
    item.runIDs = {run.id};
    // An item that cannot be stored takes no question, and yet the user is told.
    static_cast<void>(m_workItems->upsert(item));
    return item.id;
}

void JournalIngestor::addAsset(const RunRecord &run, const QString &path, const std::optional<QString> &kind,
                               const std::optional<QString> &caption, Asset::Source source)
{
    if (!m_assets || path.isEmpty())
        return;
    // An agent names files as it sees them, from the folder it works in; its tools name the same file in
    // full.
    const QString named = expandTilde(path, m_home);
    const QString absolute =
        QDir::isAbsolutePath(named) ? named : QDir::cleanPath(QDir(run.cwd).absoluteFilePath(named));
    static_cast<void>(m_assets->register_({.runID = run.id,
                                           .shipID = run.shipID,
                                           .workItemID = run.workItemID,
                                           .path = absolute,
                                           .kindHint = kind,
                                           .caption = caption,
                                           .source = source}));
}

void JournalIngestor::ingest(const TaskResult &result, const RunRecord &run)
{
    for (const auto &artifact : result.artifacts)
        addAsset(run, artifact.path, artifact.kind, artifact.caption, Asset::Source::ResultJSON);
}

std::optional<QString> JournalIngestor::summary(const QUuid &runID) const
{
    const auto found = m_summaries.constFind(runID);
    return found == m_summaries.constEnd() ? std::nullopt : std::optional(*found);
}

std::optional<QString> JournalIngestor::progress(const QUuid &runID) const
{
    const auto found = m_progress.constFind(runID);
    return found == m_progress.constEnd() ? std::nullopt : std::optional(*found);
}

QList<JournalEvent> JournalIngestor::events(const QUuid &runID, qsizetype limit) const
{
    QList<JournalEvent> events;
    double ts = std::numeric_limits<double>::infinity();
    qint64 id = std::numeric_limits<qint64>::max();
    qint64 bytes = 0;
    while (events.size() < limit && bytes < mostEventBytes) {
        const QList<SQLiteRow> rows = rowsBefore(runID, ts, id, std::min(limit - events.size(), pageSize));
        if (rows.isEmpty())
            break;
        for (const SQLiteRow &row : rows) {
            ts = row.double_(u"ts").value_or(0);
            id = row.int64(u"id").value_or(0);
            const QByteArray payload = row.utf8(u"payload").value_or(QByteArray());
            bytes += payload.size();
            // A line without a time of its own was stored with the time it was read at.
            if (auto event = JournalEvent::fromLine(payload, row.date(u"ts").value_or(m_clock.now())))
                events.append(*std::move(event));
        }
    }
    std::ranges::reverse(events);
    return events;
}

/// The next rows of the run back in time, the latest first.
QList<SQLiteRow> JournalIngestor::rowsBefore(const QUuid &runID, double ts, qint64 id, qsizetype limit) const
{
    using V = SQLiteValue;
    const auto rows = m_database.sync([&](SQLiteConnection &connection) {
        return connection.query(u"SELECT id, ts, payload FROM journal WHERE run_id = ? AND (ts, id) < "
                                "(?, ?) ORDER BY ts DESC, id DESC LIMIT ?"_s,
                                {V::uuid(runID), V::double_(ts), V::int_(id), V::int_(limit)});
    });
    return rows.value_or(QList<SQLiteRow>());
}

qint64 JournalIngestor::eventCount(const QUuid &runID) const
{
    const auto rows = m_database.sync([&](SQLiteConnection &connection) {
        return connection.query(u"SELECT COUNT(*) AS count FROM journal WHERE run_id = ?"_s,
                                {SQLiteValue::uuid(runID)});
    });
    return rows && !rows->isEmpty() ? rows->first().int64(u"count").value_or(0) : 0;
}

void JournalIngestor::recordUsage(const RunRecord &run, std::function<void(const RunUsage &)> then)
{
    if (run.sessionID && run.resolvedProvider() == AgentProvider::Claude)
        m_tasks.spawn(readUsage(run, std::move(then)), "JournalIngestor::recordUsage");
}

QCoro::Task<> JournalIngestor::readUsage(RunRecord run, std::function<void(const RunUsage &)> then)
{
    const QPointer<JournalIngestor> self(this);
    auto work = [home = m_home, cwd = run.cwd, session = *run.sessionID] {
        return TranscriptUsageReader::usage(home, cwd, session);
    };
    const auto usage = co_await onPool(std::move(work));
    if (!self || !usage)
        co_return;
    storeSample(run, *usage);
    if (then)
        then(*usage);
}

void JournalIngestor::storeSample(const RunRecord &run, const RunUsage &usage)
{
    using V = SQLiteValue;
    // A sample that cannot be stored is dropped; the run's record still gets its numbers.
    static_cast<void>(m_database.sync([&](SQLiteConnection &connection) {
        return connection.run(u"INSERT INTO usage_samples (run_id, ship_id, session_id, ts, model, input, "
                              u"output, cache_creation, cache_read, "
                              "work_tokens, source) VALUES (?,?,?,?,?,?,?,?,?,?,'transcript')"_s,
                              {V::uuid(run.id), V::optUUID(run.shipID), V::optText(run.sessionID),
                               V::date(m_clock.now()), V::optText(run.model), V::int_(usage.input),
                               V::int_(usage.output), V::int_(usage.cacheCreation), V::int_(usage.cacheRead),
                               V::int_(usage.workTokens())});
    }));
}

} // namespace Keelhaven
