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
    --ring.openGuards;
    if (ring.changes == changesBefore) {
        ring.CheckOrder(range);
    } else {
        // The callback has pushed or popped, so the indices are no longer those of the samples that
        // it could stamp.
        ring.ascendingSamples = std::min(1, ring.storedSamples);
    }
}

SampleRing::SampleRing(int maxSize) : maxSize(maxSize), currentSampleIdx(noSample) {}

SampleRing::~SampleRing() {
    for (const Sample* const sample : samples) {
        delete sample;
    }
}

Sample* SampleRing::GetLatest() const {
    const auto slot = static_cast<std::size_t>(currentSampleIdx);
    return currentSampleIdx >= 0 && slot < samples.size() ? samples[slot] : nullptr;
}

SampleRing::Position SampleRing::GetEnd() const {
    return firstPosition + static_cast<Position>(storedSamples);
}

std::unique_ptr<Sample> SampleRing::Push(std::unique_ptr<Sample> sample) {
    const int next = IncreasedSampleIdx();
    const auto slot = static_cast<std::size_t>(next);
    if (samples.size() <= slot) {
        EnlargeSampleContainer();
    }
    currentSampleIdx = next;
    SampleAccess::SetStored(*sample);
    std::unique_ptr<Sample> oldest(std::exchange(samples[slot], sample.release()));
    if (oldest) {
        ++firstPosition;
    } else {
        ++storedSamples;
    }
    ascendingSamples = std::min(ascendingSamples + 1, storedSamples);
    ++changes;
    return oldest;
}

std::unique_ptr<Sample> SampleRing::Pop() {
    std::unique_ptr<Sample> newest(GetLatest());
    if (newest) {
        samples[static_cast<std::size_t>(currentSampleIdx)] = nullptr;
        currentSampleIdx = DecreasedSampleIdx();
        --storedSamples;
        ascendingSamples = std::min(std::max(ascendingSamples - 1, 1), storedSamples);
        ++changes;
    }
    return newest;
}

SampleRing::Samples SampleRing::Clear() {
    Samples cleared;
    cleared.swap(samples);
    currentSampleIdx = noSample;
    storedSamples = 0;
    ascendingSamples = 0;
    ++changes;
    return cleared;
}

void SampleRing::ReuseSlots(Samples&& cleared) {
    // What destroyed the samples may have pushed others.
    if (samples.capacity() == 0) {
        cleared.clear();
        samples.swap(cleared);
    }
}

SampleRing::IndexRange SampleRing::FindRange(const Poco::Timestamp& from,
                                             const Poco::Timestamp& to) const {
    if (ascendingSamples != storedSamples) {
        ascendingSamples = CountAscending();
    }
    if (!IsOrderKnown()) {
        return {0, storedSamples};
    }
    const int begin = FindFirst(0, [&](const Poco::Timestamp& time) { return time < from; });
    // Most queries ask for all up to now.
    if (begin < storedSamples && TimeOf(storedSamples - 1) <= to) {
        return {begin, storedSamples};
    }
    return {begin, FindFirst(begin, [&](const Poco::Timestamp& time) { return time <= to; })};
}

SampleRing::Samples SampleRing::Select(IndexRange range, const Poco::Timestamp& from,
                                       const Poco::Timestamp& to) const {
    if (IsOrderKnown()) {
        return CopySlots(range);
    }
    Samples selected;
    for (Sample* const sample : samples) {
        if (sample != nullptr && from <= SampleAccess::TimeOf(*sample) &&
            SampleAccess::TimeOf(*sample) <= to) {
            selected.push_back(sample);
        }
    }
    return selected;
}

SampleRing::Samples SampleRing::SelectByIndex() const {
    Samples selected;
    selected.reserve(static_cast<std::size_t>(storedSamples));
    for (int index = 0; index < storedSamples; ++index) {
        selected.push_back(samples[SlotOf(index)]);
    }
    return selected;
}

std::size_t SampleRing::SlotOf(int index) const {
    const int slot = currentSampleIdx - (storedSamples - 1 - index);
    return static_cast<std::size_t>(slot < 0 ? slot + maxSize : slot);
}

const Poco::Timestamp& SampleRing::TimeOf(int index) const {
    return SampleAccess::TimeOf(*samples[SlotOf(index)]);
}

// The first index from `begin` on whose time is not before; by hand, since Clang 14 cannot search
// the standard library's counting range.
template <class IsBefore>
int SampleRing::FindFirst(int begin, IsBefore isBefore) const {
    int end = storedSamples;
    while (begin < end) {
        const int middle = begin + (end - begin) / 2;
        if (isBefore(TimeOf(middle))) {
            begin = middle + 1;
        } else {
            end = middle;
        }
    }
    return begin;
}

// In storage order: slots from 0 on first, where the range goes round the end of the ring.
SampleRing::Samples SampleRing::CopySlots(IndexRange range) const {
    Samples selected;
    if (range.begin >= range.end) {
        return selected;
    }
    const auto slotAt = [this](std::size_t slot) {
        return samples.begin() + static_cast<std::ptrdiff_t>(slot);
    };
    selected.reserve(static_cast<std::size_t>(range.end - range.begin));
    const std::size_t first = SlotOf(range.begin);
    const std::size_t last = SlotOf(range.end - 1);
    if (first <= last) {
        selected.insert(selected.end(), slotAt(first), slotAt(last + 1));
    } else {
        selected.insert(selected.end(), slotAt(0), slotAt(last + 1));
        selected.insert(selected.end(), slotAt(first), samples.end());
    }
    return selected;
}

// How many of the newest samples ascend in time.
int SampleRing::CountAscending() const {
    int index = storedSamples;
    while (index > 0 && (index == storedSamples || TimeOf(index - 1) <= TimeOf(index))) {
        --index;
    }
    return storedSamples - index;
}

// Counts anew where samples of this range no longer ascend, among themselves or with the next.
void SampleRing::CheckOrder(IndexRange range) const {
    const int first = std::max(range.begin, 1);
    const int last = std::min(range.end, storedSamples - 1);
    if (first > last) {
        return;
    }
    std::size_t slot = SlotOf(first - 1);
    const Sample* earlier = samples[slot];
    bool ascends = true;
    for (int index = first; index <= last; ++index) {
        slot = slot + 1 == samples.size() ? 0 : slot + 1;
        const Sample* const later = samples[slot];
        ascends &= SampleAccess::TimeOf(*earlier) <= SampleAccess::TimeOf(*later);
        earlier = later;
    }
    if (!ascends) {
        ascendingSamples = std::min(ascendingSamples, CountAscending());
    }
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
