// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/export.h"
#include "serializer/node_flags.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::core::serialization {

class NodeRef;

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
    /// \throws SerializationException when this node is absent, in which case the message names its
    ///     position, or the tree has 2^32 - 1 nodes
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
struct NodeAccess;
struct NodeRecord;
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
    /// The value, or an empty text if there is none. The tree keeps the string, until the value is
    /// set again: `GetValueView` takes no memory.
    const std::string& GetValue() const;
    /// The value, or an empty text if there is none; valid until the value is set again.
    std::string_view GetValueView() const;
    /// The node above; the root is above itself, an absent node's parent may be absent.
    NodeRef GetParent() const;
    /// A number that no other node of the tree has at the same time; of an absent node that of the
    /// nearest one above it.
    std::uint64_t GetNumber() const { return index; }
    /// Sets or replaces the value, which may be any bytes. Children stay.
    ///
    /// \throws SerializationException when this node is absent, in which case the message names its
    ///     position, or the value has 4 GiB or more
    void SetValue(std::string value);

  private:
    friend class NodeTree;
    friend struct detail::NodeAccess;

    NodeRef(detail::NodeArena* arena, std::uint32_t index);

    const detail::NodeRecord& Record() const;

    detail::NodeArena* arena;
    // The node or, if that is absent, its nearest ancestor in the tree. As large as the address of
    // a node, which it was in version 1.0.
    std::uint64_t index;
    // The names below index that lead to an absent node.
    std::vector<std::string> missing;
};

}  // namespace velmora::core::serialization
