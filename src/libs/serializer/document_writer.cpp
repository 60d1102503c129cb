// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/document_writer.h"

#include "serializer/document.h"
#include "serializer/node_access.h"

#include <algorithm>

namespace velmora::core::serialization {

using detail::NodeAccess;
using detail::NodeArena;
using detail::NodeIndex;
using detail::noNode;

DocumentWriter::DocumentWriter(std::ostream& out, DocumentFormat format) {
    const NodeArena& arena = NodeAccess::GetArena(tree);
    form = format == DocumentFormat::Xml ? detail::MakeXmlForm(arena, out)
                                         : detail::MakeJsonForm(arena, out);
}

DocumentWriter::~DocumentWriter() = default;

NodeRef DocumentWriter::GetRoot() const {
    return tree.GetRoot();
}

// Writes the first children of an open node, up to one of them, and takes them out.
void DocumentWriter::WriteChildrenBefore(std::uint32_t parent, std::uint32_t end) {
    NodeArena& arena = NodeAccess::GetArena(tree);
    for (NodeIndex child = arena[parent].firstChild; child != end;
         child = arena[child].nextSibling) {
        WriteSubtree(*form, arena, child, open.size());
    }
    arena[parent].firstChild = end;
    if (end == noNode) {
        arena[parent].lastChild = noNode;
    }
}

// Ends the innermost open node, which is the first child of the one above.
void DocumentWriter::CloseLast() {
    NodeArena& arena = NodeAccess::GetArena(tree);
    const NodeIndex node = open.back();
    WriteChildrenBefore(node, noNode);
    open.pop_back();
    form->Close(node, open.size());
    if (!open.empty()) {
        arena[open.back()].firstChild = arena[node].nextSibling;
    }
}

void DocumentWriter::Write(const NodeRef& node) {
    NodeArena& arena = NodeAccess::GetArena(tree);
    std::vector<NodeIndex> path;
    for (NodeIndex index = NodeAccess::GetIndex(node); index != detail::rootIndex;
         index = arena[index].parent) {
        if (arena[arena[index].parent].lastChild != index) {
            throw SerializationException("Node '" + node.GetPosition() +
                                         "' cannot be written: something follows it.");
        }
        path.push_back(index);
    }
    if (path.empty()) {
        throw SerializationException("The root of a document cannot be written before its end.");
    }
    path.push_back(detail::rootIndex);
    std::reverse(path.begin(), path.end());

    const auto common = std::mismatch(open.begin(), open.end(), path.begin(), path.end()).first;
    for (auto count = static_cast<std::size_t>(common - open.begin());
         open.size() > std::min(count, path.size() - 1);) {
        CloseLast();
    }
    // Nothing is left of a node that was open.
    const NodeIndex parent = path[path.size() - 2];
    if (arena[parent].firstChild != noNode) {
        while (open.size() < path.size() - 1) {
            const NodeIndex next = path[open.size()];
            if (!open.empty()) {
                WriteChildrenBefore(open.back(), next);
            }
            detail::CheckDepth(open.size());
            form->Open(next, open.size());
            open.push_back(next);
        }
        WriteChildrenBefore(parent, noNode);
    }
    arena.RemoveAllBelow(parent);
}

void DocumentWriter::Finish() {
    if (open.empty()) {
        WriteSubtree(*form, NodeAccess::GetArena(tree), detail::rootIndex, 0);
    }
    while (!open.empty()) {
        CloseLast();
    }
    form->Finish();
}

}  // namespace velmora::core::serialization
