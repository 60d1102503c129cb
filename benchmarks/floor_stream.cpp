// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "floor_stream.h"

#include <Poco/ScopedLock.h>

#include <algorithm>
#include <utility>

namespace velmora::benchmarks {

namespace {

using Lock = Poco::ScopedLock<Poco::Mutex>;

}  // namespace

FloorStream::FloorStream(const FloorType& streamType, int maxSize)
    : samples(static_cast<std::size_t>(maxSize), nullptr),
      type(&streamType),
      newest(samples.size() - 1) {}

FloorStream::~FloorStream() {
    for (const FloorSample* sample : samples) {
        delete sample;
    }
}

void FloorStream::PushNew(std::function<void(FloorSample&)> fill) {
    // Memory is taken before the lock, and given back after it.
    auto made = std::make_unique<FloorSample>(*type, Poco::Timestamp());
    std::unique_ptr<FloorSample> oldest;
    const Lock lock(mutex);
    FloorSample& sample = Store(std::move(made), oldest);
    fill(sample);
    Notify(sample);
}

void FloorStream::PushNew(std::istream& in) {
    auto made = std::make_unique<FloorSample>(*type, Poco::Timestamp());
    std::unique_ptr<FloorSample> oldest;
    const Lock lock(mutex);
    FloorSample& sample = Store(std::move(made), oldest);
    sample.Deserialize(in);
    Notify(sample);
}

void FloorStream::PushNew(std::unique_ptr<FloorSample> sample) {
    std::unique_ptr<FloorSample> oldest;
    const Lock lock(mutex);
    Notify(Store(std::move(sample), oldest));
}

void FloorStream::Subscribe(Filter filter, const Poco::AbstractDelegate<FloorArgs>& delegate) {
    const Lock lock(subscriptionsMutex);
    subscriptions.push_back(
        {std::move(filter), std::unique_ptr<Poco::AbstractDelegate<FloorArgs>>(delegate.clone())});
}

void FloorStream::GetLatest(std::function<void(const FloorSample&)> callback) const {
    const Lock lock(mutex);
    callback(*samples[newest]);
}

void FloorStream::GetLast(const Poco::Timespan& span,
                          std::function<void(const Samples&)> callback) const {
    const Lock lock(mutex);
    const Poco::Timestamp since = Poco::Timestamp() - span;
    const auto isBefore = [&](const FloorSample* sample) { return sample->GetTimeStamp() < since; };
    const auto seam = samples.begin() + static_cast<std::ptrdiff_t>(newest) + 1;
    Samples answer;
    if (isBefore(samples.front())) {
        const auto first = std::partition_point(samples.begin(), seam, isBefore);
        answer.assign(first, seam);
    } else {
        const auto first = std::partition_point(seam, samples.end(), isBefore);
        answer.reserve(
            static_cast<std::size_t>((seam - samples.begin()) + (samples.end() - first)));
        answer.insert(answer.end(), samples.begin(), seam);
        answer.insert(answer.end(), first, samples.end());
    }
    Answer(answer, callback);
}

void FloorStream::GetAll(std::function<void(const Samples&)> callback) const {
    const Lock lock(mutex);
    // A copy: the callback may push.
    Answer(Samples(samples), callback);
}

FloorSample& FloorStream::Store(std::unique_ptr<FloorSample> sample,
                                std::unique_ptr<FloorSample>& oldest) {
    newest = newest + 1 < samples.size() ? newest + 1 : 0;
    oldest.reset(std::exchange(samples[newest], sample.release()));
    return *samples[newest];
}

void FloorStream::Notify(const FloorSample& sample) {
    const Lock lock(subscriptionsMutex);
    if (subscriptions.empty()) {
        return;
    }
    FloorSample copy(sample);
    FloorArgs args{0, &copy, nullptr};
    for (const Subscription& subscription : subscriptions) {
        if (!subscription.filter || subscription.filter(*args.sample)) {
            subscription.delegate->notify(this, args);
        }
    }
}

// The callback may change the time stamps of the samples, on whose order searches rely.
void FloorStream::Answer(const Samples& answer,
                         const std::function<void(const Samples&)>& callback) const {
    FloorSample::isStamped = false;
    callback(answer);
    if (FloorSample::isStamped) {
        ascending = false;
    }
}

}  // namespace velmora::benchmarks
