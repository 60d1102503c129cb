// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/export.h"
#include "serializer/node_tree.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <vector>

namespace velmora::core::serialization {

namespace detail {
class DocumentForm;
}

/// The text form of a document.
enum class DocumentFormat { Xml, Json };

/// Writes a document while its tree is built, and keeps only what is not written yet.
///
///     DocumentWriter writer(out, DocumentFormat::Xml);
///     NodeRef list = writer.GetRoot().AddNode("Samples", NodeList);
///     for (...) {
///         NodeRef sample = list.AddNode("Sample", NodeElement);
///         ...
///         writer.Write(sample);
///     }
///     writer.Finish();
///
/// The document is the one that `WriteXml` or `WriteJson` writes of the entire tree.
///
/// \threadsafety external
class VELMORA_SERIALIZER_API DocumentWriter {
  public:
    /// \param out \ownership observes: must outlive the writer
    DocumentWriter(std::ostream& out, DocumentFormat format);
    DocumentWriter(const DocumentWriter&) = delete;
    DocumentWriter& operator=(const DocumentWriter&) = delete;
    /// Leaves an unfinished document as it is.
    ~DocumentWriter();

    /// The root of the tree.
    NodeRef GetRoot() const;

    /// Writes a node with all below it and whatever stands before it. All of that leaves the tree,
    /// except for the nodes above it, which stay without their values: handles to the others become
    /// invalid, and children can still be added to those.
    ///
    /// \param node not the root, the last child of its parent, and so on up to the root
    /// \throws SerializationException when the node is another one, when it has more than 1,000
    ///     levels above it, or the stream fails
    void Write(const NodeRef& node);

    /// Writes the rest of the tree and flushes the stream. To be called once, as the last.
    /// \throws SerializationException as above
    void Finish();

  private:
    void WriteChildrenBefore(std::uint32_t parent, std::uint32_t end);
    void CloseLast();

    NodeTree tree;
    std::unique_ptr<detail::DocumentForm> form;
    // The nodes from the root down of which the beginning was written.
    std::vector<std::uint32_t> open;
};

}  // namespace velmora::core::serialization
