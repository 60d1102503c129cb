// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>

namespace velmora::core::serialization {

/// The outcome of reading or writing one value.
///
/// \threadsafety external
struct SerializationResult {
    /// The node does not exist.
    static constexpr int absent = 1;
    /// The node exists and its value was read or written.
    static constexpr int done = 2;
    /// The node exists, but its value could not be read or written.
    static constexpr int failed = 3;

    /// One of the three above.
    int status = absent;
    /// Why the status is `failed`, or empty.
    std::string reason;
};

}  // namespace velmora::core::serialization
