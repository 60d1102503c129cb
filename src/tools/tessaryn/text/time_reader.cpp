// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/time_reader.h"

#include <Poco/Ascii.h>

#include <bit>
#include <cstring>

namespace velmora::tool {

namespace {

// Parses a time of day such as 23:59:01.25; returns the microseconds since midnight and the length,
// which is 0 if the general parser is needed.
struct Clock {
    std::int64_t time = 0;
    std::size_t length = 0;
};

// The seconds of eight bytes such as 23:59:01; -1 for any other.
std::int64_t ReadSeconds(const char* text) {
    // In one word the first byte is the lowest; digits become their values, colons nothing.
    static_assert(std::endian::native == std::endian::little);
    constexpr std::uint64_t pattern = 0x30303a30303a3030U;
    constexpr std::uint64_t digitBytes = 0xffff00ffff00ffffU;
    constexpr std::uint64_t everyByte = 0x0101010101010101U;
    constexpr std::uint64_t beyondNine = everyByte * (0x80 - 10) & digitBytes;
    constexpr std::uint64_t beyondNone = everyByte * (0x80 - 1) & ~digitBytes;
    std::uint64_t word = 0;
    std::memcpy(&word, text, sizeof word);
    word ^= pattern;
    if (((word + (beyondNine | beyondNone)) | word) & everyByte * 0x80) {
        return -1;
    }
    const std::uint64_t pairs = word * 10 + (word >> 8U);
    const std::uint64_t hour = pairs & 0xffU;
    const std::uint64_t minute = pairs >> 24U & 0xffU;
    const std::uint64_t second = pairs >> 48U & 0xffU;
    const bool isClock = hour < 24 && minute < 60 && second < 60;
    return isClock ? static_cast<std::int64_t>((hour * 60 + minute) * 60 + second) : -1;
}

Clock ReadPlainClock(std::string_view text) {
    constexpr std::size_t toSeconds = 8;
    constexpr int fractionPlaces = 6;
    constexpr std::int64_t microsecondsPerSecond = 1'000'000;
    const std::int64_t seconds = text.size() < toSeconds ? -1 : ReadSeconds(text.data());
    if (seconds < 0) {
        return {};
    }
    if (text.size() <= toSeconds + 1 || text[toSeconds] != '.') {
        return {seconds * microsecondsPerSecond, toSeconds};
    }
    Clock clock{seconds, toSeconds};
    int places = 0;
    for (++clock.length; clock.length < text.size() && places < fractionPlaces &&
                         Poco::Ascii::isDigit(text[clock.length]);
         ++clock.length) {
        clock.time = 10 * clock.time + (text[clock.length] - '0');
        ++places;
    }
    if (places == 0) {
        return {};
    }
    for (; places < fractionPlaces; ++places) {
        clock.time *= 10;
    }
    return clock;
}

// Most zones are one character, which needs no call.
bool IsSameZone(std::string_view text, std::string_view zone) {
    return text.size() == zone.size() &&
           (text.empty() || (text.front() == zone.front() && (text.size() == 1 || text == zone)));
}

// Compares texts of one size, the same way.
template <std::size_t size>
bool AreEqual(const char* a, const char* b) {
    static_assert(size >= sizeof(std::uint64_t) && size <= 2 * sizeof(std::uint64_t));
    const auto getWord = [](const char* text) {
        std::uint64_t word = 0;
        std::memcpy(&word, text, sizeof word);
        return word;
    };
    constexpr std::size_t last = size - sizeof(std::uint64_t);
    return getWord(a) == getWord(b) && getWord(a + last) == getWord(b + last);
}

}  // namespace

std::optional<TimeParts> TimeReader::Read(std::string_view text) {
    if (hasDate && text.size() > dateLength && AreEqual<dateLength>(text.data(), date.data())) {
        const std::string_view rest = text.substr(dateLength);
        const Clock clock = ReadPlainClock(rest);
        TimeParts parts = midnight;
        parts.time += clock.time;
        if (clock.length > 0 && IsSameZone(rest.substr(clock.length), zone) &&
            parts.time >= minTime && parts.time <= maxTime) {
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
