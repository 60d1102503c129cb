// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/delivery_group.h"

#include "delivery/channel.h"
#include "delivery/group_state.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"

#include <algorithm>
#include <utility>

namespace velmora::delivery {

using core::tessaryn::Stream;
using core::tessaryn::StreamRepository;

namespace {

using Lock = std::lock_guard<std::mutex>;

}  // namespace

GroupState::GroupState(std::shared_ptr<Scheduler> scheduler, StreamRepository& repository,
                       const std::string& pattern, Rule rule, Handler handler,
                       DeliveryOptions options)
    : scheduler(std::move(scheduler)),
      repository(repository),
      pattern(pattern, repository.groupSeparator()),
      rule(std::move(rule)),
      handler(std::move(handler)),
      options(std::move(options)) {}

std::size_t GroupState::Rescan() {
    const Lock visitLock(visitMutex);
    if (IsStopped()) {
        return 0;
    }
    ForgetEnded();
    std::size_t added = 0;
    // No stream is deleted while the repository visits it.
    repository.ForEachStream([&](const std::string& path, Stream& stream) {
        if (pattern.Matches(path) && Add(path, stream)) {
            ++added;
        }
    });
    return added;
}

bool GroupState::Add(const std::string& path, Stream& stream) {
    const Lock lock(mutex);
    if (isStopped || members.count(path) != 0) {
        return false;
    }
    if (stream.GetStreamType() != nullptr && !rule.CanApplyTo(*stream.GetStreamType())) {
        return false;
    }
    const auto channel = std::make_shared<Channel>(scheduler, path, handler, options);
    channel->Attach(stream, rule, false);
    members.emplace(path, Delivery(channel));
    return true;
}

// Removes the deliveries whose streams have gone. The visit then finds a new stream of the same
// path.
void GroupState::ForgetEnded() {
    std::vector<Delivery> ended;
    const Lock lock(mutex);
    for (auto member = members.begin(); member != members.end();) {
        if (member->second.HasEnded()) {
            past += member->second.GetStatistics();
            ended.push_back(std::move(member->second));
            member = members.erase(member);
        } else {
            ++member;
        }
    }
}

void GroupState::Stop() {
    std::map<std::string, Delivery> stopped;
    {
        const Lock lock(mutex);
        isStopped = true;
        stopped.swap(members);
    }
    // A visit on another thread adds nothing more, but still uses the repository.
    const Lock visitLock(visitMutex);
    for (auto& [path, delivery] : stopped) {
        delivery.Stop();
        const Lock lock(mutex);
        past += delivery.GetStatistics();
    }
}

bool GroupState::Drain(std::chrono::milliseconds timeout) {
    const auto end = std::chrono::steady_clock::now() + timeout;
    std::vector<std::shared_ptr<Channel>> channels;
    {
        const Lock lock(mutex);
        for (const auto& [path, delivery] : members) {
            channels.push_back(delivery.channel);
        }
    }
    return std::all_of(channels.begin(), channels.end(), [&](const auto& channel) {
        const auto left = end - std::chrono::steady_clock::now();
        return channel->Drain(std::chrono::duration_cast<std::chrono::milliseconds>(left));
    });
}

std::vector<std::string> GroupState::GetPaths() const {
    std::vector<std::string> paths;
    const Lock lock(mutex);
    for (const auto& [path, delivery] : members) {
        paths.push_back(path);
    }
    return paths;
}

DeliveryStatistics GroupState::GetStatistics(const std::string& path) const {
    const Lock lock(mutex);
    const auto member = members.find(path);
    return member == members.end() ? DeliveryStatistics() : member->second.GetStatistics();
}

DeliveryStatistics GroupState::GetStatistics() const {
    const Lock lock(mutex);
    DeliveryStatistics sum = past;
    for (const auto& [path, delivery] : members) {
        sum += delivery.GetStatistics();
    }
    return sum;
}

bool GroupState::IsStopped() const {
    const Lock lock(mutex);
    return isStopped;
}

DeliveryGroup::DeliveryGroup() = default;
DeliveryGroup::DeliveryGroup(std::shared_ptr<GroupState> state) : state(std::move(state)) {}
DeliveryGroup::DeliveryGroup(DeliveryGroup&& other) noexcept = default;

DeliveryGroup& DeliveryGroup::operator=(DeliveryGroup&& other) noexcept {
    if (this != &other) {
        Stop();
        state = std::move(other.state);
    }
    return *this;
}

DeliveryGroup::~DeliveryGroup() {
    Stop();
}

std::size_t DeliveryGroup::Rescan() {
    return state ? state->Rescan() : 0;
}

void DeliveryGroup::Stop() {
    if (state) {
        state->Stop();
    }
}

bool DeliveryGroup::Drain(std::chrono::milliseconds timeout) {
    return !state || state->Drain(timeout);
}

std::vector<std::string> DeliveryGroup::GetPaths() const {
    return state ? state->GetPaths() : std::vector<std::string>();
}

DeliveryStatistics DeliveryGroup::GetStatistics(const std::string& path) const {
    return state ? state->GetStatistics(path) : DeliveryStatistics();
}

DeliveryStatistics DeliveryGroup::GetStatistics() const {
    return state ? state->GetStatistics() : DeliveryStatistics();
}

}  // namespace velmora::delivery
