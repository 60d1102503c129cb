// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/run_list.h"

#include <Poco/Timestamp.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>
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
/// 3. `runs` knows where the samples do not ascend in time, except those that an open `OrderGuard`
///    covers, if `isStamped` is set.
///
/// \threadsafety external: guarded by the stream's mutex
class SampleRing {
  public:
    using Samples = std::vector<Sample*>;
    /// A sample's place in the order of pushing. Those of popped and cleared samples are reused.
    using Position = RunList::Position;
    /// Indices counted from the oldest sample; `end` is exclusive.
    struct IndexRange {
        int begin;
        int end;
    };
    /// In the order of slots from 0 on, or from the oldest sample on.
    enum class Order { stored, pushed };
    /// The result of a query: the samples, and a range that contains all of them.
    struct Selection {
        Samples samples;
        IndexRange range;
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
    Sample* GetLatest() const {
        const auto slot = static_cast<std::size_t>(currentSampleIdx);
        return currentSampleIdx >= 0 && slot < samples.size() ? samples[slot] : nullptr;
    }
    /// The position of the oldest sample.
    Position GetBegin() const { return firstPosition; }
    /// The position behind the newest sample.
    Position GetEnd() const { return PositionOf(storedSamples); }

    /// How many samples were pushed.
    Position CountPushes() const { return GetEnd() + positionsReused; }

    /// Stores a sample as the newest. An `OrderGuard` must cover it before the next query.
    /// \return the oldest sample, which it replaced in a full ring; else null
    /// \throws std::bad_alloc when the slots cannot grow; ring and sample are then as they were
    std::unique_ptr<Sample> Push(std::unique_ptr<Sample>&& sample);
    /// Before a push: prepares for those samples that it and the next ones overwrite.
    void PrefetchOldest() const;
    /// Removes the newest sample; null when there is none.
    std::unique_ptr<Sample> Pop();
    /// Removes all samples. The memory of the slots goes with them, until `ReuseSlots` gives it
    /// back.
    Samples Clear();
    void ReuseSlots(Samples&& cleared);

    /// The samples that are stamped from `from` to `to`, both included. Bisects each run of samples
    /// that ascend in time.
    Selection Select(const Poco::Timestamp& from, const Poco::Timestamp& to, Order order) const;
    /// All samples, without examining them.
    Selection SelectAll(Order order) const;

  private:
    using Segments = std::array<IndexRange, 2>;

    Position PositionOf(int index) const { return firstPosition + static_cast<Position>(index); }
    std::size_t SlotOf(int index) const;
    const Poco::Timestamp& TimeOf(int index) const;
    Segments SegmentsIn(Order order) const;
    template <class IsBefore>
    int FindFirst(IndexRange range, IsBefore isBefore) const;
    IndexRange FindInRun(IndexRange run, const Poco::Timestamp& from,
                         const Poco::Timestamp& to) const;
    void SelectRuns(IndexRange segment, const Poco::Timestamp& from, const Poco::Timestamp& to,
                    Selection& selection) const;
    void Append(IndexRange range, Selection& selection) const;
    void FindBreaks(Position begin, Position end) const;
    void SettleOrder() const;

    int IncreasedSampleIdx() const;
    int DecreasedSampleIdx() const;
    void EnlargeSampleContainer();

    Samples samples;
    int maxSize;
    // The slot of the newest sample; -1 when nothing was pushed yet, or after `Clear`.
    int currentSampleIdx;
    int storedSamples = 0;
    Position firstPosition = 0;
    Position positionsReused = 0;
    mutable RunList runs;
    // Set by each stamp of a sample of the ring, which may be one that an open guard covers.
    mutable std::atomic<bool> isStamped = false;
    mutable const OrderGuard* innermostGuard = nullptr;
};

/// Its destructor finds the positions at which samples no longer ascend in time.
///
/// Callbacks get the stored samples, whose setters stamp them: a fill or a change gets the newest
/// one, a query those of its result. Costs nothing unless one was stamped meanwhile.
class SampleRing::OrderGuard {
  public:
    OrderGuard(const SampleRing& guardedRing, IndexRange range)
        : ring(guardedRing),
          outer(std::exchange(guardedRing.innermostGuard, this)),
          begin(guardedRing.PositionOf(range.begin)),
          end(guardedRing.PositionOf(range.end)) {}
    OrderGuard(const OrderGuard&) = delete;
    OrderGuard& operator=(const OrderGuard&) = delete;
    ~OrderGuard();

  private:
    friend class SampleRing;

    const SampleRing& ring;
    const OrderGuard* outer;
    Position begin;
    Position end;
};

}  // namespace velmora::core::tessaryn
