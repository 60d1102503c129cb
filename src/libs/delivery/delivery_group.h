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

/// The deliveries of all streams whose path matches a pattern, one for each stream, with a queue,
/// counts and conditions of its own. The destructor ends them.
///
/// The handler is called for several streams at a time if the dispatcher has several workers.
/// The repository must outlive the group, or `Stop` comes first.
///
/// \threadsafety guarded: but for assignment and destruction. Operations take the repository's and
/// its groups' locks (`Rescan`) or a stream's lock for subscriptions (`Stop`), so they are not to
/// be called from delegates.
class DELIVERY_API DeliveryGroup {
  public:
    DeliveryGroup();
    explicit DeliveryGroup(std::shared_ptr<GroupState> state);
    DeliveryGroup(DeliveryGroup&& other) noexcept;
    DeliveryGroup& operator=(DeliveryGroup&& other) noexcept;
    /// As `Stop`.
    ~DeliveryGroup();

    /// Subscribes to the streams that have come, and forgets those that have gone.
    /// \return how many have come
    std::size_t Rescan();
    /// Ends all deliveries, each as `Delivery::Stop`, and looks for no more.
    void Stop();
    /// As `Delivery::Drain`, all within the time.
    bool Drain(std::chrono::milliseconds timeout);
    /// The paths of the streams that are delivered now, sorted.
    std::vector<std::string> GetPaths() const;
    /// The counts of one stream's delivery; zeros for another path.
    DeliveryStatistics GetStatistics(const std::string& path) const;
    /// The sum over all streams, those that have gone included.
    DeliveryStatistics GetStatistics() const;

  private:
    std::shared_ptr<GroupState> state;
};

}  // namespace velmora::delivery
