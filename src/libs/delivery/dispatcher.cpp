// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/dispatcher.h"

#include "delivery/channel.h"
#include "delivery/group_state.h"
#include "delivery/job.h"
#include "delivery/scheduler.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

namespace velmora::delivery {

using core::tessaryn::Stream;
using core::tessaryn::StreamRepository;

Dispatcher::Dispatcher(std::size_t workers, const std::string& name)
    : Dispatcher(DispatcherOptions{.workers = workers, .name = name}) {}

Dispatcher::Dispatcher(const DispatcherOptions& options) {
    if (options.workers == 0) {
        throw std::invalid_argument("A dispatcher needs at least one worker.");
    }
    if (options.interval.count() < 0) {
        throw std::invalid_argument("A dispatcher's interval must not be negative.");
    }
    scheduler = Scheduler::Start(options);
}

Dispatcher::~Dispatcher() {
    scheduler->Stop();
}

Delivery Dispatcher::Subscribe(Stream& stream, const Rule& rule, Handler handler,
                               DeliveryOptions options) {
    return Subscribe(stream, rule, std::move(handler), std::move(options), false);
}

Delivery Dispatcher::SubscribeWithHistory(Stream& stream, const Rule& rule, Handler handler,
                                          DeliveryOptions options) {
    return Subscribe(stream, rule, std::move(handler), std::move(options), true);
}

Delivery Dispatcher::Subscribe(Stream& stream, const Rule& rule, Handler handler,
                               DeliveryOptions options, bool withHistory) {
    auto channel =
        std::make_shared<Channel>(scheduler, std::string(), std::move(handler), std::move(options));
    channel->Attach(stream, rule, withHistory);
    return Delivery(std::move(channel));
}

DeliveryGroup Dispatcher::SubscribeAll(StreamRepository& repository, const std::string& pattern,
                                       const Rule& rule, Handler handler, DeliveryOptions options) {
    const std::chrono::milliseconds interval = options.rescanInterval;
    auto state = std::make_shared<GroupState>(scheduler, repository, pattern, rule,
                                              std::move(handler), std::move(options));
    DeliveryGroup group(state);
    group.Rescan();
    if (interval.count() > 0) {
        scheduler->AddTimer(interval, [weak = std::weak_ptr<GroupState>(state)] {
            const std::shared_ptr<GroupState> alive = weak.lock();
            if (!alive || alive->IsStopped()) {
                return false;
            }
            alive->Rescan();
            return true;
        });
    }
    return group;
}

bool Dispatcher::Drain(std::chrono::milliseconds timeout) {
    const auto end = std::chrono::steady_clock::now() + timeout;
    const std::vector<std::shared_ptr<Job>> jobs = scheduler->GetJobs();
    return std::all_of(jobs.begin(), jobs.end(), [&](const auto& job) {
        const auto left = end - std::chrono::steady_clock::now();
        return job->Drain(std::chrono::duration_cast<std::chrono::milliseconds>(left));
    });
}

DeliveryStatistics Dispatcher::GetStatistics() const {
    return scheduler->GetStatistics();
}

}  // namespace velmora::delivery
