#include "Journal/JournalEvent.h"

#include <QFileInfo>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

std::optional<QString> textMember(const JSONObject &object, QStringView key)
{
    const JSONValue *value = object.find(key);
    return value ? value->stringValue() : std::nullopt;
}

} // namespace

std::optional<JournalEvent> JournalEvent::fromLine(QByteArrayView line, Date now)
{
    if (line.trimmed().isEmpty())
        return std::nullopt;
    const auto json = JSONValue::parse(line);
    if (!json || !json->objectValue())
        return std::nullopt;
    JournalEvent event;
    event.raw = *json->objectValue();
    const auto type = textMember(event.raw, u"type");
    const auto kind = type ? enumFromText<Kind>(*type) : std::nullopt;
    if (!kind)
        return std::nullopt;
    event.kind = *kind;
    const JSONValue *ts = event.raw.find(u"ts");
    event.ts = (ts ? ts->doubleValue() : std::nullopt).value_or(secondsSince1970(now));
    event.launchRunID = textMember(event.raw, u"run_id");
    return event;
}

QString JournalEvent::id() const
{
    return JSONValue(ts).serialized() + u'-' + enumText(kind);
}

std::optional<QString> JournalEvent::text() const
{
    return textMember(raw, u"text");
}
std::optional<QString> JournalEvent::path() const
{
    return textMember(raw, u"path");
}
std::optional<QString> JournalEvent::assetKind() const
{
    return textMember(raw, u"kind");
}
std::optional<QString> JournalEvent::caption() const
{
    return textMember(raw, u"caption");
}
std::optional<QString> JournalEvent::questionID() const
{
    return textMember(raw, u"id");
}

std::optional<QString> JournalEvent::question() const
{
    const auto asked = textMember(raw, u"question");
    return asked ? asked : text();
}

QStringList JournalEvent::options() const
{
    QStringList options;
    const JSONValue *value = raw.find(u"options");
    const JSONArray *array = value ? value->arrayValue() : nullptr;
    if (!array)
        return options;
    for (const JSONValue &option : *array) {
        if (const auto words = option.stringValue())
            options.append(*words);
    }
    return options;
}

QString JournalEvent::summaryLine() const
{
    switch (kind) {
    case Kind::Progress:
    case Kind::Summary:
    case Kind::Note:
        return text().value_or(QString());
    case Kind::Question:
        return question().value_or(QString());
    case Kind::Asset:
        break;
    }
    const QString name = QFileInfo(path().value_or(QString())).fileName();
    const auto words = caption();
    return words ? name + u" — "_s + *words : name;
}

} // namespace Keelhaven
