// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/condition.h"
#include "delivery/export.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <string>

namespace velmora::delivery {

/// What happens to a change when the queue is full.
enum class Overflow : unsigned char {
    dropOldest,  ///< the change that has waited longest makes room
    dropNewest,  ///< the change itself is dropped
    keepLatest,  ///< the queue holds one change, the latest; the capacity is ignored
    wait  ///< the pusher waits up to `DeliveryOptions::maxWait` for room, then drops the change
};

/// Called with what a handler throws, on the worker's thread.
using ErrorHandler = std::function<void(std::exception_ptr)>;

/// The workers of a `Dispatcher`.
///
/// \threadsafety external
struct DispatcherOptions {
    std::size_t workers = 1;  ///< threads, at least 1
    /// The threads' name for debuggers, cut so that it has 15 characters with a number.
    std::string name = "delivery";
    /// The interval at which workers look for changes, for deliveries that may be delayed. Changes
    /// are collected meanwhile and handled together, so no push wakes a worker, and pushers rarely
    /// contend with one for a queue. The capacities must hold the changes of an interval. Zero:
    /// pushes wake workers.
    std::chrono::milliseconds interval = std::chrono::milliseconds(0);
    /// Called by each worker when it starts, such as to set its priority; must not throw.
    std::function<void()> onStart = {};
};

/// How changes are delivered from a stream to a handler.
///
/// \threadsafety external
struct DeliveryOptions {
    /// The most changes that wait. The queue allocates memory as it fills.
    std::size_t capacity = 1024;
    Overflow overflow = Overflow::dropOldest;
    /// For `Overflow::wait`: how long a push may wait, with its stream locked.
    std::chrono::microseconds maxWait = std::chrono::milliseconds(100);
    /// Select, or replace, the changes to deliver.
    ConditionChain conditions = {};
    /// Called when the handler throws; if empty, a warning is logged to "velmora.delivery".
    ErrorHandler onError = {};
    /// Called once, on a worker's thread, when the stream has gone or dropped its subscriptions and
    /// all queued changes have been handled. Not called after `Stop`.
    std::function<void()> onEnd = {};
    /// For `SubscribeAll`: how often to look for new streams; zero: only in `Rescan`.
    std::chrono::milliseconds rescanInterval = std::chrono::milliseconds(0);
};

/// Counts of a delivery, or of several.
///
/// Always: accepted = delivered + dropped + waiting.
///
/// \threadsafety external
struct DELIVERY_API DeliveryStatistics {
    std::uint64_t accepted = 0;    ///< changes that rule and conditions let through
    std::uint64_t delivered = 0;   ///< changes that a handler was called with, failures included
    std::uint64_t dropped = 0;     ///< changes that a full queue dropped, or queued at `Stop`
    std::uint64_t waiting = 0;     ///< changes queued now, including those in a handler's batch
    std::uint64_t maxWaiting = 0;  ///< the most that were queued at a time, in any one delivery
    std::uint64_t late = 0;        ///< changes that conditions ignored as older than an earlier one
    std::uint64_t failures = 0;    ///< calls of a handler that threw
    std::chrono::nanoseconds handlerTime = {};     ///< wall time spent in handlers
    std::chrono::nanoseconds longestHandler = {};  ///< the longest call

    DeliveryStatistics& operator+=(const DeliveryStatistics& other);
};

}  // namespace velmora::delivery
