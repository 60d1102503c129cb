// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/delivery.h"

#include "delivery/channel.h"

#include <algorithm>
#include <utility>

namespace velmora::delivery {

DeliveryStatistics& DeliveryStatistics::operator+=(const DeliveryStatistics& other) {
    accepted += other.accepted;
    delivered += other.delivered;
    dropped += other.dropped;
    waiting += other.waiting;
    maxWaiting = std::max(maxWaiting, other.maxWaiting);
    late += other.late;
    failures += other.failures;
    handlerTime += other.handlerTime;
    longestHandler = std::max(longestHandler, other.longestHandler);
    return *this;
}

Delivery::Delivery() = default;
Delivery::Delivery(std::shared_ptr<Channel> channel) : channel(std::move(channel)) {}
Delivery::Delivery(Delivery&& other) noexcept = default;

Delivery& Delivery::operator=(Delivery&& other) noexcept {
    if (this != &other) {
        Stop();
        channel = std::move(other.channel);
    }
    return *this;
}

Delivery::~Delivery() {
    Stop();
}

void Delivery::Stop() {
    if (channel) {
        channel->Stop();
    }
}

bool Delivery::Drain(std::chrono::milliseconds timeout) {
    return !channel || channel->Drain(timeout);
}

void Delivery::Flush(const Poco::Timestamp& now) {
    if (channel) {
        channel->Flush(now);
    }
}

bool Delivery::HasEnded() const {
    return !channel || channel->HasEnded();
}

DeliveryStatistics Delivery::GetStatistics() const {
    return channel ? channel->GetStatistics() : DeliveryStatistics();
}

}  // namespace velmora::delivery
