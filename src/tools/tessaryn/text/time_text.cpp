// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/time_text.h"

#include <Poco/Ascii.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <utility>

namespace velmora::tool {

namespace {

constexpr std::int64_t microsecondsPerSecond = 1'000'000;
constexpr std::int64_t microsecondsPerMinute = 60 * microsecondsPerSecond;
constexpr std::int64_t microsecondsPerHour = 60 * microsecondsPerMinute;
constexpr std::int64_t microsecondsPerDay = 24 * microsecondsPerHour;

std::optional<std::int64_t> CheckRange(std::int64_t time) {
    return time >= minTime && time <= maxTime ? std::optional(time) : std::nullopt;
}

// Parses a text from its front.
class Cursor {
  public:
    explicit Cursor(std::string_view text) : rest(text) {}

    bool AtEnd() const { return rest.empty(); }

    bool Take(char c) {
        if (rest.empty() || rest.front() != c) {
            return false;
        }
        rest.remove_prefix(1);
        return true;
    }

    bool TakeAny(std::string_view characters, char& found) {
        if (rest.empty() || characters.find(rest.front()) == std::string_view::npos) {
            return false;
        }
        found = rest.front();
        rest.remove_prefix(1);
        return true;
    }

    // One or two digits with a value up to a limit.
    bool TakeShortNumber(int limit, int& value) {
        const bool two = rest.size() > 1 && Poco::Ascii::isDigit(rest[1]);
        return TakeNumber(two ? 2 : 1, limit, value);
    }

    // Exactly that many digits with a value up to a limit.
    bool TakeNumber(std::size_t digits, int limit, int& value) {
        if (rest.size() < digits) {
            return false;
        }
        value = 0;
        for (std::size_t i = 0; i < digits; ++i) {
            if (!Poco::Ascii::isDigit(rest[i])) {
                return false;
            }
            value = 10 * value + (rest[i] - '0');
        }
        rest.remove_prefix(digits);
        return value <= limit;
    }

    // The digits of a fraction, at least one; the value counts units of 10^-places.
    bool TakeFraction(int places, std::int64_t& value) {
        if (rest.empty() || !Poco::Ascii::isDigit(rest.front())) {
            return false;
        }
        value = 0;
        for (; !rest.empty() && Poco::Ascii::isDigit(rest.front()); rest.remove_prefix(1)) {
            if (places-- > 0) {
                value = 10 * value + (rest.front() - '0');
            }
        }
        for (; places > 0; --places) {
            value *= 10;
        }
        return true;
    }

    bool TakeInteger(std::int64_t& value) {
        const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
        if (error != std::errc() || value < 0) {
            return false;
        }
        rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
        return true;
    }

