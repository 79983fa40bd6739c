#pragma once

#include "Contract/JSONValue.h"
#include "Platform/Moments.h"

namespace Keelhaven {

/// The usage meters of a Claude account as they stood at one moment.
struct UsageSnapshot
{
    struct Meter
    {
        /// Which limit the meter stands for.
        struct Kind
        {
            enum class Type { Session, WeeklyAll, WeeklyModel };

            Type type = Type::Session;
            QString displayName; ///< the model's; WeeklyModel only

            bool operator==(const Kind &) const = default;
            [[nodiscard]] static Kind session() { return {}; }
            [[nodiscard]] static Kind weeklyAll() { return {Type::WeeklyAll, {}}; }
            [[nodiscard]] static Kind weeklyModel(const QString &name) { return {Type::WeeklyModel, name}; }
            [[nodiscard]] bool isWeekly() const { return type != Type::Session; }
        };

        Kind kind;
        int percent = 0; ///< share of the window used, 0 and up
        std::optional<Date> resetsAt;
        bool isActive = false;  ///< this limit is the one applied now
        int estimatedExtra = 0; ///< points of `percent` that are estimated, not measured

        bool operator==(const Meter &) const = default;

        /// A week, or five hours.
        [[nodiscard]] Span windowLength() const;
        /// "Session (5h)", "Week · all models", "Week · {model}".
        [[nodiscard]] QString label() const;
        /// How much of a weekly meter's running window has passed, between 0 and 1 exclusive. Nothing for a
        /// session meter and when the window is not running now.
        [[nodiscard]] std::optional<double> weekElapsedFraction(Date now) const;
    };

    Date fetchedAt = distantPast;
    QList<Meter> meters;

    bool operator==(const UsageSnapshot &) const = default;

    /// The first session meter.
    [[nodiscard]] std::optional<Meter> sessionMeter() const;
    [[nodiscard]] QList<Meter> weeklyMeters() const;
    /// Whether `at` is more than `tolerance` after the measurement.
    [[nodiscard]] bool isStale(Date at, Span tolerance) const;

    /// From the CLI's own ".claude.json".
    [[nodiscard]] static std::optional<UsageSnapshot> parse(QByteArrayView claudeJSON);
    /// From the body of the usage endpoint.
    [[nodiscard]] static std::optional<UsageSnapshot> parse(QByteArrayView usageAPIResponse, Date fetchedAt);
    /// From the object that both hold. Nothing when it holds no meter.
    [[nodiscard]] static std::optional<UsageSnapshot> parse(const JSONValue &utilization, Date fetchedAt);
};

/// Projects measured meters to the present from the tokens that this program's own runs used since.
namespace UsageEstimate {

/// A meter never moves by more than this many points.
inline constexpr int maximumExtra = 25;

/// `tokens(from, to)` gives the work tokens used from `from` up to, not including, `to`.
[[nodiscard]] UsageSnapshot project(const UsageSnapshot &snapshot, Date now,
                                    const std::function<qint64(Date from, Date to)> &tokens);

} // namespace UsageEstimate

} // namespace Keelhaven
