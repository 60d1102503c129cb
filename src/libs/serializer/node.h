// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/export.h"

#include <string>
#include <vector>

namespace velmora::core::serialization {

class NodeRef;

/// What a node is for. The tree keeps the flags and gives them no meaning of its own.
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

/// One node of a tree, there or absent.
///
/// \threadsafety external: a tree may be read by many threads at once, or changed by one
class VELMORA_SERIALIZER_API INode {
  public:
    INode() = default;
    INode(const INode&) = default;             ///< copies
    INode& operator=(const INode&) = default;  ///< copies
    virtual ~INode();

    // The order of these five is part of the binary interface.
    /// Appends a child, even where a sibling has the same name.
    ///
    /// \param name any text
    /// \param flags kept as they are
    /// \return the new child, without value and children
    /// \throws SerializationException when this node is absent; the message names its position
    virtual NodeRef AddNode(const std::string& name, NodeFlags flags) = 0;
    /// The first child of that name, or an absent node. Looks through the children in order.
    /// \param name the name, compared exactly
    virtual NodeRef operator[](const std::string& name) const = 0;
    /// All children in the order in which they were added; none of an absent node.
    virtual std::vector<NodeRef> GetNodes() const = 0;
    /// Whether the node is there.
    virtual bool Exists() const = 0;
    /// The names from the root down, such as "/Group/Streams/Stream[2]/Name"; "/" is the root.
    ///
    /// Where several siblings share a name, "[n]" tells which one is meant, the first being 1.
    /// Costs time in proportion to the number of siblings on each level.
    virtual std::string GetPosition() const = 0;
};

namespace detail {
class NodeArena;
struct NodeRecord;
struct NodeAccess;
}  // namespace detail

/// A handle to one node of a `NodeTree`, or to a place where no node is.
///
/// Copies refer to the same node. An absent node knows the nearest node that is there and the
/// names from it on; it stays absent when a node of that name is added later.
///
/// A handle stays valid when its tree is moved, and until the tree that the nodes ended up in is
/// destroyed or assigned to.
///
/// \threadsafety external
/// \ownership observes the tree
class VELMORA_SERIALIZER_API NodeRef : public INode {
  public:
    NodeRef(const NodeRef&);                 ///< refers to the same node
    NodeRef(NodeRef&&) noexcept;             ///< refers to the same node
    NodeRef& operator=(const NodeRef&);      ///< refers to the same node from now on
    NodeRef& operator=(NodeRef&&) noexcept;  ///< refers to the same node from now on
    ~NodeRef() override;

    NodeRef AddNode(const std::string& name, NodeFlags flags) override;
    NodeRef operator[](const std::string& name) const override;
    std::vector<NodeRef> GetNodes() const override;
    bool Exists() const override;
    std::string GetPosition() const override;

    /// The node's name, which is empty for the root; also known of an absent node.
    const std::string& GetName() const;
    /// The flags given when the node was added; `NodeElement` for the root and absent nodes.
    NodeFlags GetFlags() const;
    /// Whether the node is there and was given a value, be it an empty one.
    bool HasValue() const;
    /// The value; empty where there is none.
    const std::string& GetValue() const;
    /// Gives the node a value, in place of the one that it may have. Children are left alone.
    ///
    /// \param value any text
    /// \throws SerializationException when this node is absent; the message names its position
    void SetValue(std::string value);

  private:
    friend class NodeTree;
    friend struct detail::NodeAccess;

    NodeRef(detail::NodeArena* home, detail::NodeRecord* place);

    detail::NodeArena* arena;
    // The node, or the nearest one above that is there.
    detail::NodeRecord* record;
    // The names from record on; empty when the node is there.
    std::vector<std::string> missing;
};

}  // namespace velmora::core::serialization
