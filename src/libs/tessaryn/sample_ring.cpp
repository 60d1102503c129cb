// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample_ring.h"

#include "tessaryn/sample_access.h"

#include <algorithm>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

constexpr int noSample = -1;

}  // namespace

SampleRing::OrderGuard::~OrderGuard() {
    ring.innermostGuard = outer;
    if (ring.isStamped.load(std::memory_order_relaxed)) {
        ring.FindBreaks(begin, end);
        if (outer == nullptr) {
            ring.isStamped.store(false, std::memory_order_relaxed);
        }
    }
}

SampleRing::SampleRing(int maxSize) : maxSize(maxSize), currentSampleIdx(noSample) {}

SampleRing::~SampleRing() {
    for (const Sample* const sample : samples) {
        delete sample;
    }
}

std::unique_ptr<Sample> SampleRing::Push(std::unique_ptr<Sample>&& sample) {
    const int next = IncreasedSampleIdx();
    const auto slot = static_cast<std::size_t>(next);
    if (samples.size() <= slot) {
        EnlargeSampleContainer();
    }
    currentSampleIdx = next;
    SampleAccess::SetStored(*sample, isStamped);
    isStamped.store(true, std::memory_order_relaxed);
    std::unique_ptr<Sample> oldest(std::exchange(samples[slot], sample.release()));
    if (oldest) {
        ++firstPosition;
        runs.DropBefore(firstPosition);
    } else {
        ++storedSamples;
    }
    return oldest;
}

void SampleRing::PrefetchOldest() const {
    constexpr std::size_t ahead = 2;
    const std::size_t slot = static_cast<std::size_t>(currentSampleIdx) + 1;
    if (slot + 2 * ahead < samples.size() && samples[slot + ahead] != nullptr) {
        // The sample itself was prepared some pushes before.
        SampleAccess::Prefetch(*samples[slot + ahead]);
        __builtin_prefetch(samples[slot + 2 * ahead]);
    }
}

std::unique_ptr<Sample> SampleRing::Pop() {
    std::unique_ptr<Sample> newest(GetLatest());
    if (newest) {
        samples[static_cast<std::size_t>(currentSampleIdx)] = nullptr;
        currentSampleIdx = DecreasedSampleIdx();
        --storedSamples;
        ++positionsReused;
        runs.DropFrom(GetEnd());
    }
    return newest;
}

SampleRing::Samples SampleRing::Clear() {
    Samples cleared;
    cleared.swap(samples);
    currentSampleIdx = noSample;
    positionsReused += static_cast<Position>(std::exchange(storedSamples, 0));
    runs.DropFrom(firstPosition);
    return cleared;
}

void SampleRing::ReuseSlots(Samples&& cleared) {
    // The samples' destructors may have pushed others.
    if (samples.capacity() == 0) {
        cleared.clear();
        samples.swap(cleared);
    }
}

SampleRing::Selection SampleRing::Select(const Poco::Timestamp& from, const Poco::Timestamp& to,
                                         Order order) const {
    SettleOrder();
    Selection selection{{}, {storedSamples, 0}};
    const Segments segments = SegmentsIn(order);
    if (runs.IsRun(firstPosition)) {
        const IndexRange found = FindInRun({0, storedSamples}, from, to);
        selection.samples.reserve(static_cast<std::size_t>(found.end - found.begin));
        for (const IndexRange& segment : segments) {
            Append({std::max(found.begin, segment.begin), std::min(found.end, segment.end)},
                   selection);
        }
    } else {
        for (const IndexRange& segment : segments) {
            SelectRuns(segment, from, to, selection);
        }
    }
    return selection;
}

SampleRing::Selection SampleRing::SelectAll(Order order) const {
    Selection selection{{}, {storedSamples, 0}};
    selection.samples.reserve(static_cast<std::size_t>(storedSamples));
    for (const IndexRange& segment : SegmentsIn(order)) {
        Append(segment, selection);
    }
    return selection;
}

std::size_t SampleRing::SlotOf(int index) const {
    const int slot = currentSampleIdx - (storedSamples - 1 - index);
    return static_cast<std::size_t>(slot < 0 ? slot + maxSize : slot);
}

const Poco::Timestamp& SampleRing::TimeOf(int index) const {
    return SampleAccess::TimeOf(*samples[SlotOf(index)]);
}

