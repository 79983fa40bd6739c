#pragma once

#include <QByteArray>
#include <QCoroTask>
#include <QList>
#include <QMap>
#include <QString>

namespace Keelhaven {

/// A calendar moment as a per-user job manager takes it: "Month", "Day", "Weekday" (0 = Sunday), "Hour",
/// "Minute"; a missing part matches every value.
using CalendarEntry = QMap<QString, int>;

/// Keeps one per-user job that delivers the wake link at calendar moments.
class JobManager
{
public:
    virtual ~JobManager() = default;

    /// Makes the job `label` fire at exactly these moments; an empty list removes it. Failures are swallowed:
    /// the application's own timers go on while it runs.
    [[nodiscard]] virtual QCoro::Task<> schedule(QString label, QList<CalendarEntry> entries) = 0;
};

/// The answer where no job manager exists: nothing is scheduled.
class NoJobManager : public JobManager
{
public:
    [[nodiscard]] QCoro::Task<> schedule(QString, QList<CalendarEntry>) override { co_return; }
};

} // namespace Keelhaven
