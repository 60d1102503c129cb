// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/private/node_records.h"
#include "serializer/serialization_exception.h"

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

/// \file
/// What the documents in XML and in JSON have in common.

namespace velmora::core::serialization::detail {

/// The name of the outermost element, which stands for the nameless root.
constexpr std::string_view rootElement = "Tree";

/// Levels below the root that a document may have. Objects are built from nodes by recursion, so
/// a document from outside must not choose how deep that goes.
constexpr std::size_t maxDepth = 1'000;

/// The flags that a node most likely has. A document states flags only where they differ.
inline NodeFlags GetDerivedFlags(const NodeRecord& record) {
    if (record.hasValue) {
        return NodeValue;
    }
    const NodeRecord* const parent = record.parent;
    const bool isElement =
        parent == nullptr || parent->parent == nullptr || parent->flags == NodeList;
    return isElement ? NodeElement : NodeList;
}

/// Gives every node whose flags were not stated those that are derived.
inline void DeriveFlags(NodeArena& arena) {
    // Parents come first in the arena, so that their flags are known here.
    arena.ForEach([](NodeRecord& record) {
        if (!record.flagsStated) {
            record.flags = GetDerivedFlags(record);
        }
    });
}

/// Collects a document and hands it to a stream in large pieces.
class TextSink {
  public:
    explicit TextSink(std::ostream& target) : out(target) { text.reserve(2 * pieceSize); }

    TextSink& operator<<(std::string_view piece) {
        text += piece;
        return *this;
    }
    TextSink& operator<<(char piece) {
        text += piece;
        return *this;
    }
    /// Begins a line. The indent stops growing, lest a deep tree makes more blanks than text.
    void Indent(std::size_t depth) {
        constexpr std::size_t deepestIndent = 32;
        if (text.size() >= pieceSize) {
            Write();
        }
        text.append(2 * std::min(depth, deepestIndent), ' ');
    }
    /// Hands over the rest.
    void Finish() {
        Write();
        out.flush();
        Check();
    }

  private:
    static constexpr std::size_t pieceSize = std::size_t{64} * 1024;

    void Write() {
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        Check();
        text.clear();
    }
    void Check() const {
        if (!out) {
            throw SerializationException("The document can not be written to its stream.");
        }
    }

    std::ostream& out;
    std::string text;
};

/// Visits a tree in document order without recursion.
///
/// \param root where to begin
/// \param open is called with each node and its depth
/// \param close is called with each node that has children, after these, and its depth
/// \throws SerializationException when the tree is deeper than `maxDepth`
template <class Open, class Close>
void Walk(const NodeRecord& root, Open open, Close close) {
    const NodeRecord* node = &root;
    std::size_t depth = 0;
    while (true) {
        if (depth > maxDepth) {
            throw SerializationException("The tree is deeper than the " + std::to_string(maxDepth) +
                                         " levels of a document.");
        }
        open(*node, depth);
        if (node->firstChild != nullptr) {
            node = node->firstChild;
            ++depth;
            continue;
        }
        while (node != &root && node->nextSibling == nullptr) {
            node = node->parent;
            --depth;
            close(*node, depth);
        }
        if (node == &root) {
            return;
        }
        node = node->nextSibling;
    }
}

}  // namespace velmora::core::serialization::detail
