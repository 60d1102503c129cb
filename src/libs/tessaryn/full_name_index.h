// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/group_visit.h"
#include "tessaryn/stream_type_collection_group.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velmora::core::tessaryn {

/// Finds the collection that a full name such as "plant.line1.Pos" leads to.
///
/// Names may hold "." and be empty, so a full name can be divided into names in many ways, and
/// several collections may share one. The first one counts, where a group's own collections come
/// before those of its sub-groups, and sub-groups are in ascending order of their names.
///
/// A search tries the ways one after the other: as many steps as the full name has parts in an
/// ordinary tree, and in the worst case as many as the tree has groups. Once the searches
/// have taken as many steps as the tree has nodes, a hash table of all full names is built; it is
/// used until a group changes. So n look-ups in a tree of m nodes cost O(n + m) steps while the
/// tree stays as it is, and never more than twice those of the searches alone.
///
/// \threadsafety external: the repository locks. Other threads may change the groups meanwhile.
class FullNameIndex {
  public:
    /// \return \ownership lends: null when no collection has this full name
    StreamTypeCollection* Find(StreamTypeCollectionGroup& root, const std::string& fullName);

  private:
    using Visit = GroupVisit<StreamTypeCollectionGroup>;

    // A group or a collection. The first node is the root.
    struct Node {
        std::size_t parent;
        std::string name;
    };

    StreamTypeCollection* Search(StreamTypeCollectionGroup& root, const std::string& fullName);
    void Build(StreamTypeCollectionGroup& root);
    std::vector<std::string_view> PathTo(std::size_t node) const;

    std::vector<Node> nodes;
    // Nodes of collections by a hash of their full names.
    std::unordered_map<std::uint64_t, std::size_t> collections;
    // `CountChanges` of the groups when the table was built. It is not 0 at the first look-up,
    // since the repository has added a collection to its root.
    std::uint64_t builtAt = 0;
    // Steps of all searches since the table was built, and of building it.
    std::size_t searchSteps = 0;
    std::size_t buildSteps = 0;
};

}  // namespace velmora::core::tessaryn
