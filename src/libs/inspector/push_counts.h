// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/model.h"
#include "tessaryn/scoped_subscription.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace velmora::inspector {

/// Counts the pushes of streams, from when it first looked at them, by a subscription to each.
///
/// \threadsafety guarded: but for destruction
class PushCounts {
  public:
    /// \param model must outlive this, as must its streams; or `Clear` comes first
    explicit PushCounts(const Model& model) : model(model) {}

    /// Subscribes to the first streams that are not counted yet.
    void Update();
    /// Ends all subscriptions. The counts stay.
    void Clear();
    /// None of a stream that is not counted.
    std::optional<std::uint64_t> Get(const std::string& path) const;

  private:
    struct Count {
        std::atomic<std::uint64_t> pushes = 0;
    };
    struct Counted {
        std::shared_ptr<Count> count;
        /// Expires with the subscription: when the stream has gone, or has dropped it.
        std::weak_ptr<const bool> isAlive;
        core::tessaryn::ScopedSubscription subscription;
    };

    void Subscribe(Counted& counted, const std::string& path) const;

    const Model& model;
    mutable std::mutex mutex;
    std::map<std::string, Counted> streams;  ///< guarded by `mutex`
};

}  // namespace velmora::inspector
