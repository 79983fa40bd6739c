#pragma once

#include "Contract/JSONValue.h"
#include "Platform/Moments.h"

#include <QUuid>
#include <limits>
#include <optional>

namespace Keelhaven {

/// One hook event of an agent session: a line of the shared events.jsonl or of a Codex run's own hook log. It
/// is only ever read. A key of the wrong type counts as absent; unknown keys stay in `raw`.
struct EventRecord
{
    JSONObject raw;
    double ts = 0; ///< seconds since 1970; 0 when the line has none
    QString type;
    std::optional<QString> sessionId;
    std::optional<QString> provider;
    std::optional<QUuid> runID; ///< the launch run id
    std::optional<QString> turnID;
    std::optional<QString> agentID;
    std::optional<QString> cwd;
    std::optional<QString> lastMessage;
    std::optional<QString> toolName;
    std::optional<QString> target;
    std::optional<QString> repoHint;
    std::optional<QString> note;
    std::optional<QString> agentType;
    std::optional<QString> sessionTitle;
    std::optional<QString> repo;

    /// Any object is an event; what it lacks stays at the defaults above.
    [[nodiscard]] static EventRecord fromJSON(JSONObject object);

    /// Nothing for a blank line, bad JSON or anything but an object, or when its `ts` is not above `above`.
    [[nodiscard]] static std::optional<EventRecord>
    fromLine(QByteArrayView line, double above = -std::numeric_limits<double>::infinity());
    [[nodiscard]] static std::optional<EventRecord> fromLine(QStringView line);

    /// "{ts}-{type}-{sessionId}"; the last part is empty without a session.
    [[nodiscard]] QString id() const;
    [[nodiscard]] Date date() const { return dateFromSeconds(ts); }

    /// A copy that belongs to `repository`.
    [[nodiscard]] EventRecord tagged(const QString &repository) const;

    bool operator==(const EventRecord &) const = default;
};

} // namespace Keelhaven
