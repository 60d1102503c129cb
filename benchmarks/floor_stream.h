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

/// The argument of the floor's delegates.
struct FloorArgs {
    unsigned char changeType;
    FloorSample* sample;
    void* sender;
};

/// The minimum of a stream whose ring is full: all that is visible from outside, and nothing else.
///
/// It is compiled separately, so that no benchmark's loop is optimised together with it.
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

    /// \param filter empty for every sample
    void Subscribe(Filter filter, const Poco::AbstractDelegate<FloorArgs>& delegate);

    void GetLatest(std::function<void(const FloorSample&)> callback) const;
    void GetAll(std::function<void(const Samples&)> callback) const;
    /// By binary search: the time stamps ascend.
    void GetLast(const Poco::Timespan& span, std::function<void(const Samples&)> callback) const;

  private:
    struct Subscription {
        Filter filter;
        std::unique_ptr<Poco::AbstractDelegate<FloorArgs>> delegate;
    };

    FloorSample& Store(std::unique_ptr<FloorSample> sample, std::unique_ptr<FloorSample>& oldest);
    void Notify(const FloorSample& sample);
    void Answer(const Samples& answer, const std::function<void(const Samples&)>& callback) const;

    mutable Poco::Mutex mutex;
    Samples samples;
    std::vector<Subscription> subscriptions;
    Poco::Mutex subscriptionsMutex;
    const FloorType* type;
    std::size_t newest;
    mutable bool ascending = true;
};

}  // namespace velmora::benchmarks
