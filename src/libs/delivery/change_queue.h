// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/subscription_args.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <utility>

namespace velmora::delivery {

/// A change that waits for its handler.
struct QueuedChange {
    QueuedChange() = default;
    /// A copy. A default sample, to be assigned to, would read the clock.
    explicit QueuedChange(const core::tessaryn::SubscriptionArgs& change)
        : sample(*change.sample), sender(change.sender), changeType(change.changeType) {}

    core::tessaryn::Sample sample;
    void* sender = nullptr;
    std::uint64_t sequence = 0;
    core::tessaryn::StreamChangeType changeType = core::tessaryn::pushed;
};

/// A queue of changes that takes memory as it fills, a place at a time so that no push is held up
/// by the growth, and keeps it.
///
/// Changes go in by exchange, so that what is in the way is freed by the caller, who need not hold
/// a lock then; they go out with their places, all of them in constant time.
///
/// \threadsafety external
class ChangeQueue {
  public:
    using Places = std::list<QueuedChange>;

    bool IsEmpty() const { return waiting.empty(); }
    std::size_t GetSize() const { return waiting.size(); }
    /// The oldest.
    /// \pre not empty
    const QueuedChange& Front() const { return waiting.front(); }

    /// Appends; the change gets what was in its place before.
    /// \throws std::bad_alloc; nothing is changed then
    void Push(QueuedChange& change) {
        if (spare.empty()) {
            spare.emplace_back();
        }
        Exchange(spare.front(), change);
        waiting.splice(waiting.end(), spare, spare.begin());
    }

    /// Appends the oldest changes to others, in order.
    void MoveTo(Places& taken, std::size_t most) {
        if (waiting.size() <= most) {
            taken.splice(taken.end(), waiting);
            return;
        }
        for (; most > 0; --most) {
            taken.splice(taken.end(), waiting, waiting.begin());
        }
    }

    /// Keeps places that were taken, and the memory in them, for later changes.
    /// \param most places that are kept; the others stay with the caller
    void TakeBack(Places& places, std::size_t most) {
        if (spare.size() + places.size() <= most) {
            spare.splice(spare.begin(), places);
        }
    }

    /// Gives up the oldest; its memory goes with what takes its place.
    /// \pre not empty
    void Drop() { spare.splice(spare.begin(), waiting, waiting.begin()); }

    /// Exchanges two changes. Moving a sample by assignment swaps, and reads no clock.
    static void Exchange(QueuedChange& a, QueuedChange& b) noexcept {
        a.sample = std::move(b.sample);
        std::swap(a.sender, b.sender);
        std::swap(a.sequence, b.sequence);
        std::swap(a.changeType, b.changeType);
    }

  private:
    Places waiting;
    Places spare;
};

}  // namespace velmora::delivery
