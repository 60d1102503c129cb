// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/export.h"

#include <string>
#include <vector>

namespace velmora::core::serialization {

class NodeRef;

/// What a node is for. The tree stores the flags and does not interpret them.
enum NodeFlags : unsigned {
    /// An element with children of its own, such as one item of a list.
    NodeElement = 1,
    /// A single value.
    NodeValue = 2,
    /// The value that names the element around it.
    NodeName = 10,
    /// A list of elements.
    NodeList = 17,
};

/// A node of a tree. It may be absent: look-ups return such a node instead of failing.
///
/// \threadsafety external: a tree may be read by many threads at once, or changed by one
class VELMORA_SERIALIZER_API INode {
  public:
    INode() = default;
    INode(const INode&) = default;
    INode& operator=(const INode&) = default;
    virtual ~INode();

    // The order of these five is part of the binary interface.
    /// Appends a child without value and children, even if a sibling has the same name.
    ///
    /// \throws SerializationException when this node is absent; the message names its position
    virtual NodeRef AddNode(const std::string& name, NodeFlags flags) = 0;
    /// The first child of that name, or an absent node. Linear in the number of children.
    virtual NodeRef operator[](const std::string& name) const = 0;
    /// All children in the order in which they were added; none of an absent node.
    virtual std::vector<NodeRef> GetNodes() const = 0;
    /// Whether the node is in the tree.
    virtual bool Exists() const = 0;
    /// The names from the root down, such as "/Group/Streams/Stream[2]/Name"; "/" is the root.
    ///
    /// "[n]" numbers siblings of one name, from 1. Linear in the number of siblings on each level.
    virtual std::string GetPosition() const = 0;
};

namespace detail {
class NodeArena;
struct NodeRecord;
struct NodeAccess;
}  // namespace detail

/// A handle to a node of a `NodeTree`, or to an absent node.
///
/// Copies refer to the same node. An absent node stays absent when a node of that name is added
/// later.
///
/// A handle stays valid when its tree is moved, until the tree moved to is destroyed or assigned
/// to.
///
/// \threadsafety external
/// \ownership observes the tree
class VELMORA_SERIALIZER_API NodeRef : public INode {
  public:
    NodeRef(const NodeRef&);
    NodeRef(NodeRef&&) noexcept;
    NodeRef& operator=(const NodeRef&);
    NodeRef& operator=(NodeRef&&) noexcept;
    ~NodeRef() override;

    NodeRef AddNode(const std::string& name, NodeFlags flags) override;
    NodeRef operator[](const std::string& name) const override;
    std::vector<NodeRef> GetNodes() const override;
    bool Exists() const override;
    std::string GetPosition() const override;

    /// The node's name, also of an absent node; empty for the root.
    const std::string& GetName() const;
    /// The flags given when the node was added; `NodeElement` for the root and absent nodes.
    NodeFlags GetFlags() const;
    /// Whether the node exists and has a value, which may be empty.
    bool HasValue() const;
    /// The value, or an empty text if there is none.
    const std::string& GetValue() const;
    /// Sets or replaces the value, which may be any bytes. Children stay.
    ///
    /// \throws SerializationException when this node is absent; the message names its position
    void SetValue(std::string value);

  private:
    friend class NodeTree;
    friend struct detail::NodeAccess;

    NodeRef(detail::NodeArena* arena, detail::NodeRecord* record);

    detail::NodeArena* arena;
    // The node or, if that is absent, its nearest ancestor in the tree.
    detail::NodeRecord* record;
    // The names below record that lead to an absent node.
    std::vector<std::string> missing;
};

}  // namespace velmora::core::serialization
