#pragma once

#include "Contract/RecordMapper.h"

namespace Keelhaven {

/// A question to the user that hangs on a work item.
struct HumanQuestion
{
    QString id;       ///< eight characters, or the id that the asking agent gave
    QString question; ///< may hold Markdown
    QStringList options;
    std::optional<QString> answer;
    Date askedAt{};
    std::optional<Date> answeredAt;
    std::optional<Date> dismissedAt;
    std::optional<QUuid> runID; ///< the run that asked

    bool operator==(const HumanQuestion &) const = default;

    [[nodiscard]] bool isOpen() const { return !answeredAt && !dismissedAt; }
};

template <>
struct RecordTable<HumanQuestion>
{
    static auto fields()
    {
        using Q = HumanQuestion;
        return std::tuple{required(u"id", &Q::id),
                          required(u"question", &Q::question),
                          required(u"options", &Q::options),
                          optional(u"answer", &Q::answer),
                          required(u"askedAt", &Q::askedAt),
                          optional(u"answeredAt", &Q::answeredAt),
                          optional(u"dismissedAt", &Q::dismissedAt),
                          optional(u"runID", &Q::runID)};
    }
};

} // namespace Keelhaven
