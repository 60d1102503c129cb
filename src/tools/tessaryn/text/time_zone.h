// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstdint>
#include <string>

namespace date {
class time_zone;
}

namespace velmora::tool {

/// A zone of the IANA database, such as Europe/Berlin. Times are microseconds since the Unix epoch.
class TimeZone {
  public:
    /// \param name name in the database of the system
    /// \throws CommandError when there is no such zone
    explicit TimeZone(const std::string& name);

    /// Converts a local time of the zone, counted as if it were UTC, to UTC.
    ///
    /// In the hour that occurs twice when clocks are set back, the result is the earlier time
    /// unless that lies before `notBefore`. In the hour that is skipped, the offset before the
    /// change applies.
    std::int64_t ToUtc(std::int64_t wallClock, std::int64_t notBefore);

    /// The zone's offset from UTC, in microseconds.
    std::int64_t GetOffset(std::int64_t utc);

  private:
    void LookUp(std::int64_t utc);

    const date::time_zone* zone;
    /// The interval in which the offset looked up last holds.
    std::int64_t begin = 0;
    std::int64_t end = 0;
    std::int64_t offset = 0;
};

}  // namespace velmora::tool
