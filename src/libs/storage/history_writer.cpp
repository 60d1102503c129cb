// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_writer.h"

#include "storage/history_queue.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace velmora::storage {

using core::tessaryn::Sample;
using core::tessaryn::Stream;
using core::tessaryn::StreamRepository;
using delivery::Change;
using delivery::Delivery;
using delivery::DeliveryGroup;
using delivery::DeliveryOptions;
using delivery::DeliveryStatistics;

namespace {

constexpr std::chrono::seconds closeTimeout(10);

}  // namespace

class HistoryWriter::Implementation {
  public:
    Implementation(const std::string& path, HistoryWriterOptions options)
        : queue(path, std::move(options)) {}

    DeliveryStatistics GetDeliveryStatistics() const {
        const std::lock_guard lock(mutex);
        DeliveryStatistics sum = past;
        for (const DeliveryGroup& group : groups) {
            sum += group.GetStatistics();
        }
        for (const Delivery& delivery : deliveries) {
            sum += delivery.GetStatistics();
        }
        return sum;
    }

    void EndDeliveries(std::chrono::milliseconds timeout) {
        std::vector<DeliveryGroup> endedGroups;
        std::vector<Delivery> endedDeliveries;
        {
            const std::lock_guard lock(mutex);
            endedGroups.swap(groups);
            endedDeliveries.swap(deliveries);
        }
        const auto end = std::chrono::steady_clock::now() + timeout;
        const auto stop = [&](auto& ended) {
            ended.Drain(std::chrono::duration_cast<std::chrono::milliseconds>(
                end - std::chrono::steady_clock::now()));
            ended.Stop();
            const std::lock_guard lock(mutex);
            past += ended.GetStatistics();
        };
        for (DeliveryGroup& group : endedGroups) {
            stop(group);
        }
        for (Delivery& delivery : endedDeliveries) {
            stop(delivery);
        }
    }

    HistoryQueue queue;
    mutable std::mutex mutex;
    // All below guarded by the mutex.
    std::vector<DeliveryGroup> groups;
    std::vector<Delivery> deliveries;
    DeliveryStatistics past;
};

HistoryWriter::HistoryWriter(const std::string& path, HistoryWriterOptions options)
    : implementation(std::make_unique<Implementation>(path, std::move(options))) {}

HistoryWriter::~HistoryWriter() {
    implementation->EndDeliveries(closeTimeout);
}

void HistoryWriter::Write(const std::string& path, const Sample& sample) {
    implementation->queue.Push(path, sample, false);
}

void HistoryWriter::Write(const std::string& path, Sample&& sample) {
    implementation->queue.Push(path, std::move(sample), false);
}

void HistoryWriter::WriteIfNew(const std::string& path, Sample sample) {
    implementation->queue.Push(path, std::move(sample), true);
}

void HistoryWriter::Attach(delivery::Dispatcher& dispatcher, StreamRepository& repository,
                           const std::string& pattern, const delivery::Rule& rule,
                           DeliveryOptions options) {
    HistoryQueue& queue = implementation->queue;
    DeliveryGroup group = dispatcher.SubscribeAll(
        repository, pattern, rule,
        [&queue](Change& change) { queue.TryPush(change.path, std::move(change.sample), false); },
        std::move(options));
    const std::lock_guard lock(implementation->mutex);
    implementation->groups.push_back(std::move(group));
}

void HistoryWriter::Attach(delivery::Dispatcher& dispatcher, const std::string& path,
                           Stream& stream, const delivery::Rule& rule, DeliveryOptions options) {
    HistoryQueue& queue = implementation->queue;
    // Only samples that the stream holds now can already be in the history.
    Poco::Timestamp newest = Poco::Timestamp::TIMEVAL_MIN;
    stream.GetAll([&](const std::vector<Sample*>& samples) {
        for (const Sample* const sample : samples) {
            newest = std::max(newest, sample->GetTimeStamp());
        }
    });
    Delivery delivery = dispatcher.SubscribeWithHistory(
        stream, rule,
        [&queue, path, newest](Change& change) {
            const bool isHeld = change.sample.GetTimeStamp() <= newest;
            queue.TryPush(path, std::move(change.sample), isHeld);
        },
        std::move(options));
    const std::lock_guard lock(implementation->mutex);
    implementation->deliveries.push_back(std::move(delivery));
}

DeliveryOptions HistoryWriter::GetDeliveryOptions() {
    return {.capacity = 10'000, .rescanInterval = std::chrono::seconds(1)};
}

void HistoryWriter::Flush() {
    implementation->queue.Flush();
}

void HistoryWriter::Close(std::chrono::milliseconds timeout) {
    implementation->EndDeliveries(timeout);
    implementation->queue.Close();
}

HistoryWriterStatistics HistoryWriter::GetStatistics() const {
    HistoryWriterStatistics statistics = implementation->queue.GetStatistics();
    const DeliveryStatistics deliveries = implementation->GetDeliveryStatistics();
    statistics.accepted += deliveries.dropped;
    statistics.lost += deliveries.dropped;
    return statistics;
}

}  // namespace velmora::storage
