// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/delivery.h"
#include "delivery/export.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace velmora::delivery {

class GroupState;

/// The deliveries of all streams whose path matches a pattern: one for each stream, with its own
/// queue, counts and conditions. The destructor ends them.
///
/// The handler is called for several streams at a time if the dispatcher has several workers.
/// The repository must outlive the group, or `Stop` comes first.
///
/// \threadsafety guarded: but for assignment and destruction. Operations take the repository's and
/// its groups' locks (`Rescan`) or a stream's lock for subscriptions (`Stop`), so they must not be
/// called from delegates.
class DELIVERY_API DeliveryGroup {
  public:
    DeliveryGroup();
    explicit DeliveryGroup(std::shared_ptr<GroupState> state);
    DeliveryGroup(DeliveryGroup&& other) noexcept;
    DeliveryGroup& operator=(DeliveryGroup&& other) noexcept;
    /// As `Stop`.
    ~DeliveryGroup();

    /// Subscribes to streams that were added, and forgets those that have gone.
    /// \return how many were added
    std::size_t Rescan();
    /// Ends all deliveries, each as `Delivery::Stop`, and stops looking for streams.
    void Stop();
    /// As `Delivery::Drain` for all deliveries, within the time as a whole.
    bool Drain(std::chrono::milliseconds timeout);
    /// The paths of the streams that are delivered now, sorted.
    std::vector<std::string> GetPaths() const;
    /// The counts of one stream's delivery; zeros for another path.
    DeliveryStatistics GetStatistics(const std::string& path) const;
    /// The sum over all streams, including those that have gone.
    DeliveryStatistics GetStatistics() const;

  private:
    std::shared_ptr<GroupState> state;
};

}  // namespace velmora::delivery
