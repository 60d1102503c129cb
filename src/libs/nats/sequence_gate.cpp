// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/sequence_gate.h"

#include <utility>

namespace velmora::nats {

namespace {

// Longer than a publisher takes to send again, and a server to deliver again.
constexpr std::chrono::seconds maxWait(20);

}  // namespace

SequenceGate::SequenceGate(std::optional<std::uint64_t> last, std::size_t maxHeld)
    : last(last), maxHeld(maxHeld) {}

bool SequenceGate::IsNew(std::uint64_t sequence) const {
    return (!last || sequence > *last) && !held.contains(sequence);
}

void SequenceGate::Offer(Numbered&& numbered, Clock::time_point now) {
    if (held.empty()) {
        heldSince = now;
    }
    const std::uint64_t sequence = numbered.header.sequence;
    held.try_emplace(sequence, std::move(numbered));
}

std::vector<SequenceGate::Numbered> SequenceGate::TakeReady(Clock::time_point now,
                                                            std::uint64_t& missing) {
    std::vector<Numbered> ready;
    while (!held.empty()) {
        const auto next = held.begin();
        const std::uint64_t skipped = last ? next->first - *last - 1 : 0;
        if (skipped != 0 && held.size() <= maxHeld && now - heldSince < maxWait) {
            break;
        }
        missing += skipped;
        last = next->first;
        ready.push_back(std::move(next->second));
        held.erase(next);
        heldSince = now;
    }
    return ready;
}

}  // namespace velmora::nats
