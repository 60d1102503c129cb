// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/element_consumer.h"
#include "serializer/node_arena.h"
#include "serializer/read_limits.h"

#include <iosfwd>

namespace velmora::core::serialization::detail {

/// Reads a document into an arena that consists of the root.
///
/// \param lists whose elements are consumed, or null
/// \throws SerializationException when the document is malformed or exceeds a limit
void ReadXmlNodes(std::istream& in, const ReadLimits& limits, NodeArena& arena,
                  const ConsumedLists* lists);

}  // namespace velmora::core::serialization::detail
