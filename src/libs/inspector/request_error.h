// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <stdexcept>
#include <string>

namespace velmora::inspector {

/// A request that is refused, with the status of the answer.
///
/// \threadsafety immutable
class RequestError : public std::runtime_error {
  public:
    RequestError(int status, const std::string& message)
        : std::runtime_error(message), status(status) {}
    int GetStatus() const { return status; }

  private:
    int status;
};

}  // namespace velmora::inspector
