// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/change.h"
#include "delivery/delivery.h"
#include "delivery/dispatcher.h"
#include "inspector/answer.h"
#include "inspector/client_rule.h"
#include "inspector/event_queue.h"
#include "inspector/model.h"
#include "inspector/request.h"
#include "inspector/sample_json.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace velmora::inspector {

class EventHub;

/// A client that watches streams. The destructor removes it from the hub.
///
/// \threadsafety guarded: but for destruction
class Watcher : public EventQueue {
  public:
    Watcher(EventHub& hub, const Request& request, const InspectorLimits& limits);
    ~Watcher() override;

    const std::vector<std::string>& GetPaths() const { return paths; }
    /// Sends the client a change of one of its streams.
    /// \param json the event's data, shared by all watchers that select no entries; the first one
    /// that needs it fills it in
    void Notify(delivery::Change& change, const std::string& path, std::string& json);

  private:
    std::string Format(const delivery::Change& change, const std::string& path) const;

    EventHub& hub;
    const InspectorLimits& limits;
    std::vector<std::string> paths;
    std::optional<ClientRule> rule;
    /// None for all.
    std::optional<std::string> entries;
};

/// Distributes the changes of streams to watchers. Each watched stream has one delivery, so that
/// its pushers pay the same for any number of watchers. Rules are evaluated and texts made on the
/// delivery's worker.
///
/// \threadsafety guarded: but for destruction
class EventHub {
  public:
    /// \param model must outlive the hub
    explicit EventHub(const Model& model);
    EventHub(const EventHub&) = delete;
    EventHub& operator=(const EventHub&) = delete;
    /// \pre There is no watcher.
    ~EventHub();

    /// Starts an event stream.
    /// \throws RequestError
    Answer Watch(const Request& request);

    std::size_t CountWatchers() const { return watchers; }
    /// The counts of the deliveries of watched streams.
    delivery::DeliveryStatistics GetStatistics() const { return dispatcher.GetStatistics(); }

  private:
    friend class Watcher;

    /// A stream that is watched.
    struct Feed {
        std::mutex mutex;
        std::vector<Watcher*> watchers;  ///< guarded by `mutex`
        std::atomic<bool> hasEnded = false;
        delivery::Delivery delivery;

        void Notify(delivery::Change& change, const std::string& path);
        void End(const std::string& path);
    };

    void Add(Watcher& watcher, const std::string& path);
    void Remove(Watcher& watcher);
    std::shared_ptr<Feed> OpenFeed(const std::string& path);

    const Model& model;
    std::atomic<std::size_t> watchers = 0;
    std::mutex mutex;
    std::map<std::string, std::shared_ptr<Feed>> feeds;  ///< guarded by `mutex`
    delivery::Dispatcher dispatcher;
};

}  // namespace velmora::inspector
