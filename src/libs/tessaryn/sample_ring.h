// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <Poco/Timestamp.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace velmora::core::tessaryn {

class Sample;

/// The slots of a stream and the order of its samples in time: internal.
///
///     slot       0   1   2   3   4         capacity 5, after pushing a to g and popping g
///              [ f ][   ][ c ][ d ][ e ]
///     index      3        0   1   2        counted from the oldest
///                ^ currentSampleIdx        the next push goes into slot 1, the one after it
///                                          overwrites c
///
/// Invariants:
/// 1. There are at most `maxSize` slots; their number grows 1, 3, 7, 15, ... and shrinks by `Clear`
///    alone.
/// 2. The samples lie in slots that follow each other around the ring, up to `currentSampleIdx`.
/// 3. The newest `ascendingSamples` samples ascend in time, except those that an open `OrderGuard`
///    covers.
///
/// \threadsafety external: guarded by the stream's mutex
class SampleRing {
  public:
    using Samples = std::vector<Sample*>;
    /// A sample's place in the order of pushing. A popped sample's position is given again.
    using Position = unsigned long long;
    /// Indices counted from the oldest sample; `end` does not belong to it.
    struct IndexRange {
        int begin;
        int end;
    };
    class OrderGuard;

    explicit SampleRing(int maxSize);
    SampleRing(const SampleRing&) = delete;
    SampleRing& operator=(const SampleRing&) = delete;
    ~SampleRing();

    int GetMaxSize() const { return maxSize; }
    /// \pre nothing was pushed yet
    void SetMaxSize(int newMaxSize) { maxSize = newMaxSize; }
    int GetCount() const { return storedSamples; }
    bool IsFull() const { return storedSamples == maxSize; }
    /// In storage order; null where a slot is empty.
    const Samples& GetSlots() const { return samples; }
    /// The newest sample; null when there is none.
    Sample* GetLatest() const;
    /// The position of the oldest sample.
    Position GetBegin() const { return firstPosition; }
    /// The position behind the newest sample.
    Position GetEnd() const;

    /// Stores a sample as the newest. An `OrderGuard` has to look at it before the next query.
    /// \return the oldest sample, whose slot it took in a full ring; else null
    /// \throws std::bad_alloc when the slots cannot grow; the ring is then as it was
    std::unique_ptr<Sample> Push(std::unique_ptr<Sample> sample);
    /// Removes the newest sample; null when there is none.
    std::unique_ptr<Sample> Pop();
    /// Removes all samples. The memory of the slots goes with them, until `ReuseSlots` gives it
    /// back.
    Samples Clear();
    void ReuseSlots(Samples&& cleared);

    /// The indices of samples stamped from `from` to `to`, both included. All indices where stamps
    /// do not ascend, or may not.
    IndexRange FindRange(const Poco::Timestamp& from, const Poco::Timestamp& to) const;
    /// The samples of a range that are stamped from `from` to `to`, in storage order.
    Samples Select(IndexRange range, const Poco::Timestamp& from, const Poco::Timestamp& to) const;
    /// All samples, the oldest first.
    Samples SelectByIndex() const;

  private:
    bool IsOrderKnown() const { return openGuards == 0 && ascendingSamples == storedSamples; }
    std::size_t SlotOf(int index) const;
    const Poco::Timestamp& TimeOf(int index) const;
    template <class IsBefore>
    int FindFirst(int begin, IsBefore isBefore) const;
    Samples CopySlots(IndexRange range) const;
    int CountAscending() const;
    void CheckOrder(IndexRange range) const;

    int IncreasedSampleIdx() const;
    int DecreasedSampleIdx() const;
    void EnlargeSampleContainer();

    Samples samples;
    int maxSize;
    // The slot of the newest sample; -1 when nothing was pushed yet, or after `Clear`.
    int currentSampleIdx;
    int storedSamples = 0;
    Position firstPosition = 0;
    // Pushes, pops and clears.
    unsigned long long changes = 0;
    mutable int ascendingSamples = 0;
    mutable int openGuards = 0;
};

/// Checks, when it goes, whether samples still ascend in time.
///
/// A query finds its answer by binary search while they do, but callbacks get live samples, whose
/// setters stamp them: a fill or a change the newest one, a query those of its answer.
class SampleRing::OrderGuard {
  public:
    OrderGuard(const SampleRing& guardedRing, IndexRange guardedRange)
        : ring(guardedRing), changesBefore(guardedRing.changes), range(guardedRange) {
        ++ring.openGuards;
    }
    OrderGuard(const OrderGuard&) = delete;
    OrderGuard& operator=(const OrderGuard&) = delete;
    ~OrderGuard();

  private:
    const SampleRing& ring;
    unsigned long long changesBefore;
    IndexRange range;
};

}  // namespace velmora::core::tessaryn
