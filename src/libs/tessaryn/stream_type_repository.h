// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serializable.h"
#include "serializer/serializer.h"
#include "tessaryn/atomic_executor.h"
#include "tessaryn/export.h"
#include "tessaryn/stream_type_collection.h"
#include "tessaryn/stream_type_collection_group.h"

#include <memory>
#include <string>

namespace Poco {
class Logger;
}

namespace velmora::core::tessaryn {

class StreamTypeRepositoryPrivate;

/// The root of all stream types: a tree of groups whose collections are addressed by path.
///
/// Every new repository holds the collection "Any" with one type without entries, of version
/// `Version::SmallestDelta()`. Paths are split at the repository's separator, while full names are
/// always joined with ".". It must outlive the streams made of its types.
///
/// \threadsafety guarded: `Get`, `GetPtr`, `operator[]`, `FindByFullName`, `GetGroup`,
/// `GetGroupPtr`, `Remove`, `Clear` and `Fill` hold the repository's mutex; `Add`, `AddGroup` and
/// `Serialize` rely on the groups' own. `AtomicExecute` holds a mutex of its own: it excludes other
/// `AtomicExecute` only. Returned pointers and references are valid until their object is removed.
class TESSARYN_API StreamTypeRepository : public serialization::ISerializable,
                                          public utils::AtomicExecutor<StreamTypeRepository> {
  public:
    /// A repository with the collection "Any".
    /// \param logger \ownership observes: must outlive the repository
    StreamTypeRepository(Poco::Logger& logger, char groupSeparator);

    /// Reads a repository: "GroupSeparator", "." when missing, and the root group under "Group".
    /// The collection "Any" is made first, and stays where the node has one, too.
    /// \param logger \ownership observes: must outlive the repository
    /// \throws what `Fill` throws
    StreamTypeRepository(Poco::Logger& logger, const serialization::NodeSerializer& serializer,
                         const serialization::INode& node);
    ~StreamTypeRepository() override;

    /// The collection of a path; a new, empty one when there was none. Missing groups are made.
    /// \return \ownership lends: null for the empty path
    StreamTypeCollection* Add(const std::string& path);
    /// Adds a collection read from its node, whose "Name" is taken as its path. It keeps the root
    /// as parent and the whole path as name. When the path is taken, the existing one stays.
    /// \return \ownership lends: the collection of that path; null for the empty path
    /// \throws what the `StreamTypeCollection` constructor from a node throws
    StreamTypeCollection* Add(const serialization::NodeSerializer& serializer,
                              const serialization::INode& node);
    /// Gets or makes every group of a path.
    /// \return \ownership lends: the last one; null for the empty path
    StreamTypeCollectionGroup* AddGroup(const std::string& path);

    /// The collection of a path, or null.
    /// \return \ownership lends
    StreamTypeCollection* GetPtr(const std::string& path) const;
    /// The collection of a path.
    /// \throws ItemNotFoundException that names the whole path
    StreamTypeCollection& Get(const std::string& path) const;
    /// As `Get`.
    StreamTypeCollection& operator[](const std::string& path) const;
    /// The collection that a full name such as "plant.line1.Pos" leads to, or null. Independent of
    /// the separator; names may hold "." themselves. Where several collections have one full name,
    /// those of a group come before those of its sub-groups, and sub-groups in ascending order.
    ///
    /// Cost: n look-ups among m groups and collections take O(n + m) steps while no group changes,
    /// each linear in the length of the name. After a change a look-up searches: as many steps as
    /// the name has parts, and up to m among names that were chosen for it.
    /// \return \ownership lends
    StreamTypeCollection* FindByFullName(const std::string& fullName) const;
    /// The collection of a path or, where the path leads nowhere, of a full name; null when neither
    /// is found. Streams find their type by this, since they are written with its full name.
    /// \return \ownership lends
    StreamTypeCollection* ResolvePtr(const std::string& pathOrFullName) const;
    /// As `ResolvePtr`.
    /// \throws ItemNotFoundException that names the text
    StreamTypeCollection& Resolve(const std::string& pathOrFullName) const;
    /// The group of a path, or null; the root for the empty path.
    /// \return \ownership lends
    StreamTypeCollectionGroup* GetGroupPtr(const std::string& path) const;
    /// The group of a path; the root for the empty path.
    /// \throws GroupNotFoundException that names the whole path
    StreamTypeCollectionGroup& GetGroup(const std::string& path) const;

    /// The character that paths are split at.
    char groupSeparator() const;
    /// The root group.
    StreamTypeCollectionGroup& GetRoot() const;
    /// Whether there is neither a collection nor a group. Takes no lock.
    bool IsEmpty() const;

    /// Deletes the collection of a path or, only when there is none, the group. Ask
    /// `StreamRepository::IsStreamTypeInUse` first.
    /// \return whether something was deleted
    bool Remove(const std::string& path);
    /// Deletes every collection and group, "Any" included.
    void Clear();

    /// Merges the root group under a node's "Group" into this repository; absent, it adds nothing.
    /// \throws what `StreamTypeCollectionGroup::Fill` throws; what was added before stays
    void Fill(const serialization::NodeSerializer& serializer, const serialization::INode& node);
    /// Writes "GroupSeparator" and "Group".
    void Serialize(const serialization::NodeSerializer& serializer,
                   serialization::INode& node) const override;

  private:
    std::unique_ptr<StreamTypeRepositoryPrivate> implementation;
};

}  // namespace velmora::core::tessaryn
