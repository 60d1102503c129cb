// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/documents.h"

#include "fuzz/cost_limit.h"
#include "fuzz/fuzz.h"
#include "serializer/serialization_exception.h"

// The bytes are a document: it is refused, or its tree is the same after writing and reading it in
// both forms. The bytes are also the texts of a tree, for which the same holds.
void velmora::test::Fuzz(std::string_view input) {
    const std::string text(input);
    for (const TextForm& form : {xml, json}) {
        NodeTree tree;
        try {
            const CostLimit limit("Reading a document", text.size(), 30);
            tree = Read(form, text);
        } catch (const core::serialization::SerializationException&) {
            continue;
        }
        ExpectKept(tree);
    }
    const std::size_t half = text.size() / 2;
    const NodeTree tree;
    auto child = tree.GetRoot().AddNode(text.substr(0, half), core::serialization::NodeList);
    child.SetValue(text.substr(half));
    child.AddNode(text.substr(half), core::serialization::NodeValue).SetValue(text.substr(0, half));
    ExpectKept(tree);
}
