// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/inspector_options.h"
#include "inspector/request.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace velmora::inspector {

/// Reads the requests of a connection from its bytes, which may arrive in parts of any size.
///
/// Stricter than HTTP: what no browser and no well-behaved program sends is refused before it is
/// interpreted. A body needs a Content-Length.
///
/// \threadsafety external
class RequestReader {
  public:
    explicit RequestReader(const InspectorLimits& limits) : limits(limits) {}

    /// Appends bytes, at most as many as a request may have.
    void Append(std::string_view bytes) { buffer.append(bytes); }
    /// Whether nothing of the next request has arrived.
    bool IsEmpty() const { return buffer.empty(); }
    /// The most bytes that it buffers before it refuses.
    std::size_t GetCapacity() const {
        return limits.maxLineBytes + limits.maxHeaderBytes + limits.maxBodyBytes;
    }
    /// Reads a request if it is complete.
    /// \return whether there was one
    /// \throws RequestError: what follows on the connection must not be read
    bool Read(Request& request);

  private:
    bool FindEnd();
    void CheckSizes(std::size_t end) const;
    void ReadHead();

    const InspectorLimits& limits;
    std::string buffer;
    /// Bytes that have been searched for the end of the header.
    std::size_t searched = 0;
    /// Length of the header with the empty line; 0 until its end has been found.
    std::size_t headSize = 0;
    /// The header's content, once it is complete.
    Request next;
    std::size_t bodySize = 0;
};

}  // namespace velmora::inspector
