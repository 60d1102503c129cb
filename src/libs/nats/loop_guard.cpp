// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/loop_guard.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <unordered_map>

namespace velmora::nats {

namespace {

thread_local int depth = 0;

// The first number of each numbering that publishers of this process have used.
struct Numberings {
    std::atomic<bool> isEmpty = true;
    std::mutex mutex;
    std::unordered_map<std::uint32_t, std::uint64_t> first;
};

Numberings& Published() {
    static Numberings numberings;
    return numberings;
}

}  // namespace

FollowScope::FollowScope() {
    ++depth;
}

FollowScope::~FollowScope() {
    --depth;
}

bool FollowScope::IsActive() {
    return depth != 0;
}

bool OwnChangesRule::Applies(core::tessaryn::SubscriptionArgs& /*args*/) const {
    return !FollowScope::IsActive();
}

core::tessaryn::ISubscriptionRule* OwnChangesRule::Clone() const {
    return new OwnChangesRule(*this);
}

void RememberPublished(std::uint32_t numbering, std::uint64_t firstSequence) {
    Numberings& published = Published();
    const std::lock_guard lock(published.mutex);
    published.isEmpty = false;
    const auto [place, isNew] = published.first.try_emplace(numbering, firstSequence);
    place->second = std::min(place->second, firstSequence);
}

bool IsPublishedHere(std::uint32_t numbering, std::uint64_t sequence) {
    Numberings& published = Published();
    if (published.isEmpty) {
        return false;
    }
    const std::lock_guard lock(published.mutex);
    const auto place = published.first.find(numbering);
    return place != published.first.end() && sequence >= place->second;
}

}  // namespace velmora::nats
