// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node_tree.h"
#include "serializer/serializer.h"
#include "tessaryn/stream_group.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_collection_group.h"
#include "tessaryn/stream_type_repository.h"

#include <memory>
#include <sstream>
#include <string>

namespace velmora::tool {

/// Makes the repositories of a document's tree.
///
/// Goes down the tree node by node, where the repositories could read it in one call: so each
/// failure can name its node, and each sample gets all that the document holds. Left to itself a
/// sample with a text entry, or one of before 1970, would get the time of reading, and 0 for NaN.
class DocumentReader {
  public:
    /// \param file the document's name for messages
    /// \param tree \ownership observes
    /// \throws CommandError when the tree has neither repository
    DocumentReader(const std::string& file, const core::serialization::NodeTree& tree);

    /// \throws CommandError that names file, node and reason
    std::unique_ptr<core::tessaryn::StreamTypeRepository> ReadTypes() const;
    /// \param types all types of the document
    /// \throws CommandError as above
    std::unique_ptr<core::tessaryn::StreamRepository> ReadStreams(
        const core::tessaryn::StreamTypeRepository& types);

    /// What splits paths of types.
    char GetTypeSeparator() const { return SeparatorOf(typesNode); }
    /// What splits paths of streams.
    char GetStreamSeparator() const { return SeparatorOf(streamsNode); }

  private:
    using NodeRef = core::serialization::NodeRef;

    char SeparatorOf(const NodeRef& repository) const;
    template <class Group, class ReadItem>
    void ReadGroup(Group& group, const NodeRef& node, const char* items, ReadItem readItem) const;
    template <class Action>
    void At(const NodeRef& node, Action action) const;
    std::string NameOf(const NodeRef& node) const;

    void ReadStream(core::tessaryn::StreamGroup& group, const NodeRef& node,
                    const core::tessaryn::StreamTypeRepository& types);
    core::tessaryn::StreamType& TypeOf(const NodeRef& node,
                                       const core::tessaryn::StreamTypeRepository& types) const;
    std::unique_ptr<core::tessaryn::Sample> ReadSample(core::tessaryn::StreamType& type,
                                                       const NodeRef& node);

    std::string file;
    NodeRef typesNode;
    NodeRef streamsNode;
    core::serialization::Serializer<NodeRef> serializer;
    /// A sample's binary form on its way from one time stamp to another.
    std::stringstream binary;
};

}  // namespace velmora::tool
