// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "text/time_text.h"
#include "text/time_zone.h"

#include <cstdint>
#include <optional>
#include <string>

namespace velmora::tool {

/// Writes times, in UTC or in the local time of a zone.
class TimePrinter {
  public:
    /// \param zoneName a zone of the IANA database; empty for UTC
    /// \throws CommandError when there is no such zone
    explicit TimePrinter(const std::string& zoneName) {
        if (!zoneName.empty()) {
            zone.emplace(zoneName);
        }
    }

    /// \param time microseconds since the Unix epoch, of the years 1 to 9999
    void Append(std::string& out, std::int64_t time) {
        AppendTime(out, time, zone ? std::optional(zone->GetOffset(time)) : std::nullopt);
    }

    std::string Format(std::int64_t time) {
        std::string text;
        Append(text, time);
        return text;
    }

    /// The zone's offset from UTC, in microseconds.
    std::int64_t GetOffset(std::int64_t time) { return zone ? zone->GetOffset(time) : 0; }

  private:
    std::optional<TimeZone> zone;
};

}  // namespace velmora::tool
