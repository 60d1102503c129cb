// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmora::tool {

/// Reads a time as ISO 8601 writes it: a date, or a date, "T" or a blank, and hours and minutes,
/// which seconds with a fraction and a zone ("Z", "+01:00", "+0100", "+01") may follow. Without a
/// zone it is UTC. Digits after the sixth of a fraction are dropped.
/// \return microseconds since the Unix epoch, UTC; nothing for what is no time of the years 1 to
/// 9999
std::optional<std::int64_t> ParseIsoTime(std::string_view text);

/// What a number that counts from the Unix epoch counts.
enum class EpochUnit { seconds, milliseconds, microseconds, nanoseconds };

/// The unit that makes a number a time of our days, told by its magnitude: below 10^11 seconds
/// (until the year 5138), below 10^14 milliseconds, below 10^17 microseconds, else nanoseconds.
/// \return nothing for what is no decimal number
std::optional<EpochUnit> GuessEpochUnit(std::string_view text);

/// Reads a decimal number that counts from the Unix epoch; it may be negative and have a fraction.
/// \return microseconds since the Unix epoch; nothing for what is no such number, or no time of
/// the years 1 to 9999
std::optional<std::int64_t> ParseEpochTime(std::string_view text, EpochUnit unit);

/// Appends a time in UTC, such as 2020-01-01T00:00:01Z, with three or six digits of a fraction
/// where it has one.
/// \param out where to
/// \param time microseconds since the Unix epoch
void AppendTime(std::string& out, std::int64_t time);

/// Reads a length of time: a number and "ms", "s", "m" or "h"; a bare number counts seconds.
/// \return nothing for what is no such text, not above zero, or above 100 years
std::optional<std::chrono::microseconds> ParseDuration(std::string_view text);

}  // namespace velmora::tool
