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
/// after the sixth of a fraction are ignored. A leap second, 23:59:60 UTC, is read as the second
/// after it, as the Unix epoch does not count it.
/// \return microseconds since the Unix epoch; nothing for any other text
std::optional<std::int64_t> ParseIsoTime(std::string_view text);

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
void AppendTime(std::string& out, std::int64_t time);

/// Parses a duration: a number and "ms", "s", "m" or "h"; a number without a unit counts seconds.
/// \return nothing for any other text, for less than a microsecond and for more than 100 years
std::optional<std::chrono::microseconds> ParseDuration(std::string_view text);

}  // namespace velmora::tool
