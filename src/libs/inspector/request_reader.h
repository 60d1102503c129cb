// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/inspector_options.h"
#include "inspector/request.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace velmora::inspector {

/// Reads the requests of a connection from its bytes, however they are cut.
///
/// Stricter than HTTP: what no browser and no program of good will sends is refused, before
/// anything else reads it. A body must have a length that is said beforehand.
///
/// \threadsafety external
class RequestReader {
  public:
    explicit RequestReader(const InspectorLimits& limits) : limits(limits) {}

    /// Takes bytes in, at most as many as a request may have.
    void Append(std::string_view bytes) { buffer.append(bytes); }
    /// Whether nothing has come of the next request.
    bool IsEmpty() const { return buffer.empty(); }
    /// Bytes that it keeps at most before it refuses.
    std::size_t GetCapacity() const {
        return limits.maxLineBytes + limits.maxHeaderBytes + limits.maxBodyBytes;
    }
    /// Reads a request, if it has come in full.
    /// \return whether it has
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
    /// Of the header, with the empty line; 0 until it has been found.
    std::size_t headSize = 0;
    /// What the header says, once it has come.
    Request next;
    std::size_t bodySize = 0;
};

}  // namespace velmora::inspector
