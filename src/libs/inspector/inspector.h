// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/options.h"
#include "inspector/export.h"
#include "inspector/inspector_options.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace velmora::core::tessaryn {
class StreamRepository;
class StreamTypeRepository;
}  // namespace velmora::core::tessaryn

namespace velmora::inspector {

/// Shows the types and streams of a host, read-only: a page for browsers, JSON, CSV and live
/// changes, and metrics for Prometheus. docs/inspector.md lists the addresses and says what is
/// safe.
///
///     Inspector inspector(streams, types);
///     inspector.Start();
///
/// Answers are made from copies, on the inspector's own threads. Streams may be added meanwhile,
/// and removed through the repository or inside its `AtomicExecute`. Types must outlive the
/// inspector, or at least the call of `Stop`.
///
/// \threadsafety guarded: but for destruction, and `Start` and `Stop`, which one thread calls
class INSPECTOR_API Inspector {
  public:
    /// \param streams must outlive the inspector
    /// \param types must outlive the inspector
    /// \throws std::invalid_argument for an option that is not allowed, such as an address beyond
    /// the loopback without a token
    Inspector(core::tessaryn::StreamRepository& streams,
              core::tessaryn::StreamTypeRepository& types, InspectorOptions options = {});
    Inspector(const Inspector&) = delete;
    Inspector& operator=(const Inspector&) = delete;
    /// As `Stop`.
    ~Inspector();

    /// Listens, and starts the threads. Does nothing when it is already running.
    /// \throws Poco::Net::NetException when the address or the port is not available;
    /// std::system_error when a thread cannot start
    void Start();
    /// Ends all connections and threads, and waits for them. Must not be called inside
    /// `AtomicExecute` of a repository, nor with a lock held that a function of the host needs. The
    /// inspector can be started again.
    void Stop();
    /// The port that is listened on; 0 before `Start` and after `Stop`.
    std::uint16_t GetPort() const;
    /// The page's address, such as "http://127.0.0.1:8080/".
    std::string GetUrl() const;

    /// \name What the host adds to the page and to the metrics The functions are called by the
    /// inspector's threads, one at a time, until the item is removed or the inspector is destroyed.
    /// Adding an item replaces the one of the same name.
    ///@{
    /// \param name of the delivery, such as "alarms"
    /// \throws std::invalid_argument for an empty function
    void AddDelivery(const std::string& name,
                     std::function<delivery::DeliveryStatistics()> statistics);
    void RemoveDelivery(const std::string& name);
    /// \param name of the rule
    /// \param rule its text
    /// \param matches how often it has applied
    /// \throws std::invalid_argument for an empty function
    void AddRule(const std::string& name, const std::string& rule,
                 std::function<std::uint64_t()> matches);
    void RemoveRule(const std::string& name);
    /// A metric that never decreases.
    /// \param name a metric name of Prometheus, such as "plant_events_total"
    /// \param help a sentence
    /// \throws std::invalid_argument for an empty function, and for a name that is not allowed,
    /// does not end in "_total" or begins with "velmora_"
    void AddCounter(const std::string& name, const std::string& help,
                    std::function<double()> value);
    /// A metric that may decrease.
    /// \throws std::invalid_argument as above; the name must not end in "_total"
    void AddGauge(const std::string& name, const std::string& help, std::function<double()> value);
    ///@}

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation;
};

}  // namespace velmora::inspector
