// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serializable.h"
#include "serializer/serializer.h"
#include "tessaryn/export.h"
#include "tessaryn/generic_group.h"
#include "tessaryn/stream.h"

#include <string>

namespace velmora::core::tessaryn {

class StreamTypeRepository;

/// A named folder of streams and of further groups.
///
/// \threadsafety guarded: `Fill`, `AddSamplesToExistingStreams`, `IsStreamTypeInUse` and
/// `Serialize` hold the group's mutex while they visit sub-groups and streams
class TESSARYN_API StreamGroup : public GenericGroup<Stream, StreamGroup>,
                                 public serialization::ISerializable {
  public:
    /// An empty group; its full name is joined with ".".
    /// \param parent \ownership observes: the group above, null for a root
    StreamGroup(const std::string& name, const INamedObject* parent);

    /// Reads a group from its node, with all that is below it.
    /// \param parent \ownership observes: the group above, null for a root
    /// \param types where the streams' types are looked up; must outlive the group
    /// \throws serialization::SerializationException when "Name" is missing
    /// \throws what `Fill` throws
    StreamGroup(const serialization::NodeSerializer& serializer, const serialization::INode& node,
                INamedObject* parent, const StreamTypeRepository& types);

    // The order of the virtual operations is part of the binary interface: destructor, GetName,
    // GetFullName, GetStreamPtr, GetStream.
    ~StreamGroup() override;
    /// The stream of a name among the direct children, or null.
    /// \return \ownership lends
    virtual Stream* GetStreamPtr(const std::string& streamName) const;
    /// The stream of a name among the direct children.
    /// \throws ItemNotFoundException when absent
    virtual Stream& GetStream(const std::string& streamName) const;

    /// The stream of a name; when there was none, a new one of this type and size.
    /// \param type \ownership observes: the type of a new stream
    /// \param maxSize the capacity of a new stream
    /// \return \ownership lends
    /// \throws std::invalid_argument when the size is not 1 to 2^31-1
    Stream* AddStream(const std::string& streamName, StreamType* type, long maxSize);
    /// Adds a stream read from its node; when the name is taken, the existing one stays.
    /// \param types where the stream's type is looked up
    /// \return \ownership lends: the stream of that name
    /// \throws serialization::SerializationException when "Name" is missing
    /// \throws what the `Stream` constructor from a node throws
    Stream* AddStream(const serialization::NodeSerializer& serializer,
                      const serialization::INode& node, const StreamTypeRepository& types);

    /// Merges a group's node into this group: sub-groups of the same name are filled, streams of
    /// the same name are kept as they are.
    /// \param types where the streams' types are looked up
    /// \throws what reading a group or a stream throws; what was added before stays
    void Fill(const serialization::NodeSerializer& serializer, const serialization::INode& node,
              const StreamTypeRepository& types);
    /// Pushes the samples of a group's node into the streams that exist here and below; other
    /// groups and streams of the node are ignored. Subscribers are notified with the groups locked.
    /// \param types passed on to the sub-groups
    /// \throws what `Stream::Fill` throws; what was pushed before stays
    void AddSamplesToExistingStreams(const serialization::NodeSerializer& serializer,
                                     const serialization::INode& node,
                                     const StreamTypeRepository& types);

    /// Whether a stream here or below is of this very type object.
    /// \param type \ownership observes
    bool IsStreamTypeInUse(StreamType* type) const;

    /// Writes "Name", "Groups" and "Streams".
    void Serialize(const serialization::NodeSerializer& serializer,
                   serialization::INode& node) const override;
};

}  // namespace velmora::core::tessaryn
