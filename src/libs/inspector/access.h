// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/answer.h"
#include "inspector/inspector_options.h"
#include "inspector/request.h"

#include <string>
#include <string_view>

namespace velmora::inspector {

/// Decides which requests are allowed: see docs/inspector.md.
///
/// \threadsafety immutable
class Access {
  public:
    /// \throws std::invalid_argument for options that are not safe
    explicit Access(const InspectorOptions& options);

    /// Refuses requests that a page of another site has made a browser send.
    /// \throws RequestError
    void CheckOrigin(const Request& request) const;
    /// Whether the request shows that its sender knows the token; true without a token.
    bool IsAllowed(const Request& request) const;
    /// Answers a token that was sent as a form.
    Answer LogIn(const Request& request) const;

  private:
    bool IsKnownHost(const std::string& host, const std::string& localAddress) const;

    std::string token;
    std::vector<std::string> hosts;
    std::string cookieName;
    /// The cookie's value, which stands for the token; random, and different for each inspector.
    std::string session;
};

/// Whether an address is one that only this machine reaches.
/// \throws std::invalid_argument when it is not an IP address
bool IsLoopback(const std::string& address);

}  // namespace velmora::inspector
