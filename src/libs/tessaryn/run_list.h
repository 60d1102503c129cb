// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <algorithm>
#include <cstddef>
#include <new>
#include <span>
#include <vector>

namespace velmora::core::tessaryn {

/// The positions at which the samples of a ring do not ascend in time: internal.
///
///     position   7    8    9   10   11   12   13
///     time       ?    ?   20   30   25   26   10
///                         ^ start    ^ break   ^ break
///
/// Between two breaks lies a run, which can be searched by bisection. Nothing is known of the
/// samples before `GetStart()`, whose breaks are forgotten where there are too many: then looking
/// at each sample costs less than bisecting each run.
///
/// Invariants:
/// 1. The breaks ascend and are greater than `GetStart()`. A position behind it is a break if and
///    only if its sample is earlier than the one before.
/// 2. There is at most one break for `samplesPerBreak` samples, beyond the first `freeBreaks`. The
///    memory is at most 4 bytes a sample.
///
/// \threadsafety external
class RunList {
  public:
    using Position = unsigned long long;

    /// The first position of the first run.
    Position GetStart() const { return start; }
    /// All breaks behind a position and before another one.
    std::span<const Position> GetBreaks(Position behind, Position end) const {
        const auto first = std::upper_bound(Begin(), breaks.cend(), behind);
        return {first, std::lower_bound(first, breaks.cend(), end)};
    }
    /// Whether the samples from a position on are one run.
    bool IsRun(Position first) const { return start <= first && head == breaks.size(); }

    /// The samples before a position have gone.
    void DropBefore(Position first) {
        if (first > start) {
            start = first;
            DropForgotten();
        }
    }
    /// The samples from a position on have gone.
    void DropFrom(Position end) {
        start = std::min(start, end);
        while (head < breaks.size() && breaks.back() >= end) {
            breaks.pop_back();
        }
        DropForgotten();
    }

    /// Finds the breaks from `first` to `last`, both included, anew.
    /// \param count samples in the ring
    /// \param isBreak says of a position whether its sample is earlier than the one before
    template <class IsBreak>
    void Update(Position first, Position last, std::size_t count, IsBreak isBreak) noexcept {
        first = std::max(first, start + 1);
        if (first > last) {
            return;
        }
        const std::size_t limit = freeBreaks + count / samplesPerBreak;
        try {
            if (first == last && (breaks.empty() || breaks.back() < first)) {
                if (isBreak(first)) {
                    breaks.push_back(first);
                }
            } else {
                Replace(first, last, limit, isBreak);
            }
        } catch (const std::bad_alloc&) {
            Forget(last);
        }
        if (const std::size_t size = breaks.size() - head; size > limit) {
            // More than necessary, so that this is rare.
            Forget(breaks[head + size - limit / 2 - 1]);
        }
    }

  private:
    static constexpr std::size_t freeBreaks = 16;
    static constexpr std::size_t samplesPerBreak = 16;

    std::vector<Position>::const_iterator Begin() const {
        return breaks.cbegin() + static_cast<std::ptrdiff_t>(head);
    }

    template <class IsBreak>
    void Replace(Position first, Position last, std::size_t limit, IsBreak isBreak) {
        std::vector<Position> found;
        for (Position position = first; position <= last; ++position) {
            if (!isBreak(position)) {
                continue;
            }
            if (found.size() == limit) {
                Forget(found.back());
                found.clear();
            }
            found.push_back(position);
        }
        const auto from = std::lower_bound(Begin(), breaks.cend(), first);
        const auto to = std::upper_bound(from, breaks.cend(), last);
        if (!std::equal(from, to, found.begin(), found.end())) {
            found.insert(found.begin(), Begin(), from);
            found.insert(found.end(), to, breaks.cend());
            breaks.swap(found);
            head = 0;
        }
    }

    void Forget(Position upTo) noexcept {
        start = std::max(start, upTo);
        DropForgotten();
    }

    void DropForgotten() noexcept {
        if (breaks.empty()) {
            return;
        }
        while (head < breaks.size() && breaks[head] <= start) {
            ++head;
        }
        // Moves at most as many as have gone since the last time.
        if (2 * head >= breaks.size()) {
            breaks.erase(breaks.begin(), Begin());
            head = 0;
        }
    }

    Position start = 0;
    // Those before `head` are no longer in use.
    std::vector<Position> breaks;
    std::size_t head = 0;
};

}  // namespace velmora::core::tessaryn
