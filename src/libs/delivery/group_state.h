// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/change.h"
#include "delivery/delivery.h"
#include "delivery/options.h"
#include "delivery/rule.h"
#include "delivery/stream_pattern.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
class Stream;
class StreamRepository;
}  // namespace velmora::core::tessaryn

namespace velmora::delivery {

class Scheduler;

/// What a `DeliveryGroup` shares with the timer that looks for streams.
///
/// \threadsafety guarded. Its mutex comes after the locks of repository and groups, and before
/// those of streams.
class GroupState {
  public:
    GroupState(std::shared_ptr<Scheduler> scheduler, core::tessaryn::StreamRepository& repository,
               const std::string& pattern, Rule rule, Handler handler, DeliveryOptions options);

    std::size_t Rescan();
    void Stop();
    bool Drain(std::chrono::milliseconds timeout);
    std::vector<std::string> GetPaths() const;
    DeliveryStatistics GetStatistics(const std::string& path) const;
    DeliveryStatistics GetStatistics() const;
    bool IsStopped() const;

  private:
    bool Add(const std::string& path, core::tessaryn::Stream& stream);
    void ForgetEnded();

    const std::shared_ptr<Scheduler> scheduler;
    core::tessaryn::StreamRepository& repository;
    const StreamPattern pattern;
    const Rule rule;
    const Handler handler;
    const DeliveryOptions options;

    /// Held while the repository is visited, so that `Stop` can wait for the visit to end.
    std::mutex visitMutex;
    mutable std::mutex mutex;
    // All below guarded by the mutex.
    std::map<std::string, Delivery> members;
    DeliveryStatistics past;
    bool isStopped = false;
};

}  // namespace velmora::delivery
