// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/time_text.h"

#include <Poco/Ascii.h>

#include <charconv>
#include <cstddef>
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

bool ReadDate(Cursor& in, std::int64_t& time) {
    int year = 0;
    int month = 0;
    int day = 0;
    if (!in.TakeNumber(4, 9999, year) || !in.Take('-') || !in.TakeNumber(2, 12, month) ||
        !in.Take('-') || !in.TakeNumber(2, 31, day)) {
        return false;
    }
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

bool ReadClock(Cursor& in, std::int64_t& time, bool& isLeapSecond) {
    int hour = 0;
    int minute = 0;
    int second = 0;
    std::int64_t fraction = 0;
    if (!in.TakeNumber(2, 23, hour) || !in.Take(':') || !in.TakeNumber(2, 59, minute)) {
        return false;
    }
    if (in.Take(':')) {
        if (!in.TakeNumber(2, 60, second)) {
            return false;
        }
        if (in.Take('.') && !in.TakeFraction(6, fraction)) {
            return false;
        }
    }
    isLeapSecond = second == 60;
    time += hour * microsecondsPerHour + minute * microsecondsPerMinute +
            second * microsecondsPerSecond + fraction;
    return true;
}

bool ReadZone(Cursor& in, std::int64_t& time) {
    if (in.AtEnd() || in.Take('Z') || in.Take('z')) {
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

// Decimal places of a fraction of the unit that make microseconds.
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

std::optional<std::int64_t> ParseIsoTime(std::string_view text) {
    Cursor in(text);
    std::int64_t time = 0;
    if (!ReadDate(in, time)) {
        return std::nullopt;
    }
    if (in.AtEnd()) {
        return CheckRange(time);
    }
    if (!in.Take('T') && !in.Take(' ') && !in.Take('t')) {
        return std::nullopt;
    }
    bool isLeapSecond = false;
    if (!ReadClock(in, time, isLeapSecond) || !ReadZone(in, time) || !in.AtEnd()) {
        return std::nullopt;
    }
    // A leap second is the last of a day in UTC; its microseconds are those of the next day.
    if (isLeapSecond && (time < 0 || time % microsecondsPerDay >= microsecondsPerSecond)) {
        return std::nullopt;
    }
    return CheckRange(time);
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

void AppendTime(std::string& out, std::int64_t time) {
    using namespace std::chrono;
    const auto point = sys_time<microseconds>(microseconds(time));
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
    out += 'Z';
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
                                                             {"ms", 1000},
                                                             {"s", microsecondsPerSecond},
                                                             {"m", microsecondsPerMinute},
                                                             {"h", microsecondsPerHour}};
    for (const auto& [name, factor] : units) {
        const double length = number * factor;
        if (name == unit && length >= 1 && length <= maxLength) {
            return std::chrono::microseconds(static_cast<std::int64_t>(length));
        }
    }
    return std::nullopt;
}

}  // namespace velmora::tool
