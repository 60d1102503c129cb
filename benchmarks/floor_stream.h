// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "floor_sample.h"

#include <Poco/AbstractDelegate.h>
#include <Poco/Mutex.h>
#include <Poco/Timespan.h>

#include <functional>
#include <iosfwd>
#include <memory>
#include <vector>

namespace velmora::benchmarks {

/// What the floor's delegates receive.
struct FloorArgs {
    unsigned char changeType;
    FloorSample* sample;
    void* sender;
};

/// The least that a stream can be whose ring is full: what can be seen from outside, and no more.
///
/// Its code is in a source file of its own, so that nobody's loop takes part of it away.
class FloorStream {
  public:
    using Filter = std::function<bool(const FloorSample&)>;
    using Samples = std::vector<FloorSample*>;

    FloorStream(const FloorType& streamType, int maxSize);
    FloorStream(const FloorStream&) = delete;
    FloorStream& operator=(const FloorStream&) = delete;
    ~FloorStream();

    void PushNew(std::function<void(FloorSample&)> fill);
    void PushNew(std::istream& in);
    void PushNew(std::unique_ptr<FloorSample> sample);

    /// \param filter empty: every sample
    void Subscribe(Filter filter, const Poco::AbstractDelegate<FloorArgs>& delegate);

    void GetLatest(std::function<void(const FloorSample&)> callback) const;
    /// By binary search: the stamps ascend.
    void GetLast(const Poco::Timespan& span, std::function<void(const Samples&)> callback) const;

  private:
    struct Subscription {
        Filter filter;
        std::unique_ptr<Poco::AbstractDelegate<FloorArgs>> delegate;
    };

    FloorSample& Store(std::unique_ptr<FloorSample> sample);
    void Notify(const FloorSample& sample);
    void NoticeOrder(const Samples& answer) const;

    mutable Poco::Mutex mutex;
    Samples samples;
    std::vector<Subscription> subscriptions;
    Poco::Mutex subscriptionsMutex;
    const FloorType* type;
    std::size_t newest;
    mutable bool ascending = true;
};

}  // namespace velmora::benchmarks
