// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node_tree.h"

#include <string>

namespace velmora::test {

/// A node and all below it on one line: name, "/" and flags, "=" and value, children in brackets.
inline std::string Describe(const core::serialization::NodeRef& node) {
    std::string text = node.GetName() + "/" + std::to_string(node.GetFlags());
    if (node.HasValue())
        text += "=" + node.GetValue();
    std::string children;
    for (const auto& child : node.GetNodes())
        children += (children.empty() ? "" : " ") + Describe(child);
    return children.empty() ? text : text + "(" + children + ")";
}

/// Appends a child that holds a text.
inline core::serialization::NodeRef AddValue(core::serialization::NodeRef node,
                                             const std::string& name, const std::string& value) {
    auto child = node.AddNode(name, core::serialization::NodeValue);
    child.SetValue(value);
    return child;
}

}  // namespace velmora::test
