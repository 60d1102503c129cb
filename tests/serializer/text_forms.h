// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/json_format.h"
#include "serializer/node_tree.h"
#include "serializer/serialization_exception.h"
#include "serializer/xml_format.h"

#include <sstream>
#include <string>

namespace velmora::core::serialization {

/// One of the two text forms, so that a test can go through both.
struct TextForm {
    const char* name;
    void (*write)(const NodeTree&, std::ostream&);
    NodeTree (*read)(std::istream&);
};

inline constexpr TextForm textForms[] = {{"XML", WriteXml, ReadXml}, {"JSON", WriteJson, ReadJson}};

inline std::string Write(const TextForm& form, const NodeTree& tree) {
    std::ostringstream out;
    form.write(tree, out);
    return out.str();
}

inline NodeTree Read(const TextForm& form, const std::string& text) {
    std::istringstream in(text);
    return form.read(in);
}

/// Why a document can't be read, or that it can.
inline std::string GetReason(const TextForm& form, const std::string& text) {
    try {
        Read(form, text);
    } catch (const SerializationException& exception) {
        return exception.what();
    }
    return "it can be read";
}

/// A tree as text that tells any two trees apart, whatever bytes they hold.
inline std::string Dump(const NodeRef& node) {
    const auto sized = [](const std::string& text) {
        return std::to_string(text.size()) + ':' + text;
    };
    std::string text = sized(node.GetName()) + ' ' + std::to_string(node.GetFlags());
    text += node.HasValue() ? '=' + sized(node.GetValue()) : std::string();
    text += '(';
    for (const NodeRef& child : node.GetNodes()) {
        text += Dump(child);
    }
    return text + ")\n";
}

}  // namespace velmora::core::serialization
