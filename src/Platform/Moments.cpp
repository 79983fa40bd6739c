#include "Platform/Moments.h"

#include <QTimeZone>
#include <algorithm>
#include <cmath>

namespace Keelhaven {

namespace {

/// Writes `digits` decimal digits, zeros in front, and gives the place behind them.
char *putDigits(char *at, int value, int digits)
{
    for (int i = digits - 1; i >= 0; --i, value /= 10)
        at[i] = static_cast<char>('0' + value % 10);
    return at + digits;
}

/// Writes "2026-03-04", then `between`, then "05:06", and gives the place behind them.
char *putDayAndMinute(char *at, std::chrono::sys_days day, char between, int hour, int minute)
{
    const std::chrono::year_month_day date(day);
    at = putDigits(at, static_cast<int>(date.year()), 4);
    *at++ = '-';
    at = putDigits(at, static_cast<int>(static_cast<unsigned>(date.month())), 2);
    *at++ = '-';
    at = putDigits(at, static_cast<int>(static_cast<unsigned>(date.day())), 2);
    *at++ = between;
    at = putDigits(at, hour, 2);
    *at++ = ':';
    return putDigits(at, minute, 2);
}

/// The years that ISO text can name; no two moments in them are further apart than a span can hold.
constexpr Date earliest = std::chrono::sys_days(std::chrono::year(1) / 1 / 1);
constexpr Date latest = Date(std::chrono::sys_days(std::chrono::year(10000) / 1 / 1)) - Span(1);

} // namespace

double secondsSince1970(Date date)
{
    return static_cast<double>(date.time_since_epoch().count()) / 1e6;
}

Date dateFromSeconds(double value)
{
    return std::clamp(Date(seconds(value)), earliest, latest);
}

Span seconds(double value)
{
    constexpr double limit = 9e18;
    const double micros = std::isnan(value) ? 0.0 : std::clamp(std::round(value * 1e6), -limit, limit);
    return Span(static_cast<Span::rep>(micros));
}

QDateTime toQDateTime(Date date)
{
    return QDateTime::fromMSecsSinceEpoch(
        std::chrono::floor<std::chrono::milliseconds>(date).time_since_epoch().count());
}

Date fromQDateTime(const QDateTime &date)
{
    return Date(std::chrono::milliseconds(date.toMSecsSinceEpoch()));
}

std::array<char, 24> isoCharacters(Date date)
{
    const auto moment = std::chrono::floor<std::chrono::milliseconds>(std::clamp(date, earliest, latest));
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    const std::chrono::hh_mm_ss time(moment - day);
    std::array<char, 24> text;
    char *at = putDayAndMinute(text.data(), day, 'T', static_cast<int>(time.hours().count()),
                               static_cast<int>(time.minutes().count()));
    *at++ = ':';
    at = putDigits(at, static_cast<int>(time.seconds().count()), 2);
    *at++ = '.';
    at = putDigits(at, static_cast<int>(time.subseconds().count()), 3);
    *at = 'Z';
    return text;
}

QString isoText(Date date)
{
    return QLatin1StringView(QByteArrayView(isoCharacters(date)));
}

std::array<char, 16> dayAndMinute(std::chrono::sys_days day, int hour, int minute)
{
    std::array<char, 16> text;
    putDayAndMinute(text.data(), day, ' ', hour, minute);
    return text;
}

namespace {

/// Reads exactly `digits` decimal digits at `at` and moves past them.
std::optional<int> number(QStringView text, qsizetype &at, int digits)
{
    if (at + digits > text.size())
        return std::nullopt;
    int value = 0;
    for (int i = 0; i < digits; ++i) {
        const char16_t c = text[at + i].unicode();
        if (c < u'0' || c > u'9')
            return std::nullopt;
        value = value * 10 + (c - u'0');
    }
    at += digits;
    return value;
}

bool literal(QStringView text, qsizetype &at, QChar expected)
{
    if (at >= text.size() || text[at] != expected)
        return false;
    ++at;
    return true;
}

/// Fraction of a second in microseconds; digits beyond the sixth are cut. The "." is already behind `at`.
std::optional<int> fraction(QStringView text, qsizetype &at)
{
    int micros = 0;
    int scale = 100000;
    const qsizetype start = at;
    for (; at < text.size() && text[at] >= u'0' && text[at] <= u'9'; ++at) {
        micros += (text[at].unicode() - u'0') * scale;
        scale /= 10;
    }
    if (at == start)
        return std::nullopt;
    return micros;
}

/// Seconds east of UTC of "Z", "+02:00", "-0330".
std::optional<int> zoneOffset(QStringView text, qsizetype &at)
{
    if (literal(text, at, u'Z'))
        return 0;
    const int sign = literal(text, at, u'+') ? 1 : literal(text, at, u'-') ? -1 : 0;
    if (sign == 0)
        return std::nullopt;
    const auto hours = number(text, at, 2);
    literal(text, at, u':');
    const auto minutes = number(text, at, 2);
    if (!hours || !minutes || *hours > 23 || *minutes > 59)
        return std::nullopt;
    return sign * (*hours * 3600 + *minutes * 60);
}

enum class Fraction { Required, Optional };

std::optional<Date> parse(QStringView text, Fraction rule)
{
    qsizetype at = 0;
    const auto year = number(text, at, 4);
    const bool dash1 = literal(text, at, u'-');
    const auto month = number(text, at, 2);
    const bool dash2 = literal(text, at, u'-');
    const auto day = number(text, at, 2);
    const bool t = literal(text, at, u'T');
    const auto hour = number(text, at, 2);
    const bool colon1 = literal(text, at, u':');
    const auto minute = number(text, at, 2);
    const bool colon2 = literal(text, at, u':');
    const auto second = number(text, at, 2);
    if (!year || !month || !day || !hour || !minute || !second || !dash1 || !dash2 || !t || !colon1 ||
        !colon2)
        return std::nullopt;
    std::optional<int> micros = 0;
    if (literal(text, at, u'.'))
        micros = fraction(text, at);
    else if (rule == Fraction::Required)
        return std::nullopt;
    const auto offset = zoneOffset(text, at);
    if (!micros || !offset || at != text.size())
        return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year(*year),
                                           std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(*day))};
    if (!date.ok() || *hour > 23 || *minute > 59 || *second > 59)
        return std::nullopt;
    return Date(std::chrono::sys_days(date)) + std::chrono::hours(*hour) + std::chrono::minutes(*minute) +
           std::chrono::seconds(*second - *offset) + std::chrono::microseconds(*micros);
}

} // namespace

std::optional<Date> dateFromISOText(QStringView text)
{
    return parse(text, Fraction::Required);
}

std::optional<Date> dateFromLooseISOText(QStringView text)
{
    return parse(text, Fraction::Optional);
}

} // namespace Keelhaven
