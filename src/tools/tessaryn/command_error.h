// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <stdexcept>

namespace velmora::tool {

/// What ends the program with exit code 2; its text is the one sentence that the user reads.
class CommandError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace velmora::tool
