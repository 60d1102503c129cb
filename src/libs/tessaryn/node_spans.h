// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/text_span.h"

#include <unordered_map>

namespace velmora::core::tessaryn {

class RLExpr;

/// The position of a node of a rule's tree in the text.
struct NodeSpan {
    /// The term or comparison; of "!", "&&", "||" and "^^", the operator.
    TextSpan expression = {};
    /// The name that a term begins with.
    TextSpan name = {};
    /// The parentheses, brackets with index, or period with property behind the name.
    TextSpan accessor = {};
    /// The literal of a comparison.
    TextSpan literal = {};
};

/// The spans of all nodes of a tree, which must outlive this.
///
/// \threadsafety external
class NodeSpans {
  public:
    void Add(const RLExpr& node, const NodeSpan& span) { spans[&node] = span; }

    /// \pre the node was added
    const NodeSpan& Get(const RLExpr& node) const { return spans.at(&node); }

  private:
    std::unordered_map<const RLExpr*, NodeSpan> spans;
};

}  // namespace velmora::core::tessaryn
