// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/export.h"
#include "serializer/node_tree.h"

#include <iosfwd>

/// \file
/// Trees as JSON documents. Everything is kept: names, order, values and flags, whatever bytes they
/// hold. A tree that goes through JSON and XML in any order gives the same documents again. See
/// docs/node_format.md.
///
/// \threadsafety external: the tree must not change while it is written

namespace velmora::core::serialization {

/// Writes a tree as an indented JSON document in UTF-8, one node a line.
///
/// Needs memory for a piece of the document only. A failed call may have written a part of it.
///
/// \param tree the tree
/// \param out receives the document; its flags and locale don't matter
/// \throws SerializationException when the tree has more than 1,000 levels below its root, or the
///     stream fails
VELMORA_SERIALIZER_API void WriteJson(const NodeTree& tree, std::ostream& out);

/// Reads a tree from a JSON document that takes up the rest of a stream.
///
/// \param in holds the document
/// \return the tree, with nothing in it that the document does not hold
/// \throws SerializationException when the stream fails, the document is malformed, is no such
///     tree or has more than 1,000 levels below its root; the message gives line and column,
///     both counted from 1
VELMORA_SERIALIZER_API NodeTree ReadJson(std::istream& in);

}  // namespace velmora::core::serialization
