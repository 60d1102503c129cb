// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/xml_tree_builder.h"

#include "serializer/text_escapes.h"
#include "serializer/xml_names.h"

#include <charconv>

namespace velmora::core::serialization::detail {

namespace {

std::string_view TrimStart(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

std::string_view TrimEnd(std::string_view text) {
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

}  // namespace

void XmlTreeBuilder::Fail(const std::string& reason) const {
    FailAt("XML", source->GetTokenPosition(), reason);
}

void XmlTreeBuilder::AddText(std::string_view chunk) {
    text += text.empty() ? TrimStart(chunk) : chunk;
    CheckText(text);
}

void XmlTreeBuilder::CheckNoText() const {
    if (!text.empty()) {
        Fail(
            "Unexpected text beside elements: the value of such a node is in an element "
            "'_value'.");
    }
}

void XmlTreeBuilder::Open(std::string_view element, const std::vector<XmlAttribute>& attributes) {
    CheckNoText();
    if (inValue || form != TextForm::Verbatim) {
        Fail("Unexpected element " + Quote(element) + " inside a value.");
    }
    bool needsName = false;
    if (element == valueElement) {
        OpenValue();
    } else if (IsInside()) {
        needsName = element == anyNodeElement;
        OpenElementNode(element);
    } else if (element == rootElement) {
        current = rootIndex;
    } else {
        Fail("Expected 'Tree' as the outermost element, found " + Quote(element) + ".");
    }
    ReadAttributes(attributes, needsName);
}

void XmlTreeBuilder::OpenValue() {
    if (!IsInside() || arena[current].hasValue) {
        Fail(!IsInside() ? "Unexpected '_value' outside a node."
                         : "Unexpected second '_value': a node has one value.");
    }
    inValue = true;
}

void XmlTreeBuilder::OpenElementNode(std::string_view element) {
    current = OpenNode(current, element);
    path.emplace_back(current, element == anyNodeElement);
    if (!path.back().second) {
        CheckElementName(current);
    }
}

void XmlTreeBuilder::CheckElementName(NodeIndex node) {
    if (!names.Get(arena, node, IsElementName)) {
        Fail("Invalid element name " + Quote(arena.GetName(node)) + ".");
    }
}

void XmlTreeBuilder::ReadAttributes(const std::vector<XmlAttribute>& attributes, bool needsName) {
    bool hasName = false;
    for (const auto& [attribute, value] : attributes) {
        if (attribute == nameAttribute && needsName) {
            SetName(current, UnescapeText(value));
            hasName = true;
        } else if (attribute == flagsAttribute && !inValue) {
            ReadFlags(value);
        } else if (attribute == textAttribute && value == escapedText) {
            form = TextForm::Escaped;
        } else if (attribute == textAttribute && value == emptyText) {
            form = TextForm::Empty;
        } else {
            Fail("Unexpected attribute " + Quote(attribute) + " with value " + Quote(value) + ".");
        }
    }
    if (needsName && !hasName) {
        Fail("Element '_node' needs an attribute 'name'.");
    }
}

void XmlTreeBuilder::ReadFlags(std::string_view value) {
    unsigned flags = 0;
    const char* const end = value.data() + value.size();
    const auto [next, error] = std::from_chars(value.data(), end, flags);
    if (error != std::errc() || next != end) {
        Fail("Flags " + Quote(value) + " are not a 32-bit unsigned integer.");
    }
    arena[current].flags = static_cast<NodeFlags>(flags);
    arena[current].hasExplicitFlags = true;
}

void XmlTreeBuilder::Close() {
    // Text before the first child or after the last one is not the value of the node.
    if (inValue || (!HasChildren(current) && !arena[current].hasValue)) {
        TakeValue();
    } else {
        CheckNoText();
    }
    text.clear();
    form = TextForm::Verbatim;
    if (inValue) {
        inValue = false;
    } else if (current == rootIndex) {
        current = noNode;
        isComplete = true;
    } else {
        const NodeIndex closed = current;
        current = arena[closed].parent;
        path.pop_back();
        CloseNode(closed);
    }
}

void XmlTreeBuilder::TakeValue() {
    const std::string_view content = TrimEnd(text);
    if (form == TextForm::Escaped) {
        SetValue(current, UnescapeText(content));
    } else if (form == TextForm::Empty && !content.empty()) {
        Fail("Unexpected text in a value marked as empty.");
    } else if (form == TextForm::Empty || inValue || !content.empty()) {
        SetValue(current, content);
    }
}

std::string_view XmlTreeBuilder::GetElement(NodeIndex node) const {
    return node == rootIndex ? rootElement : std::string_view(arena.GetName(node));
}

std::string_view XmlTreeBuilder::GetOpenElement() const {
    if (inValue) {
        return valueElement;
    }
    return !path.empty() && path.back().second ? anyNodeElement : GetElement(current);
}

std::string XmlTreeBuilder::GetOpenTags() const {
    std::string tags;
    const auto open = [&tags](std::string_view element) { ((tags += '<') += element) += '>'; };
    if (IsInside()) {
        open(rootElement);
    }
    for (const auto& [node, isAnyNode] : path) {
        open(isAnyNode ? anyNodeElement : GetElement(node));
    }
    if (inValue) {
        open(valueElement);
    }
    return tags;
}

}  // namespace velmora::core::serialization::detail
