// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmora::tool {

/// The times that texts can have, 0001-01-01T00:00:00Z to 9999-12-31T23:59:59.999999Z, in
/// microseconds since the Unix epoch.
inline constexpr std::int64_t minTime = -62'135'596'800'000'000;
inline constexpr std::int64_t maxTime = 253'402'300'799'999'999;

/// Parses an ISO 8601 time: a date, optionally followed by "T" or a blank, hours and minutes,
/// seconds with a fraction, and a zone ("Z", "+01:00", "+0100", "+01"), UTC unless given. Digits
/// after the sixth of a fraction are ignored. A leap second, 23:59:60 UTC, is read as the following
/// second, since the Unix epoch does not count it.
/// \return microseconds since the Unix epoch; nothing for any other text
std::optional<std::int64_t> ParseIsoTime(std::string_view text);

/// Order of the parts of a date: 2026-03-29, 29.03.2026 or 03/29/2026.
enum class DateOrder { yearFirst, dayFirst, monthFirst };

/// The parts of a parsed time.
struct TimeParts {
    /// Microseconds since the Unix epoch, as if the time was in UTC when it has no zone.
    std::int64_t time = 0;
    bool hasClock = false;
    bool hasZone = false;
};

/// Parses a time as `ParseIsoTime` does. Dates with the day or the month first have ".", "/" or "-"
/// between their parts and may omit leading zeros; "," may end them. Their times of day may have
/// twelve hours, with AM or PM. A fraction may begin with a comma.
std::optional<TimeParts> ParseTime(std::string_view text, DateOrder order = DateOrder::yearFirst);

/// Parses a time of day such as 8:05, 23:59:59.250 or 11:30 PM.
/// \return microseconds since midnight
std::optional<std::int64_t> ParseClock(std::string_view text);

/// Unit of a number that counts from the Unix epoch.
enum class EpochUnit { seconds, milliseconds, microseconds, nanoseconds };

/// Infers the unit from the magnitude: below 10^11 seconds (until the year 5138), below 10^14
/// milliseconds, below 10^17 microseconds, else nanoseconds.
/// \return nothing for a text that is not a decimal number
std::optional<EpochUnit> GuessEpochUnit(std::string_view text);

/// Parses a decimal number that counts from the Unix epoch; it may be negative and have a fraction.
/// \return microseconds since the Unix epoch; nothing for any other text
std::optional<std::int64_t> ParseEpochTime(std::string_view text, EpochUnit unit);

/// Appends a time in UTC, such as 2020-01-01T00:00:01Z, with three or six digits of a fraction if
/// it has one.
/// \param time microseconds since the Unix epoch, of the years 1 to 9999
/// \param offset the zone's offset from UTC in microseconds, which is written as +01:00 in place of
/// Z
void AppendTime(std::string& out, std::int64_t time,
                std::optional<std::int64_t> offset = std::nullopt);

/// A duration in its largest units: 250ms, 1.5s, 2m 30s, 3h 5m, 2d 4h.
std::string FormatDuration(std::int64_t microseconds);

/// Parses a duration: a number and "us", "ms", "s", "m", "h" or "d"; a number without a unit counts
/// seconds.
/// \return nothing for any other text, for less than a microsecond and for more than 100 years
std::optional<std::chrono::microseconds> ParseDuration(std::string_view text);

}  // namespace velmora::tool
