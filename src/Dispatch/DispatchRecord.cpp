#include "Dispatch/DispatchRecord.h"

#include "Platform/Text.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype displayNameCharacters = 40;
constexpr QStringView appEventStart = u"app:";

std::optional<qint64> integerAt(const JSONObject &object, QStringView key)
{
    const JSONValue *value = object.find(key);
    return value ? value->intValue() : std::nullopt;
}

bool isAbsent(const JSONObject &object, QStringView key)
{
    const JSONValue *value = object.find(key);
    return !value || value->isNull();
}

/// The event id that a ledger with numbered messages stands for; messages from the board counted down.
std::optional<QString> eventIDFromUpdate(const JSONObject &object)
{
    const auto number = integerAt(object, u"updateID");
    if (!number)
        return std::nullopt;
    return (*number < 0 ? u"app:"_s : u"tg:"_s) + QString::number(*number);
}

} // namespace

DispatchSource dispatchSourceFrom(ChannelKind channel)
{
    return channel == ChannelKind::Telegram ? DispatchSource::Telegram : DispatchSource::Slack;
}

bool isSettled(DispatchStatus status)
{
    switch (status) {
    case DispatchStatus::Received:
    case DispatchStatus::Dispatching:
    case DispatchStatus::TaskCreated:
    case DispatchStatus::Continuing:
        return false;
    case DispatchStatus::Rejected:
    case DispatchStatus::Failed:
    case DispatchStatus::Completed:
    case DispatchStatus::Cancelled:
    case DispatchStatus::Forwarded:
    case DispatchStatus::Answered:
        break;
    }
    return true;
}

QString DispatchRecord::displayName() const
{
    return taskName.value_or(firstCharacters(messageText, displayNameCharacters));
}

QString DispatchRecord::newID()
{
    return newShortID();
}

DispatchRecord DispatchRecord::fromApp(const QString &text, Date now)
{
    DispatchRecord record;
    record.id = newID();
    record.eventID = appEventStart.toString() + newID();
    record.receivedAt = now;
    record.messageText = text;
    record.source = Source::App;
    return record;
}

void RecordTable<DispatchRecord::FollowUp>::decoded(DispatchRecord::FollowUp &followUp,
                                                    const JSONObject &object)
{
    if (!followUp.eventID)
        followUp.eventID = eventIDFromUpdate(object);
}

void RecordTable<DispatchRecord>::decoded(DispatchRecord &record, const JSONObject &object)
{
    if (isAbsent(object, u"eventID"))
        record.eventID = eventIDFromUpdate(object).value_or(QString());
    if (!record.chat) {
        if (const auto chat = integerAt(object, u"chatID"))
            record.chat = ChatAddress{ChannelKind::Telegram, QString::number(*chat)};
    }
    if (isAbsent(object, u"source"))
        record.source =
            record.eventID.startsWith(appEventStart) ? DispatchSource::App : DispatchSource::Telegram;
    const JSONValue *messages = object.find(u"messageIDs");
    const JSONArray *array = messages ? messages->arrayValue() : nullptr;
    if (record.messageIDs.isEmpty() && array) {
        for (const auto &element : *array) {
            if (const auto number = element.intValue())
                record.messageIDs.append(QString::number(*number));
            else if (const auto text = element.stringValue())
                record.messageIDs.append(*text);
        }
    }
}

} // namespace Keelhaven
