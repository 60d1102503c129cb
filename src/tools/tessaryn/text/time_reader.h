// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "text/time_text.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmora::tool {

/// Reads times that follow each other as `ParseTime` does, and faster where the date is the one of
/// the time before.
class TimeReader {
  public:
    explicit TimeReader(DateOrder order) : order(order) {}

    /// \return none when the text is not a time
    std::optional<TimeParts> Read(std::string_view text);

  private:
    static constexpr std::size_t dateLength = 11;

    void Remember(std::string_view text, const TimeParts& parts);

    DateOrder order;
    /// The date with the character after it.
    std::array<char, dateLength> date{};
    /// Not at first, nor after a time of another form.
    bool hasDate = false;
    /// What follows the clock: the zone, if there is one.
    std::string zone;
    /// Midnight in that zone.
    TimeParts midnight;
};

}  // namespace velmora::tool
