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

/// A delivery of a stream's changes to threads of Python, through an inbox.
///
/// Call its operations without the GIL. Its threads do not need it.
///
/// \threadsafety guarded: but for construction and destruction
class Subscription {
  public:
    using Change = delivery::Change;

    struct Request {
        delivery::Rule rule;
        delivery::DeliveryOptions options;
        /// Whether the samples that the stream holds come first.
        bool withHistory = false;
    };

    /// \param dispatcher serves the delivery, unless pushers wait for room: such a delivery has its
    /// own worker
    /// \throws DeadReference when the stream was removed; as `delivery::Dispatcher::Subscribe`
    Subscription(const StreamHandle& stream, std::shared_ptr<delivery::Dispatcher> dispatcher,
                 Request request);
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    /// As `Close`.
    ~Subscription();

    /// Ends the delivery and drops waiting changes.
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

    /// Must be called in the child of a fork, where the threads do not exist and their locks may be
    /// held: refuses later uses of the stream and this object, and destroys nothing.
    void Abandon();

  private:
    struct Parts;

    Parts& Use() const;

    std::shared_ptr<StreamLink> link;
    std::unique_ptr<Parts> parts;
    std::atomic<bool> isAbandoned = false;
};

}  // namespace velmora::python
