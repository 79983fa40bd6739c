#include "Contract/Models/EventRecord.h"

#include "Contract/RecordMapper.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

template <>
struct RecordTable<EventRecord>
{
    static auto fields()
    {
        using E = EventRecord;
        return std::tuple{defaulted(u"ts", &E::ts).lenient(),
                          defaulted(u"type", &E::type).lenient(),
                          optional(u"session_id", &E::sessionId).lenient(),
                          optional(u"provider", &E::provider).lenient(),
                          optional(u"run_id", &E::runID).lenient(),
                          optional(u"turn_id", &E::turnID).lenient(),
                          optional(u"agent_id", &E::agentID).lenient(),
                          optional(u"cwd", &E::cwd).lenient(),
                          optional(u"last_message", &E::lastMessage).lenient(),
                          optional(u"tool_name", &E::toolName).lenient(),
                          optional(u"target", &E::target).lenient(),
                          optional(u"repo_hint", &E::repoHint).lenient(),
                          optional(u"note", &E::note).lenient(),
                          optional(u"agent_type", &E::agentType).lenient(),
                          optional(u"title", &E::sessionTitle).lenient(),
                          optional(u"repo", &E::repo).lenient()};
    }
};

EventRecord EventRecord::fromJSON(JSONObject object)
{
    const JSONValue json(std::move(object));
    auto record = decodeRecord<EventRecord>(json).value_or(EventRecord{});
    record.raw = *json.objectValue();
    return record;
}

std::optional<EventRecord> EventRecord::fromLine(QByteArrayView line, double above)
{
    if (line.trimmed().isEmpty())
        return std::nullopt;
    const auto json = JSONValue::parse(line);
    if (!json || !json->objectValue())
        return std::nullopt;
    // Most of a backlog ends here, at a small part of what a record costs.
    const JSONValue *ts = json->objectValue()->find(u"ts");
    if ((ts ? ts->doubleValue() : std::nullopt).value_or(0) <= above)
        return std::nullopt;
    return fromJSON(*json->objectValue());
}

std::optional<EventRecord> EventRecord::fromLine(QStringView line)
{
    const QByteArray bytes = line.toUtf8();
    return fromLine(QByteArrayView(bytes));
}

QString EventRecord::id() const
{
    return JSONValue(ts).serialized() + u'-' + type + u'-' + sessionId.value_or(QString());
}

EventRecord EventRecord::tagged(const QString &repository) const
{
    EventRecord copy = *this;
    copy.repo = repository;
    return copy;
}

} // namespace Keelhaven
