// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "nats/export.h"

#include <functional>
#include <memory>
#include <string>

// The client library's own types, for hosts that set its options.
using natsConnection = struct __natsConnection;  // NOLINT
using natsOptions = struct __natsOptions;        // NOLINT

namespace velmora::nats {

/// A connection to NATS servers, kept up for as long as it lives.
///
/// Connects in the background, again and again, a quarter of a second apart: whoever makes one need
/// not wait for the server, and a server that goes away and comes back is found again. What happens
/// to it is logged to "velmora.nats", without addresses.
///
/// Must outlive the publishers and followers that use it.
///
/// \threadsafety guarded
class NATS_BRIDGE_API Connection {
  public:
    /// \param urls of one or more servers, such as "nats://10.0.0.1:4222", separated by commas
    /// \param configure sets options of the client library before it connects: credentials
    ///     (`natsOptions_SetUserCredentialsFromFiles`), TLS
    ///     (`natsOptions_LoadCATrustedCertificates`) and whatever else its users know, but for
    ///     the function that is called when the connection is closed
    /// \throws NatsException when an option is refused, or servers end connections before they are
    /// complete, ten times in a row within some seconds: as where they refuse the credentials
    explicit Connection(const std::string& urls,
                        const std::function<void(natsOptions*)>& configure = {});
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    /// Closes the connection, and returns when the client library has called the last of its
    /// functions: not to be called in one of these.
    ~Connection();

    /// Whether there is a server now.
    bool IsConnected() const;
    /// How often a server was found again after it was lost.
    unsigned long long GetNumReconnects() const;
    /// The client library's connection, for uses of its own.
    /// \return \ownership lends: until this object goes
    natsConnection* Get() const;

  private:
    class State;

    std::unique_ptr<State> state;
};

}  // namespace velmora::nats
