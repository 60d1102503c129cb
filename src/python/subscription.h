// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "change_inbox.h"
#include "delivery/delivery.h"
#include "delivery/dispatcher.h"
#include "delivery/options.h"
#include "delivery/rule.h"
#include "stream_store.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>

namespace velmora::python {

/// A delivery of a stream's changes to a thread of Python, by way of an inbox.
///
/// Call its operations without the GIL. None of its threads needs it.
///
/// \threadsafety guarded: but for construction and destruction
class Subscription {
  public:
    using Change = delivery::Change;

    struct Request {
        delivery::Rule rule;
        delivery::DeliveryOptions options;
        /// Whether what the stream holds comes first.
        bool withHistory = false;
    };

    /// \param dispatcher serves it, but a delivery whose pushers wait for room, which has a worker
    /// of its own
    /// \throws DeadReference when the stream was removed; as `delivery::Dispatcher::Subscribe`
    Subscription(const StreamHandle& stream, std::shared_ptr<delivery::Dispatcher> dispatcher,
                 Request request);
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    /// As `Close`.
    ~Subscription();

    /// Ends the delivery and drops what waits.
    void Close();
    /// As `ChangeInbox::Take`.
    std::optional<Change> Take(std::chrono::microseconds timeout);
    bool HasEnded() const;
    bool Drain(std::chrono::microseconds timeout);
    void Flush();
    /// Always: accepted = delivered + dropped + waiting.
    delivery::DeliveryStatistics GetStatistics() const;
    int GetDescriptor();
    const TypeRecord& GetType() const { return *link->GetType(); }

    /// To be called in the child of a fork, where the threads are gone and their locks may be held:
    /// refuses the stream and this object from now on, and leaves alone what they are made of.
    void Abandon();

  private:
    struct Parts;

    Parts& Use() const;

    std::shared_ptr<StreamLink> link;
    std::unique_ptr<Parts> parts;
    std::atomic<bool> isAbandoned = false;
};

}  // namespace velmora::python
