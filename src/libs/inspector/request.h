// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::inspector {

/// A complete request.
///
/// \threadsafety external
struct Request {
    std::string method;
    std::string path;  ///< of the address, as it was sent
    /// From the address or the body of a form: names and values, decoded.
    std::vector<std::pair<std::string, std::string>> parameters;
    std::string host;     ///< as it was sent
    std::string origin;   ///< of the page that sent it; empty if the browser did not send one
    std::string site;     ///< "cross-site" and the like; empty if the browser did not send it
    std::string bearer;   ///< the token that a program sent
    std::string cookies;  ///< as they were sent
    std::string body;
    std::string localAddress;   ///< the address of this machine to which the client has connected
    bool isPersistent = false;  ///< whether the client keeps the connection open

    bool IsHead() const { return method == "HEAD"; }

    /// Whether there is a parameter of the name, which may be empty.
    bool Has(std::string_view name) const;
    /// The value of a parameter; empty when there is none.
    std::string_view Get(std::string_view name) const;
    /// All values of a parameter.
    std::vector<std::string> GetAll(std::string_view name) const;
    /// A parameter that must not be missing or empty.
    /// \throws RequestError
    const std::string& Require(std::string_view name) const;
    /// An integer; none when there is no such parameter.
    /// \throws RequestError when it is not one
    std::optional<std::int64_t> GetInteger(std::string_view name) const;
    /// A count, at most `maximum`.
    /// \throws RequestError when it is not an integer, or negative
    std::size_t GetCount(std::string_view name, std::size_t defaultCount,
                         std::size_t maximum) const;
};

/// Decodes "a=1&b=%20" and appends the parameters.
/// \throws RequestError when it is malformed, or there are more than 300
void AppendParameters(std::string_view text, Request& request);

}  // namespace velmora::inspector
