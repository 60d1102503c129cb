// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

/// \file
/// Forward declarations, for headers that only pass a serializer on.

namespace velmora::core::serialization {

class INode;
class NodeRef;
template <class Node>
class Serializer;

/// The serializer of the nodes of a `NodeTree`, the only one that there is.
using NodeSerializer = Serializer<NodeRef>;

}  // namespace velmora::core::serialization
