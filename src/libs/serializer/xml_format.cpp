// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/xml_format.h"

#include "serializer/document.h"
#include "serializer/document_output.h"
#include "serializer/node_access.h"
#include "serializer/text_escapes.h"
#include "serializer/xml_names.h"
#include "serializer/xml_reader.h"

#include <algorithm>
#include <istream>
#include <memory>

namespace velmora::core::serialization {

using detail::DocumentForm;
using detail::DocumentOutput;
using detail::NodeArena;
using detail::NodeIndex;
using detail::NodeRecord;
using detail::noNode;

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

class XmlForm : public DocumentForm {
  public:
    XmlForm(const NodeArena& arena, std::ostream& stream) : arena(arena), out(stream) {
        out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    }

    void Open(NodeIndex node, std::size_t depth) override;
    void Close(NodeIndex node, std::size_t depth) override {
        out.Indent(depth);
        out << "</" << GetElementName(node) << ">\n";
    }
    void Finish() override { out.Finish(); }

  private:
    std::string_view GetElementName(NodeIndex node) {
        if (node == detail::rootIndex) {
            return detail::rootElement;
        }
        return names.Get(arena, node, detail::IsElementName) ? arena.GetName(node)
                                                             : detail::anyNodeElement;
    }
    void WriteValue(std::string_view value, std::string_view element);

    const NodeArena& arena;
    DocumentOutput out;
    // Whether they can be those of elements.
    detail::NameCache names;
};

// Writes the end of the start tag, which says how to read the value, the value and the end tag.
void XmlForm::WriteValue(std::string_view value, std::string_view element) {
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

void XmlForm::Open(NodeIndex node, std::size_t depth) {
    const NodeRecord& record = arena[node];
    const std::string_view element = GetElementName(node);
    out.Indent(depth);
    out << '<' << element;
    if (element == detail::anyNodeElement) {
        out << ' ' << detail::nameAttribute << "=\"";
        WriteMarkup(out, detail::Escape(arena.GetName(node)));
        out << '"';
    }
    if (record.flags != GetDerivedFlags(arena, record)) {
        out << ' ' << detail::flagsAttribute << "=\"" << std::to_string(record.flags) << '"';
    }
    if (record.firstChild == noNode && record.hasValue) {
        WriteValue(arena.GetValue(node), element);
    } else if (record.firstChild == noNode) {
        out << "/>\n";
    } else {
        out << ">\n";
        if (record.hasValue) {
            out.Indent(depth + 1);
            out << '<' << detail::valueElement;
            WriteValue(arena.GetValue(node), detail::valueElement);
        }
    }
}

NodeTree Read(std::istream& in, const ReadLimits& limits, const ConsumedLists* lists) {
    if (!in) {
        throw SerializationException("Cannot read the XML document: the stream failed.");
    }
    NodeTree tree;
    detail::ReadXmlNodes(in, limits, detail::NodeAccess::GetArena(tree), lists);
    return tree;
}

}  // namespace

namespace detail {

std::unique_ptr<DocumentForm> MakeXmlForm(const NodeArena& arena, std::ostream& out) {
    return std::make_unique<XmlForm>(arena, out);
}

}  // namespace detail

void WriteXml(const NodeTree& tree, std::ostream& out) {
    const NodeArena& arena = detail::NodeAccess::GetArena(tree);
    XmlForm form(arena, out);
    WriteSubtree(form, arena, detail::rootIndex, 0);
    form.Finish();
}

NodeTree ReadXml(std::istream& in) {
    return ReadXml(in, ReadLimits());
}

NodeTree ReadXml(std::istream& in, const ReadLimits& limits) {
    return Read(in, limits, nullptr);
}

NodeTree ReadXml(std::istream& in, const ReadLimits& limits, const ConsumedLists& lists) {
    return Read(in, limits, &lists);
}

}  // namespace velmora::core::serialization
