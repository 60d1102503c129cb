// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/change.h"
#include "delivery/delivery.h"
#include "delivery/delivery_group.h"
#include "delivery/export.h"
#include "delivery/options.h"
#include "delivery/rule.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

namespace velmora::core::tessaryn {
class Stream;
class StreamRepository;
}  // namespace velmora::core::tessaryn

namespace velmora::delivery {

class Scheduler;

/// Worker threads that call handlers for changes of streams, so that pushers do not wait for them.
///
/// A push to which the rule applies puts a copy of the sample into a bounded queue and returns. The
/// changes of one delivery reach its handler in order, one at a time; different deliveries run in
/// parallel, and take turns if there are more of them than workers.
///
/// One dispatcher serves any number of streams. Handlers may call anything: push to the same stream
/// or another, subscribe, and end their own delivery.
///
/// After its last work a worker polls for more about every 100 µs for 2 ms, so that a steady flow
/// of changes costs the pushers no system call; then it sleeps. With `DispatcherOptions::interval`,
/// workers look for changes at that interval instead.
///
/// \threadsafety guarded
class DELIVERY_API Dispatcher {
  public:
    /// \param workers threads, at least 1
    /// \param name the threads' name for debuggers, cut so that it has 15 characters with a number
    /// \throws std::invalid_argument for 0 workers; std::system_error when a thread cannot start
    explicit Dispatcher(std::size_t workers = 1, const std::string& name = "delivery");
    /// \throws std::invalid_argument also for a negative interval
    explicit Dispatcher(const DispatcherOptions& options);
    Dispatcher(const Dispatcher&) = delete;
    Dispatcher& operator=(const Dispatcher&) = delete;
    /// Ends all deliveries, each as `Delivery::Stop`, then the workers.
    ~Dispatcher();

    /// Subscribes to the changes of a stream that a rule applies to.
    /// \param stream may be destroyed at any time, which ends the delivery; its type must outlive
    /// the queued samples
    /// \param rule a text, or a rule object; asked on the pusher's thread
    /// \param handler called on a worker's thread
    /// \param options queue, conditions and further callbacks
    /// \return its destructor ends the delivery
    /// \throws std::invalid_argument for an empty handler or a capacity of 0
    /// \throws Poco::SyntaxException for a malformed rule
    [[nodiscard]] Delivery Subscribe(core::tessaryn::Stream& stream, const Rule& rule,
                                     Handler handler, DeliveryOptions options = {});

    /// As `Subscribe`, but first delivers the samples that the stream holds, the oldest first, as
    /// changes of the kind `pushed` to which rule and conditions are applied; then every later
    /// change, none missing and none twice. The samples that the stream holds do not count towards
    /// the capacity; with `Overflow::keepLatest` only the newest of them is delivered.
    /// \throws what the rule throws for a sample of the stream
    [[nodiscard]] Delivery SubscribeWithHistory(core::tessaryn::Stream& stream, const Rule& rule,
                                                Handler handler, DeliveryOptions options = {});

    /// Subscribes to all streams whose path matches a pattern; streams added later are found by
    /// `DeliveryGroup::Rescan`, or at `DeliveryOptions::rescanInterval`. A stream whose type lacks
    /// an entry that the rule needs is ignored.
    /// \param repository must outlive the group
    /// \param pattern see `StreamPattern`; split at the repository's separator
    /// \throws std::invalid_argument for a malformed pattern, and as `Subscribe`
    [[nodiscard]] DeliveryGroup SubscribeAll(core::tessaryn::StreamRepository& repository,
                                             const std::string& pattern, const Rule& rule,
                                             Handler handler, DeliveryOptions options = {});

    /// Waits until all changes that were queued when this was called have been handled.
    /// \return whether that happened in time
    bool Drain(std::chrono::milliseconds timeout);
    /// The sum over all deliveries, including ended ones.
    DeliveryStatistics GetStatistics() const;

  private:
    Delivery Subscribe(core::tessaryn::Stream& stream, const Rule& rule, Handler handler,
                       DeliveryOptions options, bool withHistory);

    std::shared_ptr<Scheduler> scheduler;
};

}  // namespace velmora::delivery
