// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/condition.h"
#include "delivery/dispatcher.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/subscription_rules.h"

#include <chrono>
#include <functional>
#include <latch>
#include <mutex>
#include <vector>

namespace velmora::test {

using namespace std::chrono_literals;
using core::tessaryn::Sample;
using core::tessaryn::Stream;
using core::tessaryn::StreamType;
using core::tessaryn::SubscriptionArgs;
using delivery::Change;
using delivery::Delivery;
using delivery::DeliveryOptions;
using delivery::DeliveryStatistics;
using delivery::Dispatcher;
using delivery::Overflow;

// Reached only if the code under test hangs.
inline constexpr auto patience = 60s;

/// A type of one number, and a stream of it.
struct NumberStream {
    explicit NumberStream(long maxSize = 1000) : stream(Added(type), maxSize) {}

    void Push(int value) {
        stream.PushNew([&](Sample& sample) { sample.Set(0, 0, value); });
    }

    void Ignore(SubscriptionArgs& /*args*/) {}

    static StreamType* Added(StreamType& type) {
        type.Add("n", core::tessaryn::Int32, 1);
        return &type;
    }

    StreamType type;
    Stream stream;
};

inline int NumberOf(const Sample& sample) {
    return sample.GetInt32(0, 0);
}

/// The changes that a handler was called with, in order.
class Log {
  public:
    void operator()(const Change& change) {
        const std::lock_guard lock(mutex);
        numbers.push_back(NumberOf(change.sample));
        sequences.push_back(change.sequence);
        dropped.push_back(change.dropped);
    }
    std::vector<int> GetNumbers() const {
        const std::lock_guard lock(mutex);
        return numbers;
    }

    mutable std::mutex mutex;
    std::vector<int> numbers;
    std::vector<std::uint64_t> sequences;
    std::vector<std::uint64_t> dropped;
};

/// Blocks a handler inside its first call until `Open`.
class Gate {
  public:
    /// For the handler.
    void Pass() {
        std::call_once(once, [this] {
            arrived.count_down();
            opened.wait();
        });
    }
    void WaitForHandler() { arrived.wait(); }
    void Open() { opened.count_down(); }

  private:
    std::once_flag once;
    std::latch arrived{1};
    std::latch opened{1};
};

}  // namespace velmora::test
