// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/document.h"
#include "serializer/document_input.h"
#include "serializer/tree_builder.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// \file
/// Internal to this library.

namespace velmora::core::serialization::detail {

/// What reads the document, and knows where.
class XmlSource {
  public:
    /// The position of the current tag or text.
    virtual TextPosition GetTokenPosition() const = 0;

  protected:
    ~XmlSource() = default;
};

struct XmlAttribute {
    std::string_view name;
    std::string_view value;
};

/// Builds the tree from the parser's events and throws at the first that does not belong to one.
class XmlTreeBuilder final : public TreeBuilder {
  public:
    using TreeBuilder::TreeBuilder;

    void SetSource(const XmlSource& newSource) { source = &newSource; }

    void Open(std::string_view element, const std::vector<XmlAttribute>& attributes);
    void Close();
    void AddText(std::string_view chunk);
    bool HasText() const { return !text.empty(); }
    [[noreturn]] void Fail(const std::string& reason) const override;

    /// Whether the outermost element is open.
    bool IsInside() const { return current != noNode; }
    /// Whether the outermost element was closed.
    bool IsComplete() const { return isComplete; }
    /// The name of the innermost open element.
    std::string_view GetOpenElement() const;
    /// The start tags of all open elements, without attributes.
    std::string GetOpenTags() const;

  private:
    enum class TextForm { Verbatim, Empty, Escaped };

    void OpenValue();
    void OpenElementNode(std::string_view element);
    void ReadAttributes(const std::vector<XmlAttribute>& attributes, bool needsName);
    void ReadFlags(std::string_view value);
    void CheckNoText() const;
    void CheckElementName(NodeIndex node);
    void TakeValue();
    std::string_view GetElement(NodeIndex node) const;

    const XmlSource* source = nullptr;
    // The node whose element is open; none outside the outermost element.
    NodeIndex current = noNode;
    bool isComplete = false;
    // Whether the node's element '_value' is open.
    bool inValue = false;
    // The text since the last tag, without leading blanks.
    std::string text;
    // Of the innermost open element, before its first child.
    TextForm form = TextForm::Verbatim;
    // The nodes below the root that are open, and whether their elements are '_node'.
    std::vector<std::pair<NodeIndex, bool>> path;
    // Whether they can be those of elements.
    NameCache names;
};

}  // namespace velmora::core::serialization::detail
