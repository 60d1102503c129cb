// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/xml_format.h"

#include "serializer/document.h"
#include "serializer/document_output.h"
#include "serializer/node_access.h"
#include "serializer/text_escapes.h"
#include "serializer/xml_reader.h"

#include <algorithm>
#include <istream>

namespace velmora::core::serialization {

using detail::DocumentOutput;
using detail::NodeRecord;

namespace {

void WriteEntity(DocumentOutput& out, char character) {
    switch (character) {
        case '&':
            out << "&amp;";
            break;
        case '<':
            out << "&lt;";
            break;
        case '>':
            out << "&gt;";
            break;
        default:
            out << "&quot;";
    }
}

void WriteMarkup(DocumentOutput& out, std::string_view text) {
    const auto needsEntity = [](char character) {
        return character == '&' || character == '<' || character == '>' || character == '"';
    };
    for (auto at = text.begin(); at != text.end();) {
        const auto special = std::find_if(at, text.end(), needsEntity);
        out << std::string_view(at, special);
        at = special;
        if (at != text.end()) {
            WriteEntity(out, *at);
            ++at;
        }
    }
}

std::string_view GetElementName(const NodeRecord& record) {
    if (record.parent == nullptr) {
        return detail::rootElement;
    }
    return detail::IsElementName(record.name) ? std::string_view(record.name)
                                              : detail::anyNodeElement;
}

// Writes the end of the start tag, which says how to read the value, the value and the end tag.
void WriteValue(DocumentOutput& out, const std::string& value, std::string_view element) {
    if (value.empty()) {
        out << ' ' << detail::textAttribute << "=\"" << detail::emptyText << "\"/>\n";
        return;
    }
    if (!detail::NeedsEscapes(value)) {
        out << '>';
        WriteMarkup(out, value);
    } else {
        out << ' ' << detail::textAttribute << "=\"" << detail::escapedText << "\">";
        WriteMarkup(out, detail::Escape(value));
    }
    out << "</" << element << ">\n";
}

void OpenElement(DocumentOutput& out, const NodeRecord& record, std::size_t depth) {
    const std::string_view element = GetElementName(record);
    out.Indent(depth);
    out << '<' << element;
    if (element == detail::anyNodeElement) {
        out << ' ' << detail::nameAttribute << "=\"";
        WriteMarkup(out, detail::Escape(record.name));
        out << '"';
    }
    if (record.flags != GetDerivedFlags(record)) {
        out << ' ' << detail::flagsAttribute << "=\"" << std::to_string(record.flags) << '"';
    }
    if (record.firstChild == nullptr && record.hasValue) {
        WriteValue(out, record.value, element);
    } else if (record.firstChild == nullptr) {
        out << "/>\n";
    } else {
        out << ">\n";
        if (record.hasValue) {
            out.Indent(depth + 1);
            out << '<' << detail::valueElement;
            WriteValue(out, record.value, detail::valueElement);
        }
    }
}

}  // namespace

void WriteXml(const NodeTree& tree, std::ostream& out) {
    DocumentOutput output(out);
    output << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    detail::Traverse(
        detail::NodeAccess::GetArena(tree).GetRoot(),
        [&output](const NodeRecord& record, std::size_t depth) {
            OpenElement(output, record, depth);
        },
        [&output](const NodeRecord& record, std::size_t depth) {
            output.Indent(depth);
            output << "</" << GetElementName(record) << ">\n";
        });
    output.Finish();
}

NodeTree ReadXml(std::istream& in) {
    return ReadXml(in, ReadLimits());
}

NodeTree ReadXml(std::istream& in, const ReadLimits& limits) {
    if (!in) {
        throw SerializationException("Cannot read the XML document: the stream failed.");
    }
    NodeTree tree;
    detail::ReadXmlNodes(in, limits, detail::NodeAccess::GetArena(tree));
    return tree;
}

}  // namespace velmora::core::serialization
