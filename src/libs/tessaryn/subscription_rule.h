// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/subscription_args.h"

namespace velmora::core::tessaryn {

/// Decides for each change of a stream whether a subscriber is notified.
///
/// \threadsafety immutable: `Applies` and `Clone` may run on several threads at once, each with
/// its own arguments; implementations must keep it so
class TESSARYN_API ISubscriptionRule {
  public:
    ISubscriptionRule() = default;
    ISubscriptionRule(const ISubscriptionRule&) = default;
    ISubscriptionRule& operator=(const ISubscriptionRule&) = default;

    // The order of these three is part of the binary interface.
    virtual ~ISubscriptionRule();
    /// Whether the subscriber is to be notified of this change.
    ///
    /// Called on the thread that changed the stream while both of the stream's locks are held.
    /// \throws anything: the exception leaves the operation that changed the stream
    virtual bool Applies(SubscriptionArgs& args) const = 0;
    /// An independent rule that behaves the same.
    /// \return \ownership gives
    virtual ISubscriptionRule* Clone() const = 0;
};

}  // namespace velmora::core::tessaryn
