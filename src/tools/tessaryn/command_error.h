// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace velmora::tool {

/// Ends the program with exit status 2; the text is the message to the user.
class CommandError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    /// \param details lines to print below the message, each ended by a line feed
    CommandError(const std::string& message, std::string details)
        : std::runtime_error(message), details(std::move(details)) {}

    const std::string& GetDetails() const { return details; }

  private:
    std::string details;
};

}  // namespace velmora::tool
