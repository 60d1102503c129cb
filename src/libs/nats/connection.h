// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "nats/export.h"

#include <functional>
#include <memory>
#include <string>

// The client library's own types, for hosts that set its options.
using natsConnection = struct __natsConnection;      // NOLINT
using natsOptions = struct __natsOptions;            // NOLINT
using natsSubscription = struct __natsSubscription;  // NOLINT

namespace velmora::nats {

/// A connection to NATS servers, which is kept up as long as the object lives.
///
/// Connects in the background, and tries again every quarter of a second: the constructor does not
/// wait for the server, and a lost connection is restored. Events are logged to "velmora.nats",
/// without addresses.
///
/// Must outlive the publishers and followers that use it.
///
/// \threadsafety guarded
class NATS_BRIDGE_API Connection {
  public:
    /// \param urls of one or more servers, such as "nats://10.0.0.1:4222", separated by commas
    /// \param configure sets options of the client library before it connects: credentials
    /// (`natsOptions_SetUserCredentialsFromFiles`), TLS (`natsOptions_LoadCATrustedCertificates`)
    /// and any other option, except for the function that is called when the connection is closed
    /// \throws NatsException when an option is refused, or when servers have ended ten connections
    /// in a row, within some seconds, before they were complete, such as when they refuse the
    /// credentials
    explicit Connection(const std::string& urls,
                        const std::function<void(natsOptions*)>& configure = {});
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    /// Closes the connection, and returns when the client library has made the last call of its
    /// callbacks. Must not be called in one of these.
    ~Connection();

    /// Whether the server is reachable now.
    bool IsConnected() const;
    /// How often the connection was restored.
    unsigned long long GetNumReconnects() const;
    /// The client library's connection, for the host's own use.
    /// \return \ownership lends: until this object is destroyed
    natsConnection* Get() const;
    /// Unsubscribes, and destroys the subscription when the thread of the client library that
    /// reads from the server no longer uses it. `natsSubscription_Destroy` alone may free it while
    /// that thread adds a message to it, up to version 3.4 of the library. Takes up to 100 ms.
    /// \param subscription \ownership takes: one of this connection, or null
    void Destroy(natsSubscription* subscription) const;

  private:
    class State;

    std::unique_ptr<State> state;
};

}  // namespace velmora::nats
