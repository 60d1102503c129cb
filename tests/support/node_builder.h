// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node_tree.h"
#include "serializer/serializer.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace velmora::test {

/// A node to be made: with a value, with children, or with nothing.
struct NodeSpec {
    std::string name;
    std::optional<std::string> value;
    std::vector<NodeSpec> children;
};

inline NodeSpec Value(const std::string& name, const std::string& value) {
    return {name, value, {}};
}

inline NodeSpec List(const std::string& name, std::vector<NodeSpec> children) {
    return {name, std::nullopt, std::move(children)};
}

/// A tree made of specs, under its root.
class BuiltTree {
  public:
    // NOLINTNEXTLINE(google-explicit-constructor): a tree is a list of children
    BuiltTree(const std::vector<NodeSpec>& children) { Add(Root(), children); }

    core::serialization::NodeRef Root() const { return tree.GetRoot(); }
    const core::serialization::NodeTree& Tree() const { return tree; }

  private:
    static void Add(core::serialization::NodeRef node, const std::vector<NodeSpec>& children) {
        for (const NodeSpec& spec : children) {
            auto child = node.AddNode(spec.name, core::serialization::NodeElement);
            if (spec.value) {
                child.SetValue(*spec.value);
            }
            Add(child, spec.children);
        }
    }

    core::serialization::NodeTree tree;
};

/// A node and all below it on one line: name, "/" and flags, "=" and value, children in brackets.
/// Lists of groups and their items are sorted: their order means nothing.
inline std::string Sorted(const core::serialization::NodeRef& node) {
    std::string text = node.GetName() + "/" + std::to_string(node.GetFlags());
    if (node.HasValue()) {
        text += "=" + node.GetValue();
    }
    std::vector<std::string> children;
    for (const auto& child : node.GetNodes()) {
        children.push_back(Sorted(child));
    }
    const std::string& name = node.GetName();
    if (name == "Groups" || name == "TypeCollections" || name == "Streams") {
        std::sort(children.begin(), children.end());
    }
    std::string joined;
    for (const std::string& child : children) {
        joined += (joined.empty() ? "" : " ") + child;
    }
    return joined.empty() ? text : text + "(" + joined + ")";
}

/// The node form of an object, as `Sorted` formats it.
template <class Object>
std::string Written(const Object& object) {
    const core::serialization::NodeTree tree;
    core::serialization::NodeRef root = tree.GetRoot();
    object.Serialize(core::serialization::NodeSerializer(), root);
    return Sorted(root);
}

/// \name Nodes of stream types
///@{
inline NodeSpec TypeSpec(const std::string& version, const std::vector<NodeSpec>& entries = {}) {
    return List("Type", {Value("Version", version), List("Entries", entries)});
}

inline NodeSpec EntrySpec(const std::string& key, const std::string& type) {
    return List("Entry", {Value("Key", key), Value("Type", type)});
}

inline NodeSpec CollectionSpec(const std::string& name, const std::vector<NodeSpec>& types) {
    return List("TypeCollection", {Value("Name", name), List("Types", types)});
}

/// A group, of types or of streams by the name of its list.
inline NodeSpec GroupSpec(const std::string& name, const std::vector<NodeSpec>& groups,
                          const std::string& list, const std::vector<NodeSpec>& items) {
    return List("Group", {Value("Name", name), List("Groups", groups), List(list, items)});
}
///@}

}  // namespace velmora::test
