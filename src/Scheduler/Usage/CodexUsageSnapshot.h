#pragma once

#include "Contract/RecordMapper.h"

namespace Keelhaven {

/// The rate limits of a Codex account as they stood at one moment. They are shown; they hold no run back.
struct CodexUsageSnapshot
{
    struct Window
    {
        double usedPercent = 0; ///< share of the window used
        std::optional<qint64> windowDurationMins;
        std::optional<double> resetsAt; ///< end of the window, seconds since 1970

        bool operator==(const Window &) const = default;

        /// 0 to 100, cut.
        [[nodiscard]] int percent() const;
        [[nodiscard]] std::optional<Date> resetDate() const;
        /// "{n}% used; {n}% remaining".
        [[nodiscard]] QString caption() const;
    };

    struct Bucket
    {
        std::optional<Window> primary;
        std::optional<Window> secondary;
    };

    /// What the app server answers to "account/rateLimits/read".
    struct Response
    {
        std::optional<Bucket> rateLimits;
        std::optional<QMap<QString, Bucket>> rateLimitsByLimitId;
    };

    std::optional<Window> session; ///< shorter than a week, or of unknown length
    std::optional<Window> weekly;  ///< exactly a week
    Date fetchedAt = distantPast;

    bool operator==(const CodexUsageSnapshot &) const = default;

    /// The windows under their names "Session" and "Weekly", as far as they are known.
    [[nodiscard]] QList<std::pair<QString, Window>> meters() const;

    /// Nothing when the bytes are no such answer or hold no window.
    [[nodiscard]] static std::optional<CodexUsageSnapshot> parse(QByteArrayView data, Date now);
};

template <>
struct RecordTable<CodexUsageSnapshot::Window>
{
    static auto fields()
    {
        using W = CodexUsageSnapshot::Window;
        return std::tuple{required(u"usedPercent", &W::usedPercent),
                          optional(u"windowDurationMins", &W::windowDurationMins),
                          optional(u"resetsAt", &W::resetsAt)};
    }
};

template <>
struct RecordTable<CodexUsageSnapshot::Bucket>
{
    static auto fields()
    {
        using B = CodexUsageSnapshot::Bucket;
        return std::tuple{optional(u"primary", &B::primary), optional(u"secondary", &B::secondary)};
    }
};

template <>
struct RecordTable<CodexUsageSnapshot::Response>
{
    static auto fields()
    {
        using R = CodexUsageSnapshot::Response;
        return std::tuple{optional(u"rateLimits", &R::rateLimits),
                          optional(u"rateLimitsByLimitId", &R::rateLimitsByLimitId)};
    }
};

} // namespace Keelhaven
