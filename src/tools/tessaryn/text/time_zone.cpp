// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/time_zone.h"

#include "command_error.h"
#include "text/escaped_text.h"
#include "text/nearest.h"

#include <algorithm>
#include <chrono>
#include <date/tz.h>
#include <exception>
#include <vector>

namespace velmora::tool {

namespace {

using std::chrono::microseconds;
using std::chrono::seconds;

constexpr std::int64_t microsecondsPerSecond = 1'000'000;
// The maximum offset of a zone.
constexpr std::int64_t maxOffset = std::int64_t{26} * 3600 * microsecondsPerSecond;

const date::time_zone& Locate(const std::string& name) {
    try {
        return *date::locate_zone(name);
    } catch (const std::exception&) {
        std::vector<std::string> names;
        for (const date::time_zone& each : date::get_tzdb().zones) {
            names.push_back(each.name());
        }
        throw CommandError("there is no time zone " + Quoted(name) + SuggestNearest(name, names) +
                           "; zones have names such as Europe/Berlin");
    }
}

std::int64_t ToMicroseconds(date::sys_seconds time) {
    // The first and the last interval of a zone exceed the range of microseconds.
    constexpr std::int64_t limit = INT64_MAX / microsecondsPerSecond;
    return std::clamp<std::int64_t>(time.time_since_epoch().count(), -limit, limit) *
           microsecondsPerSecond;
}

}  // namespace

TimeZone::TimeZone(const std::string& name) : zone(&Locate(name)) {}

std::int64_t TimeZone::ToUtc(std::int64_t wallClock, std::int64_t notBefore) {
    if (wallClock - maxOffset >= begin && wallClock + maxOffset < end) {
        return wallClock - offset;
    }
    const date::local_info info = zone->get_info(
        date::floor<seconds>(date::local_time<microseconds>(microseconds(wallClock))));
    const auto before = wallClock - info.first.offset.count() * microsecondsPerSecond;
    if (info.result == date::local_info::ambiguous && before < notBefore) {
        return wallClock - info.second.offset.count() * microsecondsPerSecond;
    }
    LookUp(before);
    return before;
}

std::int64_t TimeZone::GetOffset(std::int64_t utc) {
    if (utc < begin || utc >= end) {
        LookUp(utc);
    }
    return offset;
}

void TimeZone::LookUp(std::int64_t utc) {
    const date::sys_info info =
        zone->get_info(date::floor<seconds>(date::sys_time<microseconds>(microseconds(utc))));
    begin = ToMicroseconds(info.begin);
    end = ToMicroseconds(info.end);
    offset = info.offset.count() * microsecondsPerSecond;
}

}  // namespace velmora::tool
