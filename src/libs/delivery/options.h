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

/// What happens to a change that finds the queue full.
enum class Overflow : unsigned char {
    dropOldest,  ///< the change that has waited longest makes room
    dropNewest,  ///< the change itself is dropped
    keepLatest,  ///< the queue holds one change, the latest; the capacity is ignored
    wait  ///< the pusher waits for room up to `DeliveryOptions::maxWait`, then it drops its own
};

/// Called with what a handler throws, on the worker's thread.
using ErrorHandler = std::function<void(std::exception_ptr)>;

/// The workers of a `Dispatcher`.
///
/// \threadsafety external
struct DispatcherOptions {
    std::size_t workers = 1;  ///< threads, at least 1
    /// Of the threads, for debuggers; with a number behind it, cut to 15 characters.
    std::string name = "delivery";
    /// Where handlers need not be quick: how often workers look for changes, which gather until
    /// then and are handled together. No push wakes a worker, and hardly one meets it at the queue.
    /// The capacities must hold what comes meanwhile. Zero: workers are woken.
    std::chrono::milliseconds interval = std::chrono::milliseconds(0);
    /// Called first by each worker, such as to set its priority; must not throw.
    std::function<void()> onStart = {};
};

/// How changes get from a stream to a handler.
///
/// \threadsafety external
struct DeliveryOptions {
    /// Changes that wait at most. The queue takes memory as it fills.
    std::size_t capacity = 1024;
    Overflow overflow = Overflow::dropOldest;
    /// Of `Overflow::wait`: how long a push may wait, with its stream locked.
    std::chrono::microseconds maxWait = std::chrono::milliseconds(100);
    /// Decide which changes are delivered, or what in their place.
    ConditionChain conditions = {};
    /// Called where the handler throws; empty logs a warning to the logger "velmora.delivery".
    ErrorHandler onError = {};
    /// Called once, on a worker's thread, when the stream has gone or dropped its subscriptions and
    /// all that was queued has been handled. Not called after `Stop`.
    std::function<void()> onEnd = {};
    /// Of `SubscribeAll`: how often streams that have come are looked for; zero: only by `Rescan`.
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
    std::uint64_t dropped = 0;     ///< changes that found the queue full, or were queued at `Stop`
    std::uint64_t waiting = 0;     ///< changes queued now, with those that a handler has in hand
    std::uint64_t maxWaiting = 0;  ///< the most that were queued at a time; of several: of any one
    std::uint64_t late = 0;        ///< changes that conditions ignored, older than one before
    std::uint64_t failures = 0;    ///< calls of a handler that threw
    std::chrono::nanoseconds handlerTime = {};     ///< wall time spent in handlers
    std::chrono::nanoseconds longestHandler = {};  ///< the longest call

    DeliveryStatistics& operator+=(const DeliveryStatistics& other);
};

}  // namespace velmora::delivery
