// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

/// \file
/// Writes what `document_form.h` describes. Internal to this library.

namespace velmora::core::serialization {
class DocumentWriter;
class INode;
}  // namespace velmora::core::serialization

namespace velmora::core::tessaryn {

class Stream;
class StreamRepository;

/// \param writer is given each node that is complete; null to keep them all
/// \pre with a writer, the node is its root or the last one in its tree
void WriteStreamNode(const Stream& stream, serialization::INode& node,
                     serialization::DocumentWriter* writer);
/// As above.
void WriteStreamNodes(const StreamRepository& streams, serialization::INode& node,
                      serialization::DocumentWriter* writer);

}  // namespace velmora::core::tessaryn