  private:
    std::string_view rest;
};

bool MakeDate(int year, int month, int day, std::int64_t& time) {
    using namespace std::chrono;
    const year_month_day date{std::chrono::year(year),
                              std::chrono::month(static_cast<unsigned int>(month)),
                              std::chrono::day(static_cast<unsigned int>(day))};
    if (!date.ok()) {
        return false;
    }
    time = std::int64_t{sys_days(date).time_since_epoch().count()} * microsecondsPerDay;
    return true;
}

bool ReadDate(Cursor& in, std::int64_t& time) {
    int year = 0;
    int month = 0;
    int day = 0;
    return in.TakeNumber(4, 9999, year) && in.Take('-') && in.TakeNumber(2, 12, month) &&
           in.Take('-') && in.TakeNumber(2, 31, day) && MakeDate(year, month, day, time);
}

// "AM" or "PM", if it follows: turns an hour of twelve into one of 24.
bool TakeHalfOfDay(Cursor& in, int& hour) {
    Cursor ahead = in;
    ahead.Take(' ');
    char half = '\0';
    if (!ahead.TakeAny("aApP", half) || !(ahead.Take('m') || ahead.Take('M'))) {
        return true;
    }
    if (hour < 1 || hour > 12) {
        return false;
    }
    hour = hour % 12 + (Poco::Ascii::toLower(half) == 'p' ? 12 : 0);
    in = ahead;
    return true;
}

// A date such as 29.3.2026 or 03/29/2026.
bool ReadOrderedDate(Cursor& in, DateOrder order, std::int64_t& time) {
    int parts[2] = {};
    int year = 0;
    char separator = '\0';
    for (int& part : parts) {
        if (!in.TakeShortNumber(31, part) || !in.TakeAny("./-", separator)) {
            return false;
        }
    }
    if (!in.TakeNumber(4, 9999, year)) {
        return false;
    }
    in.Take(',');
    const bool dayFirst = order == DateOrder::dayFirst;
    return MakeDate(year, parts[dayFirst ? 1 : 0], parts[dayFirst ? 0 : 1], time);
}

bool ReadClock(Cursor& in, std::int64_t& time, bool& isLeapSecond, bool shortHour = false) {
    int hour = 0;
    int minute = 0;
    int second = 0;
    std::int64_t fraction = 0;
    if (!(shortHour ? in.TakeShortNumber(23, hour) : in.TakeNumber(2, 23, hour)) || !in.Take(':') ||
        !in.TakeNumber(2, 59, minute)) {
        return false;
    }
    if (in.Take(':')) {
        if (!in.TakeNumber(2, 60, second)) {
            return false;
        }
        if ((in.Take('.') || in.Take(',')) && !in.TakeFraction(6, fraction)) {
            return false;
        }
    }
    if (shortHour && !TakeHalfOfDay(in, hour)) {
        return false;
    }
    isLeapSecond = second == 60;
    time += hour * microsecondsPerHour + minute * microsecondsPerMinute +
            second * microsecondsPerSecond + fraction;
    return true;
}

// Reads a zone, if there is one.
bool ReadZone(Cursor& in, std::int64_t& time, bool& hasZone) {
    hasZone = !in.AtEnd();
    if (!hasZone || in.Take('Z') || in.Take('z')) {
        return true;
    }
    in.Take(' ');
    const bool east = in.Take('+');
    if (!east && !in.Take('-')) {
        return false;
    }
    int hours = 0;
    int minutes = 0;
    if (!in.TakeNumber(2, 23, hours)) {
        return false;
    }
    const bool colon = in.Take(':');
    if ((colon || !in.AtEnd()) && !in.TakeNumber(2, 59, minutes)) {
        return false;
    }
    const std::int64_t ahead = hours * microsecondsPerHour + minutes * microsecondsPerMinute;
    time += east ? -ahead : ahead;
    return true;
}

// Decimal places of the unit's fraction down to microseconds.
constexpr int GetPlaces(EpochUnit unit) {
    return unit == EpochUnit::seconds ? 6 : unit == EpochUnit::milliseconds ? 3 : 0;
}

void AppendDigits(std::string& out, std::int64_t value, int digits) {
    const std::size_t begin = out.size();
    out.append(static_cast<std::size_t>(digits), '0');
    for (auto at = begin + static_cast<std::size_t>(digits); at > begin; value /= 10) {
        out[--at] = static_cast<char>('0' + value % 10);
    }
}

}  // namespace

std::optional<TimeParts> ParseTime(std::string_view text, DateOrder order) {
    Cursor in(text);
    TimeParts parts;
    const bool isOrdered = order != DateOrder::yearFirst;
    if (!(isOrdered ? ReadOrderedDate(in, order, parts.time) : ReadDate(in, parts.time))) {
        return std::nullopt;
    }
    if (!in.AtEnd()) {
        bool isLeapSecond = false;
        parts.hasClock = true;
        if (!in.Take('T') && !in.Take(' ') && !in.Take('t')) {
            return std::nullopt;
        }
        if (!ReadClock(in, parts.time, isLeapSecond, isOrdered) ||
            !ReadZone(in, parts.time, parts.hasZone) || !in.AtEnd()) {
            return std::nullopt;
        }
        // A leap second is the last of a day in UTC; its microseconds are those of the next day.
        if (isLeapSecond &&
            (parts.time < 0 || parts.time % microsecondsPerDay >= microsecondsPerSecond)) {
            return std::nullopt;
        }
    }
    return CheckRange(parts.time) ? std::optional(parts) : std::nullopt;
}

std::optional<std::int64_t> ParseIsoTime(std::string_view text) {
    const std::optional<TimeParts> parts = ParseTime(text);
    return parts ? std::optional(parts->time) : std::nullopt;
}

std::optional<std::int64_t> ParseClock(std::string_view text) {
    Cursor in(text);
    std::int64_t time = 0;
    bool isLeapSecond = false;
    const bool isClock = ReadClock(in, time, isLeapSecond, true) && in.AtEnd() && !isLeapSecond;
    return isClock ? std::optional(time) : std::nullopt;
}

std::optional<EpochUnit> GuessEpochUnit(std::string_view text) {
    Cursor in(text);
    in.Take('-');
    std::int64_t integer = 0;
    std::int64_t fraction = 0;
    if (!in.TakeInteger(integer) || (in.Take('.') && !in.TakeFraction(0, fraction)) ||
        !in.AtEnd()) {
        return std::nullopt;
    }
    if (integer < 100'000'000'000) {
        return EpochUnit::seconds;
    }
    if (integer < 100'000'000'000'000) {
        return EpochUnit::milliseconds;
    }
    return integer < 100'000'000'000'000'000 ? EpochUnit::microseconds : EpochUnit::nanoseconds;
}

std::optional<std::int64_t> ParseEpochTime(std::string_view text, EpochUnit unit) {
    Cursor in(text);
    const bool negative = in.Take('-');
    const int places = GetPlaces(unit);
    std::int64_t time = 0;
    std::int64_t fraction = 0;
    if (!in.TakeInteger(time) || (in.Take('.') && !in.TakeFraction(places, fraction)) ||
        !in.AtEnd()) {
        return std::nullopt;
    }
    if (unit == EpochUnit::nanoseconds) {
        time /= 1000;
    }
    for (int i = 0; i < places; ++i) {
        if (time > maxTime) {
            return std::nullopt;
        }
        time *= 10;
    }
    if (time > maxTime) {
        return std::nullopt;
    }
    time += fraction;
    return CheckRange(negative ? -time : time);
}

void AppendTime(std::string& out, std::int64_t time, std::optional<std::int64_t> offset) {
    using namespace std::chrono;
    const auto point = sys_time<microseconds>(microseconds(time + offset.value_or(0)));
    const auto midnight = floor<days>(point);
    const year_month_day date(midnight);
    std::int64_t rest = (point - midnight).count();
    AppendDigits(out, int{date.year()}, 4);
    out += '-';
    AppendDigits(out, unsigned{date.month()}, 2);
    out += '-';
    AppendDigits(out, unsigned{date.day()}, 2);
    out += 'T';
    AppendDigits(out, rest / microsecondsPerHour, 2);
    out += ':';
    AppendDigits(out, rest % microsecondsPerHour / microsecondsPerMinute, 2);
    out += ':';
    AppendDigits(out, rest % microsecondsPerMinute / microsecondsPerSecond, 2);
    rest %= microsecondsPerSecond;
    if (rest != 0) {
        out += '.';
        const bool milliseconds = rest % 1000 == 0;
        AppendDigits(out, milliseconds ? rest / 1000 : rest, milliseconds ? 3 : 6);
    }
    if (!offset) {
        out += 'Z';
        return;
    }
    const std::int64_t minutes = std::abs(*offset) / microsecondsPerMinute;
    out += *offset < 0 ? '-' : '+';
    AppendDigits(out, minutes / 60, 2);
    out += ':';
    AppendDigits(out, minutes % 60, 2);
}

std::string FormatDuration(std::int64_t microseconds) {
    constexpr std::pair<const char*, std::int64_t> units[] = {
        {"d", microsecondsPerDay}, {"h", microsecondsPerHour}, {"m", microsecondsPerMinute}};
    if (microseconds < 0) {
        return "-" + FormatDuration(-microseconds);
    }
    std::string text;
    for (const auto& [name, length] : units) {
        if (microseconds >= length) {
            text += (text.empty() ? "" : " ") + std::to_string(microseconds / length) + name;
            microseconds %= length;
        }
    }
    if (microseconds > 0 || text.empty()) {
        const bool seconds = microseconds == 0 || microseconds >= microsecondsPerSecond;
        std::array<char, 32> digits{};
        const auto [end, error] = std::to_chars(
            digits.data(), digits.data() + digits.size(),
            static_cast<double>(microseconds) / static_cast<double>(seconds ? 1'000'000 : 1000));
        text +=
            (text.empty() ? "" : " ") + std::string(digits.data(), end) + (seconds ? "s" : "ms");
    }
    return text;
}

std::optional<std::chrono::microseconds> ParseDuration(std::string_view text) {
    constexpr double maxLength = 100.0 * 366 * microsecondsPerDay;
    double number = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number, std::chars_format::fixed);
    if (error != std::errc()) {
        return std::nullopt;
    }
    const std::string_view unit(end, static_cast<std::size_t>(last - end));
    constexpr std::pair<std::string_view, double> units[] = {{"", microsecondsPerSecond},
                                                             {"us", 1},
                                                             {"ms", 1000},
                                                             {"s", microsecondsPerSecond},
                                                             {"m", microsecondsPerMinute},
                                                             {"h", microsecondsPerHour},
                                                             {"d", microsecondsPerDay}};
    for (const auto& [name, factor] : units) {
        const double length = number * factor;
        if (name == unit && length >= 1 && length <= maxLength) {
            return std::chrono::microseconds(static_cast<std::int64_t>(length));
        }
    }
    return std::nullopt;
}

}  // namespace velmora::tool
