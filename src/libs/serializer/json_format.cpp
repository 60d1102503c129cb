// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/json_format.h"

#include "serializer/document.h"
#include "serializer/document_output.h"
#include "serializer/json_reader.h"
#include "serializer/node_access.h"
#include "serializer/text_escapes.h"

#include <algorithm>
#include <istream>

namespace velmora::core::serialization {

using detail::DocumentOutput;
using detail::NodeRecord;

namespace {

void WriteEscape(DocumentOutput& out, char character) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(character);
    switch (character) {
        case '"':
        case '\\':
            out << '\\' << character;
            break;
        case '\n':
            out << "\\n";
            break;
        case '\r':
            out << "\\r";
            break;
        case '\t':
            out << "\\t";
            break;
        default:
            out << "\\u00" << digits[byte >> 4U] << digits[byte & 0xFU];
    }
}

// Writes well-formed UTF-8 as a string. Poco::toJSON leaves U+007F as it is and looks at each
// character by itself.
void WriteString(DocumentOutput& out, std::string_view text) {
    const auto needsEscape = [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte == '"' || byte == '\\' || byte < 0x20U || byte == 0x7FU;
    };
    out << '"';
    for (auto at = text.begin(); at != text.end();) {
        const auto special = std::find_if(at, text.end(), needsEscape);
        out << std::string_view(at, special);
        at = special;
        if (at != text.end()) {
            WriteEscape(out, *at);
            ++at;
        }
    }
    out << '"';
}

// The properties of a node that a string or a list cannot represent.
struct SpecialProperties {
    explicit SpecialProperties(const NodeRecord& record)
        : escapedName(!detail::IsUtf8(record.name)),
          escapedValue(record.hasValue && !detail::IsUtf8(record.value)),
          explicitFlags(record.flags != GetDerivedFlags(record)),
          valueAndChildren(record.hasValue && record.firstChild != nullptr) {}

    bool Any() const { return escapedName || escapedValue || explicitFlags || valueAndChildren; }

    bool escapedName;
    bool escapedValue;
    bool explicitFlags;
    bool valueAndChildren;
};

void WriteNodeEnd(DocumentOutput& out, const NodeRecord& record) {
    out << (record.nextSibling != nullptr ? "},\n" : "}\n");
}

// Writes a body that is an object, up to the list of children if there is one.
void OpenBodyObject(DocumentOutput& out, const NodeRecord& record,
                    const SpecialProperties& special) {
    std::string_view separator = "{";
    const auto begin = [&out, &separator](std::string_view member) -> DocumentOutput& {
        out << separator << '"' << member << "\": ";
        separator = ", ";
        return out;
    };
    if (special.escapedName) {
        WriteString(begin(detail::nameMember), detail::Escape(record.name));
    }
    if (special.explicitFlags) {
        begin(detail::flagsMember) << std::to_string(record.flags);
    }
    if (special.escapedValue) {
        WriteString(begin(detail::escapedValueMember), detail::Escape(record.value));
    } else if (record.hasValue) {
        WriteString(begin(detail::valueMember), record.value);
    }
    if (record.firstChild != nullptr) {
        begin(detail::nodesMember) << "[\n";
    } else {
        out << '}';
    }
}

void OpenNode(DocumentOutput& out, const NodeRecord& record, std::size_t depth) {
    const SpecialProperties special(record);
    out.Indent(depth);
    out << '{';
    if (record.parent == nullptr) {
        WriteString(out, detail::rootElement);
    } else {
        WriteString(out, special.escapedName ? std::string_view() : record.name);
    }
    out << ": ";
    if (special.Any()) {
        OpenBodyObject(out, record, special);
    } else if (record.firstChild != nullptr) {
        out << "[\n";
    } else if (record.hasValue) {
        WriteString(out, record.value);
    } else {
        out << "[]";
    }
    if (record.firstChild == nullptr) {
        WriteNodeEnd(out, record);
    }
}

void CloseNode(DocumentOutput& out, const NodeRecord& record, std::size_t depth) {
    out.Indent(depth);
    out << (SpecialProperties(record).Any() ? "]}" : "]");
    WriteNodeEnd(out, record);
}

}  // namespace

void WriteJson(const NodeTree& tree, std::ostream& out) {
    DocumentOutput output(out);
    detail::Traverse(
        detail::NodeAccess::GetArena(tree).GetRoot(),
        [&output](const NodeRecord& record, std::size_t depth) { OpenNode(output, record, depth); },
        [&output](const NodeRecord& record, std::size_t depth) {
            CloseNode(output, record, depth);
        });
    output.Finish();
}

NodeTree ReadJson(std::istream& in) {
    return ReadJson(in, ReadLimits());
}

NodeTree ReadJson(std::istream& in, const ReadLimits& limits) {
    if (!in) {
        throw SerializationException("Cannot read the JSON document: the stream failed.");
    }
    NodeTree tree;
    detail::ReadJsonNodes(in, limits, detail::NodeAccess::GetArena(tree));
    return tree;
}

}  // namespace velmora::core::serialization
