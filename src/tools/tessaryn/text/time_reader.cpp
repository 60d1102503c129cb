// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/time_reader.h"

#include <Poco/Ascii.h>

#include <cstring>

namespace velmora::tool {

namespace {

// Parses a time of day such as 23:59:01.25; returns the microseconds since midnight and the length,
// which is 0 if the general parser is needed.
struct Clock {
    std::int64_t time = 0;
    std::size_t length = 0;
};

int GetTwoDigits(const char* text, int limit) {
    const int tens = text[0] - '0';
    const int units = text[1] - '0';
    const bool areDigits = tens >= 0 && tens <= 9 && units >= 0 && units <= 9;
    const int value = 10 * tens + units;
    return areDigits && value < limit ? value : -1;
}

Clock ReadPlainClock(std::string_view text) {
    constexpr std::size_t toSeconds = 8;
    constexpr int fractionPlaces = 6;
    if (text.size() < toSeconds || text[2] != ':' || text[5] != ':') {
        return {};
    }
    const int hour = GetTwoDigits(text.data(), 24);
    const int minute = GetTwoDigits(text.data() + 3, 60);
    const int second = GetTwoDigits(text.data() + 6, 60);
    if (hour < 0 || minute < 0 || second < 0) {
        return {};
    }
    Clock clock{(hour * 60 + minute) * std::int64_t{60} + second, toSeconds};
    int places = 0;
    if (text.size() > toSeconds + 1 && text[toSeconds] == '.') {
        for (++clock.length; clock.length < text.size() && places < fractionPlaces &&
                             Poco::Ascii::isDigit(text[clock.length]);
             ++clock.length) {
            clock.time = 10 * clock.time + (text[clock.length] - '0');
            ++places;
        }
        if (places == 0) {
            return {};
        }
    }
    for (; places < fractionPlaces; ++places) {
        clock.time *= 10;
    }
    return clock;
}

}  // namespace

std::optional<TimeParts> TimeReader::Read(std::string_view text) {
    if (hasDate && text.size() > dateLength &&
        std::memcmp(text.data(), date.data(), dateLength) == 0) {
        const std::string_view rest = text.substr(dateLength);
        const Clock clock = ReadPlainClock(rest);
        TimeParts parts = midnight;
        parts.time += clock.time;
        if (clock.length > 0 && rest.substr(clock.length) == zone && parts.time >= minTime &&
            parts.time <= maxTime) {
            return parts;
        }
    }
    const std::optional<TimeParts> parts = ParseTime(text, order);
    if (parts) {
        Remember(text, *parts);
    }
    return parts;
}

void TimeReader::Remember(std::string_view text, const TimeParts& parts) {
    hasDate = false;
    if (text.size() < dateLength) {
        return;
    }
    const std::string_view rest = text.substr(dateLength);
    const Clock clock = ReadPlainClock(rest);
    const std::string_view after = rest.substr(clock.length);
    // For dates of another order, AM or PM may follow, so the time need not count from midnight.
    const bool isZone = !after.empty() && order == DateOrder::yearFirst &&
                        std::string_view("Zz+- ").find(after.front()) != std::string_view::npos;
    const bool isPlain = clock.length > 0 && (after.empty() || isZone);
    if (isPlain) {
        hasDate = true;
        std::memcpy(date.data(), text.data(), dateLength);
        zone = after;
        midnight = parts;
        midnight.time -= clock.time;
    }
}

}  // namespace velmora::tool
