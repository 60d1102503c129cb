// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/subscription_rule.h"

#include <cstdint>

/// \file
/// Prevents samples from looping between publishers and followers.

namespace velmora::nats {

/// While one exists, the pushes of this thread come from a follower.
///
/// \threadsafety external
class FollowScope {
  public:
    FollowScope();
    FollowScope(const FollowScope&) = delete;
    FollowScope& operator=(const FollowScope&) = delete;
    ~FollowScope();

    /// Whether this thread has such a scope.
    static bool IsActive();
};

/// Applies to changes that do not come from a follower of this process.
///
/// \threadsafety immutable
class OwnChangesRule : public core::tessaryn::ISubscriptionRule {
  public:
    bool Applies(core::tessaryn::SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;
};

/// Records that this process publishes the samples of a numbering, starting with a number.
/// \threadsafety guarded
void RememberPublished(std::uint32_t numbering, std::uint64_t firstSequence);

/// Whether this process has published a sample.
/// \threadsafety guarded
bool IsPublishedHere(std::uint32_t numbering, std::uint64_t sequence);

}  // namespace velmora::nats
