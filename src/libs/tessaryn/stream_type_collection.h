// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serializable.h"
#include "serializer/serializer.h"
#include "tessaryn/export.h"
#include "tessaryn/named_object.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/versioned_collection.h"

#include <string>
#include <vector>

namespace velmora::core::tessaryn {

/// All versions of one named stream type.
///
/// The collection is the parent of the types that it makes, so their names are its own. In the
/// messages of its exceptions every collection is called "StreamTypeCollection".
///
/// \threadsafety external: serialised by the repository's `AtomicExecute`
class TESSARYN_API StreamTypeCollection : public utils::VersionedCollection<StreamType>,
                                          public INamedObject,
                                          public serialization::ISerializable {
  public:
    /// An empty collection.
    /// \param parent \ownership observes: the group that holds it; may be null
    StreamTypeCollection(const std::string& name, const INamedObject* parent);

    /// A collection of copies, which keep the parents of the types that they are made of.
    /// \param parent \ownership observes: the group that holds it; may be null
    /// \param types copied in this order, each under its own version
    /// \throws utils::VersionedObjectAlreadyExistsException when a version occurs twice
    StreamTypeCollection(const std::string& name, const INamedObject* parent,
                         const std::vector<StreamType>& types);

    /// Reads a collection from its node: "Name" and the types under "Types", in any order.
    /// \param parent \ownership observes: the group that holds it; may be null
    /// \throws serialization::SerializationException when "Name" or "Types" is missing
    /// \throws utils::VersionedObjectAlreadyExistsException when a version occurs twice
    /// \throws what the `StreamType` constructor from a node throws
    StreamTypeCollection(const serialization::NodeSerializer& serializer,
                         const serialization::INode& node, const INamedObject* parent);

    StreamTypeCollection(const StreamTypeCollection&) = delete;
    /// Shares the types of `other`, and does not delete those held before: only one of the two may
    /// be cleared or destroyed afterwards.
    StreamTypeCollection& operator=(const StreamTypeCollection& other);
    ~StreamTypeCollection() override;

    /// Makes an empty type of a version.
    /// \throws utils::VersionedObjectAlreadyExistsException when the version is there
    /// \throws utils::WrongVersionException for 0.0.0 in an empty collection
    StreamType& Add(const utils::Version& version);
    /// Makes a type from its node, under the version in the node.
    /// \throws as above, and what the `StreamType` constructor from a node throws
    StreamType& Add(const serialization::NodeSerializer& serializer,
                    const serialization::INode& node);

    /// Makes an empty type as the new latest one.
    /// \param delta step from the latest version, or from 0.0.0
    /// \throws utils::WrongVersionException when the step is too small, or the sum exceeds the
    /// largest version
    StreamType& PushNew(const utils::Version& delta);
    /// Makes a type from its node as the new latest one. The version in the node is the step:
    /// the type is stored under the latest version plus the step, but its own `GetVersion` gives
    /// the step.
    /// \throws as above, and what the `StreamType` constructor from a node throws
    StreamType& PushNew(const serialization::NodeSerializer& serializer,
                        const serialization::INode& node);

    /// Makes a type with the entries of another as the new latest one.
    /// \param layout gives the entries, but not its version; may be a type of this collection
    /// \param delta step from the latest version, or from 0.0.0
    /// \throws utils::WrongVersionException when the step is too small, or the sum exceeds the
    /// largest version
    StreamType& PushCopy(const StreamType& layout, const utils::Version& delta);

    std::string GetName() const override;
    /// The parent's full name, unless empty, then "." and the name. The separator of a repository's
    /// paths does not matter.
    std::string GetFullName() const override;

    /// The group that holds the collection; may be null.
    /// \return \ownership observes
    const INamedObject* GetParent() const { return parent; }
    /// \param newParent \ownership observes: the group that holds it
    /// \throws std::invalid_argument when null
    void SetParent(const INamedObject* newParent);

    /// Writes "Name" and, under "Types", the types in ascending order of their versions.
    void Serialize(const serialization::NodeSerializer& serializer,
                   serialization::INode& node) const override;

  private:
    using Base = utils::VersionedCollection<StreamType>;

    const INamedObject* parent;
    std::string name;
};

}  // namespace velmora::core::tessaryn
