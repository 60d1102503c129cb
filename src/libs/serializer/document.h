// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node_arena.h"
#include "serializer/serialization_exception.h"

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// What XML and JSON documents have in common.

namespace velmora::core::serialization::detail {

/// The name of the outermost element, which stands for the nameless root.
constexpr std::string_view rootElement = "Tree";

/// The maximum number of levels below the root. Objects are built from nodes by recursion, so this
/// bounds the stack that a document can make them use.
constexpr std::size_t maxDepth = 1'000;

/// The flags that a node most likely has. A document holds flags only where they differ.
inline NodeFlags GetDerivedFlags(const NodeArena& arena, const NodeRecord& record) {
    if (record.hasValue) {
        return NodeValue;
    }
    const bool isElement = record.parent == noNode || record.parent == rootIndex ||
                           arena[record.parent].flags == NodeList;
    return isElement ? NodeElement : NodeList;
}

/// Sets the derived flags of every node without explicit ones.
inline void DeriveFlags(NodeArena& arena) {
    // The flags of a parent are set before those of its children, which depend on them.
    for (NodeIndex index = rootIndex; index < arena.GetSize(); ++index) {
        NodeRecord& record = arena[index];
        if (!record.hasExplicitFlags) {
            record.flags = GetDerivedFlags(arena, record);
        }
    }
}

/// Remembers what was found out about names, by their numbers.
class NameCache {
  public:
    /// The answer to a question about a node's name, which is asked once a name.
    template <class Question>
    bool Get(const NodeArena& arena, NodeIndex node, Question question) {
        const std::uint32_t number = arena[node].name;
        if (number >= answers.size()) {
            answers.resize(number + 1);
        }
        Answer& answer = answers[number];
        if (answer == Answer::Unknown) {
            answer = question(arena.GetName(node)) ? Answer::Yes : Answer::No;
        }
        return answer == Answer::Yes;
    }

  private:
    enum class Answer : unsigned char { Unknown, Yes, No };

    std::vector<Answer> answers;
};

/// Writes the parts of a document. The XML and the JSON form implement it.
class DocumentForm {
  public:
    DocumentForm() = default;
    DocumentForm(const DocumentForm&) = delete;
    DocumentForm& operator=(const DocumentForm&) = delete;
    virtual ~DocumentForm() = default;

    /// Writes what comes before the children of a node, or all of a node that has none.
    virtual void Open(NodeIndex node, std::size_t depth) = 0;
    /// Writes what comes after the children of a node.
    virtual void Close(NodeIndex node, std::size_t depth) = 0;
    /// Ends the document and flushes the stream.
    virtual void Finish() = 0;
};

/// Fails at a node that is too deep to be written.
inline void CheckDepth(std::size_t depth) {
    if (depth > maxDepth) {
        throw SerializationException("Cannot write a tree of more than " +
                                     std::to_string(maxDepth) + " levels.");
    }
}

/// Writes a node and all below it, without recursion.
/// \throws SerializationException when the tree is deeper than `maxDepth`, or the stream fails
inline void WriteSubtree(DocumentForm& form, const NodeArena& arena, NodeIndex top,
                         std::size_t topDepth) {
    NodeIndex node = top;
    std::size_t depth = topDepth;
    while (true) {
        CheckDepth(depth);
        form.Open(node, depth);
        if (arena[node].firstChild != noNode) {
            node = arena[node].firstChild;
            ++depth;
            continue;
        }
        while (node != top && arena[node].nextSibling == noNode) {
            node = arena[node].parent;
            --depth;
            form.Close(node, depth);
        }
        if (node == top) {
            return;
        }
        node = arena[node].nextSibling;
    }
}

/// \param arena must outlive the form
std::unique_ptr<DocumentForm> MakeXmlForm(const NodeArena& arena, std::ostream& out);
std::unique_ptr<DocumentForm> MakeJsonForm(const NodeArena& arena, std::ostream& out);

}  // namespace velmora::core::serialization::detail
