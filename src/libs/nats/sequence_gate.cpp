// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/sequence_gate.h"

#include <utility>

namespace velmora::nats {

SequenceGate::SequenceGate(std::optional<std::uint64_t> last, std::size_t maxHeld,
                           std::chrono::milliseconds maxWait)
    : last(last), maxHeld(maxHeld), maxWait(maxWait) {}

bool SequenceGate::IsNew(std::uint64_t sequence) const {
    return (!last || sequence > *last) && !held.contains(sequence);
}

std::uint64_t SequenceGate::Offer(Numbered&& numbered, Clock::time_point now,
                                  std::vector<Numbered>& passed) {
    const std::uint64_t sequence = numbered.header.sequence;
    if (IsNext(sequence)) {
        last = sequence;
        passed.push_back(std::move(numbered));
        return 0;
    }
    if (held.empty()) {
        heldSince = now;
    }
    held.try_emplace(sequence, std::move(numbered));
    return TakeReady(now, passed);
}

std::uint64_t SequenceGate::TakeReady(Clock::time_point now, std::vector<Numbered>& passed) {
    std::uint64_t missing = 0;
    while (!held.empty()) {
        const auto next = held.begin();
        const std::uint64_t skipped = last ? next->first - *last - 1 : 0;
        if (skipped != 0 && next->first - 1 > complete && held.size() <= maxHeld &&
            now - heldSince < maxWait) {
            break;
        }
        missing += skipped;
        last = next->first;
        passed.push_back(std::move(next->second));
        held.erase(next);
        heldSince = now;
    }
    return missing;
}

}  // namespace velmora::nats
