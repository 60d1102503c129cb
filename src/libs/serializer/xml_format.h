// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/element_consumer.h"
#include "serializer/export.h"
#include "serializer/node_tree.h"
#include "serializer/read_limits.h"

#include <iosfwd>

/// \file
/// Trees as XML documents. Names, order, values and flags are kept, whatever bytes they consist of.
/// A tree converted to JSON and back gives the same document. See docs/node_format.md.
///
/// \threadsafety external: the tree must not change while it is written

namespace velmora::core::serialization {

/// Writes a tree as an indented XML document in UTF-8, one node a line.
///
/// Needs little memory: the document is written in chunks, and partly if the call fails. Flags and
/// locale of the stream have no effect.
///
/// \throws SerializationException when the tree has more than 1,000 levels below its root, or the
///     stream fails
VELMORA_SERIALIZER_API void WriteXml(const NodeTree& tree, std::ostream& out);

/// Reads a tree from the rest of a stream, which must be one XML document.
///
/// Document types are refused, so no entity is expanded and no other resource opened.
///
/// \throws SerializationException when the stream fails, or the document is malformed, does not
///     represent a tree or has more than 1,000 levels below its root; the message gives line and
///     column, both counted from 1
VELMORA_SERIALIZER_API NodeTree ReadXml(std::istream& in);

/// As above, within limits.
///
/// \throws SerializationException also when the document exceeds a limit
VELMORA_SERIALIZER_API NodeTree ReadXml(std::istream& in, const ReadLimits& limits);

/// As above, and lets a consumer take the elements of lists while the document is read. The limit
/// of memory is that of the nodes that are in the tree at the same time.
///
/// \throws SerializationException as above, and what the consumer throws
VELMORA_SERIALIZER_API NodeTree ReadXml(std::istream& in, const ReadLimits& limits,
                                        const ConsumedLists& lists);

}  // namespace velmora::core::serialization
