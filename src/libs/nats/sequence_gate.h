// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/frame.h"
#include "nats/nats_objects.h"
#include "tessaryn/sample.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace velmora::nats {

/// Lets the samples of one numbering pass in the order of their numbers, each once.
///
/// \threadsafety external
class SequenceGate {
  public:
    using Clock = std::chrono::steady_clock;

    /// A sample on its way, and the message that it came with, which is acknowledged in the end.
    struct Numbered {
        exchange::FrameHeader header;
        core::tessaryn::Sample sample;
        Message message;
    };

    /// \param last the number that passed last; unknown, any may be the first
    /// \param maxHeld samples held back at most
    SequenceGate(std::optional<std::uint64_t> last, std::size_t maxHeld);

    /// Whether no sample of this number has passed or is held back.
    bool IsNew(std::uint64_t sequence) const;

    /// Takes a sample, which passes now or is held back.
    /// \pre its number is new
    void Offer(Numbered&& numbered, Clock::time_point now);

    /// Takes what passes now, in order.
    /// \param missing grows by the numbers that are given up
    std::vector<Numbered> TakeReady(Clock::time_point now, std::uint64_t& missing);

    /// Whether samples are held back.
    bool IsHolding() const { return !held.empty(); }

  private:
    std::optional<std::uint64_t> last;
    std::size_t maxHeld;
    std::map<std::uint64_t, Numbered> held;
    Clock::time_point heldSince;
};

}  // namespace velmora::nats
