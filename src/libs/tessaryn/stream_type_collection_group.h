// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serializable.h"
#include "serializer/serializer.h"
#include "tessaryn/export.h"
#include "tessaryn/generic_group.h"
#include "tessaryn/stream_type_collection.h"

#include <string>

namespace velmora::core::tessaryn {

/// A named folder of stream type collections and of further groups.
///
/// \threadsafety guarded, but for `RemoveAllTypesOfVersion`
class TESSARYN_API StreamTypeCollectionGroup
    : public GenericGroup<StreamTypeCollection, StreamTypeCollectionGroup>,
      public serialization::ISerializable {
  public:
    /// An empty group; its full name is joined with ".".
    /// \param parent \ownership observes: the group above, null for a root
    StreamTypeCollectionGroup(const std::string& name, const INamedObject* parent);

    /// Reads a group from its node, all that is below it included.
    /// \param parent \ownership observes: the group above, null for a root
    /// \throws serialization::SerializationException when "Name" is missing
    /// \throws what `Fill` throws
    StreamTypeCollectionGroup(const serialization::NodeSerializer& serializer,
                              const serialization::INode& node, const INamedObject* parent);
    ~StreamTypeCollectionGroup() override;

    /// The collection of a name; a new, empty one when there was none.
    /// \return \ownership lends
    StreamTypeCollection* Add(const std::string& collectionName);
    /// Adds a collection read from its node; when the name is taken, the existing one stays.
    /// \return \ownership lends: the collection of that name
    /// \throws what the `StreamTypeCollection` constructor from a node throws
    StreamTypeCollection* Add(const serialization::NodeSerializer& serializer,
                              const serialization::INode& node);

    /// The collection of a name among the direct children.
    /// \throws ItemNotFoundException when absent
    StreamTypeCollection& Get(const std::string& collectionName) const;
    /// The collection of a name among the direct children, or null.
    /// \return \ownership lends
    StreamTypeCollection* GetPtr(const std::string& collectionName) const;

    /// Merges a group's node into this group: sub-groups of the same name are filled, collections
    /// of the same name are kept as they are. Holds the group's mutex for its whole run.
    /// \throws what reading a group or a collection throws; what was added before stays
    void Fill(const serialization::NodeSerializer& serializer, const serialization::INode& node);

    /// Removes a version from every collection here and below, and the collections that are empty
    /// then; groups stay. Takes no lock: callers serialise it with everything else.
    void RemoveAllTypesOfVersion(const utils::Version& version);

    /// Writes "Name", "Groups" and "TypeCollections". Holds the group's mutex.
    void Serialize(const serialization::NodeSerializer& serializer,
                   serialization::INode& node) const override;
};

}  // namespace velmora::core::tessaryn
