// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/frame.h"
#include "tessaryn/sample.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace velmora::nats {

/// A sample with the header of its frame.
struct Numbered {
    exchange::FrameHeader header;
    std::unique_ptr<core::tessaryn::Sample> sample;
};

/// Passes the samples of one numbering on in the order of their numbers, each once.
///
/// \threadsafety external
class SequenceGate {
  public:
    using Clock = std::chrono::steady_clock;

    /// \param last the number that passed last; if unknown, any number may be the first
    /// \param maxHeld the most samples that are held back
    /// \param maxWait how long to wait for a missing one
    SequenceGate(std::optional<std::uint64_t> last, std::size_t maxHeld,
                 std::chrono::milliseconds maxWait);

    /// Whether no sample of this number has passed or is held back.
    bool IsNew(std::uint64_t sequence) const;

    /// Whether a sample of this number passes at once, since nothing before it is missing.
    bool IsNext(std::uint64_t sequence) const {
        return held.empty() && (!last || sequence == *last + 1);
    }

    /// Declares that no more samples up to this number will arrive.
    void SetComplete(std::uint64_t sequence) { complete = std::max(complete, sequence); }

    /// Adds a sample, which passes now or is held back.
    /// \pre its number is new
    /// \param passed the samples that pass now are appended, in order
    /// \return how many missing numbers are given up
    std::uint64_t Offer(Numbered&& numbered, Clock::time_point now, std::vector<Numbered>& passed);

    /// As above, for samples that were held back for `maxWait`.
    std::uint64_t TakeReady(Clock::time_point now, std::vector<Numbered>& passed);

    /// Whether samples are held back.
    bool IsHolding() const { return !held.empty(); }

  private:
    std::optional<std::uint64_t> last;
    std::size_t maxHeld;
    std::chrono::milliseconds maxWait;
    std::uint64_t complete = 0;
    std::map<std::uint64_t, Numbered> held;
    Clock::time_point heldSince;
};

}  // namespace velmora::nats
