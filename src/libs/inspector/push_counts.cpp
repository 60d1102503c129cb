// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/push_counts.h"

#include "tessaryn/rules.h"
#include "tessaryn/stream.h"

#include <algorithm>
#include <utility>

namespace velmora::inspector {

using core::tessaryn::ScopedSubscription;
using core::tessaryn::Stream;
using core::tessaryn::SubscriptionArgs;

namespace {

using Lock = std::lock_guard<std::mutex>;

}  // namespace

void PushCounts::Update() {
    if (!model.options.countsPushes) {
        return;
    }
    const std::shared_ptr<const PathList> list = model.index.Get();
    const Lock lock(mutex);
    // A stream that has gone does not keep others from being counted.
    std::erase_if(streams, [&](const auto& stream) {
        return stream.second.isAlive.expired() &&
               !model.TryVisit(stream.first, [](const Stream&) {});
    });
    for (const std::string& path : list->GetPaths()) {
        const auto place = streams.find(path);
        if (place != streams.end() && !place->second.isAlive.expired()) {
            continue;
        }
        if (place == streams.end() && streams.size() >= model.options.limits.maxMetricStreams) {
            return;
        }
        Subscribe(streams[path], path);
    }
}

void PushCounts::Subscribe(Counted& counted, const std::string& path) const {
    if (!counted.count) {
        counted.count = std::make_shared<Count>();
    }
    const auto isAlive = std::make_shared<const bool>(true);
    counted.isAlive = isAlive;
    model.TryVisit(path, [&](Stream& stream) {
        counted.subscription = ScopedSubscription(
            stream, core::tessaryn::rules::HasStreamChangeType(core::tessaryn::pushed),
            [count = counted.count, isAlive](SubscriptionArgs&) {
                count->pushes.fetch_add(1, std::memory_order_relaxed);
            });
    });
}

void PushCounts::Clear() {
    const Lock lock(mutex);
    for (auto& [path, counted] : streams) {
        // The stream must not go meanwhile; one that has gone has taken its subscription along.
        model.TryVisit(
            path, [&subscription = counted.subscription](const Stream&) { subscription.Reset(); });
    }
}

std::optional<std::uint64_t> PushCounts::Get(const std::string& path) const {
    const Lock lock(mutex);
    const auto place = streams.find(path);
    return place == streams.end() ? std::nullopt
                                  : std::optional(place->second.count->pushes.load());
}

}  // namespace velmora::inspector
