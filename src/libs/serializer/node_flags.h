// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

namespace velmora::core::serialization {

/// What a node is for. The tree stores the flags and does not interpret them.
enum NodeFlags : unsigned {
    /// An element with children of its own, such as one item of a list.
    NodeElement = 1,
    /// A single value.
    NodeValue = 2,
    /// The value that names the element around it.
    NodeName = 10,
    /// A list of elements.
    NodeList = 17,
};

}  // namespace velmora::core::serialization
