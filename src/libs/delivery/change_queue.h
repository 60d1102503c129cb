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
    /// Copies the sample. Assigning to a default sample would read the clock first.
    explicit QueuedChange(const core::tessaryn::SubscriptionArgs& change)
        : sample(*change.sample), sender(change.sender), changeType(change.changeType) {}

    core::tessaryn::Sample sample;
    void* sender = nullptr;
    std::uint64_t sequence = 0;
    core::tessaryn::StreamChangeType changeType = core::tessaryn::pushed;
};

/// A queue of changes. It allocates places one at a time as it fills, so that no push waits for it
/// to grow, and keeps them.
///
/// `Push` exchanges the change with the old content of a place, which the caller can then free
/// without holding a lock. Changes are taken out together with their places, all of them in
/// constant time.
///
/// \threadsafety external
class ChangeQueue {
  public:
    using Places = std::list<QueuedChange>;

    bool IsEmpty() const { return waiting.empty(); }
    std::size_t GetSize() const { return waiting.size(); }
    /// The oldest change.
    /// \pre not empty
    const QueuedChange& Front() const { return waiting.front(); }

    /// Appends a change; the argument gets the old content of its place.
    /// \throws std::bad_alloc; nothing is changed then
    void Push(QueuedChange& change) {
        if (spare.empty()) {
            spare.emplace_back();
        }
        Exchange(spare.front(), change);
        waiting.splice(waiting.end(), spare, spare.begin());
    }

    /// Moves up to `maxCount` of the oldest changes to the end of a list, in order.
    void MoveTo(Places& taken, std::size_t maxCount) {
        if (waiting.size() <= maxCount) {
            taken.splice(taken.end(), waiting);
            return;
        }
        for (; maxCount > 0; --maxCount) {
            taken.splice(taken.end(), waiting, waiting.begin());
        }
    }

    /// Takes places back, with the memory in them, for later changes; unless more than `maxSpare`
    /// places would be kept, which leaves them with the caller.
    void TakeBack(Places& places, std::size_t maxSpare) {
        if (spare.size() + places.size() <= maxSpare) {
            spare.splice(spare.begin(), places);
        }
    }

    /// Drops the oldest change. Its memory is freed or reused when its place is.
    /// \pre not empty
    void Drop() { spare.splice(spare.begin(), waiting, waiting.begin()); }

    /// Exchanges two changes. Move assignment swaps samples, without reading the clock.
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