// The indices in the order asked for, each range in slots side by side.
SampleRing::Segments SampleRing::SegmentsIn(Order order) const {
    const int oldest = storedSamples == 0 ? 0 : static_cast<int>(SlotOf(0));
    // The index of slot 0, where the samples go round the end of the ring.
    const int seam = storedSamples > maxSize - oldest ? maxSize - oldest : storedSamples;
    const Segments pushed{{{0, seam}, {seam, storedSamples}}};
    return order == Order::pushed ? pushed : Segments{pushed[1], pushed[0]};
}

// The first index of a range whose time is not before; by hand, since Clang 14 cannot search the
// standard library's counting range.
template <class IsBefore>
int SampleRing::FindFirst(IndexRange range, IsBefore isBefore) const {
    while (range.begin < range.end) {
        const int middle = range.begin + (range.end - range.begin) / 2;
        if (isBefore(TimeOf(middle))) {
            range.begin = middle + 1;
        } else {
            range.end = middle;
        }
    }
    return range.begin;
}

// The samples of a run that are stamped from `from` to `to`. Mostly that is none, since the run
// ends before, or the search is for all up to now.
SampleRing::IndexRange SampleRing::FindInRun(IndexRange run, const Poco::Timestamp& from,
                                             const Poco::Timestamp& to) const {
    if (run.begin >= run.end || TimeOf(run.end - 1) < from) {
        return {run.end, run.end};
    }
    const bool isUpToEnd = TimeOf(run.end - 1) <= to;
    if (!isUpToEnd && to < TimeOf(run.begin)) {
        return {run.end, run.end};
    }
    const int begin = FindFirst(run, [&](const Poco::Timestamp& time) { return time < from; });
    return {begin, isUpToEnd ? run.end : FindFirst({begin, run.end}, [&](const auto& time) {
                return time <= to;
            })};
}

// Examines each sample before the first run, and bisects each run.
void SampleRing::SelectRuns(IndexRange segment, const Poco::Timestamp& from,
                            const Poco::Timestamp& to, Selection& selection) const {
    int begin = segment.begin;
    for (; begin < segment.end && PositionOf(begin) < runs.GetStart(); ++begin) {
        if (from <= TimeOf(begin) && TimeOf(begin) <= to) {
            Append({begin, begin + 1}, selection);
        }
    }
    for (const Position next : runs.GetBreaks(PositionOf(begin), PositionOf(segment.end))) {
        const int end = static_cast<int>(next - firstPosition);
        Append(FindInRun({begin, end}, from, to), selection);
        begin = end;
    }
    Append(FindInRun({begin, segment.end}, from, to), selection);
}

// Appends samples in slots side by side.
void SampleRing::Append(IndexRange range, Selection& selection) const {
    if (range.begin >= range.end) {
        return;
    }
    const auto first = samples.begin() + static_cast<std::ptrdiff_t>(SlotOf(range.begin));
    selection.samples.insert(selection.samples.end(), first, first + (range.end - range.begin));
    selection.range.begin = std::min(selection.range.begin, range.begin);
    selection.range.end = std::max(selection.range.end, range.end);
}

// After samples of these positions may have been stamped: finds the breaks among them, and between
// them and the next.
void SampleRing::FindBreaks(Position begin, Position end) const {
    if (storedSamples != 0) {
        runs.Update(std::max(begin, firstPosition + 1), std::min(end, GetEnd() - 1),
                    static_cast<std::size_t>(storedSamples), [this](Position position) {
                        const int index = static_cast<int>(position - firstPosition);
                        return TimeOf(index) < TimeOf(index - 1);
                    });
    }
}

// Before a search inside callbacks that may have stamped samples.
void SampleRing::SettleOrder() const {
    if (innermostGuard == nullptr || !isStamped.load(std::memory_order_relaxed)) {
        return;
    }
    for (const OrderGuard* guard = innermostGuard; guard != nullptr; guard = guard->outer) {
        FindBreaks(guard->begin, guard->end);
    }
    isStamped.store(false, std::memory_order_relaxed);
}

int SampleRing::IncreasedSampleIdx() const {
    return currentSampleIdx + 1 < maxSize ? currentSampleIdx + 1 : 0;
}

int SampleRing::DecreasedSampleIdx() const {
    return currentSampleIdx > 0 ? currentSampleIdx - 1 : maxSize - 1;
}

void SampleRing::EnlargeSampleContainer() {
    const std::size_t doubled = 2 * samples.size() + 1;
    const auto limit = static_cast<std::size_t>(maxSize);
    samples.resize(doubled < limit ? doubled : limit, nullptr);
}

}  // namespace velmora::core::tessaryn
