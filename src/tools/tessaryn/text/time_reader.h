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

/// Parses successive times like `ParseTime`, but faster if the date is that of the previous time.
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
    /// False at first, and after a time of another form.
    bool hasDate = false;
    /// The text behind the time of day: the zone, if there is one.
    std::string zone;
    /// Midnight in that zone.
    TimeParts midnight;
};

}  // namespace velmora::tool
