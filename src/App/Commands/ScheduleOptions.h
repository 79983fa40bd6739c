#pragma once

#include "App/CommandLine.h"
#include "Platform/Calendar.h"
#include "Scheduler/Model/ScheduleSpec.h"

namespace Keelhaven {

/// The schedule of an agent as it is typed. The checks give the end of a sentence about a value that is no
/// such thing.
namespace ScheduleOptions {

/// HH:MM, several joined by commas.
[[nodiscard]] std::optional<QString> checkTimes(QStringView text);
/// DAYS@HH:MM, days by name and joined by commas: mon,fri@08:30
[[nodiscard]] std::optional<QString> checkWeekly(QStringView text);
/// N or N@FROM-TO: 2@9-17
[[nodiscard]] std::optional<QString> checkEveryHours(QStringView text);
/// 2026-03-04T09:30:00Z, or without a zone in the user's own.
[[nodiscard]] std::optional<QString> checkOnce(QStringView text);

/// More than one kind of schedule in a command line is one too many.
[[nodiscard]] std::optional<QString> checkTogether(const Arguments &arguments);

/// The schedule that the checked options --daily, --weekly, --every-hours and --once say; nothing without
/// one.
[[nodiscard]] std::optional<ScheduleSpec> read(const Arguments &arguments, const Calendar &calendar);

} // namespace ScheduleOptions

} // namespace Keelhaven
