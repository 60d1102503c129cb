// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/json_format.h"

#include "serializer/document.h"
#include "serializer/document_output.h"
#include "serializer/json_reader.h"
#include "serializer/node_access.h"
#include "serializer/text_escapes.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <istream>
#include <memory>
#include <vector>

namespace velmora::core::serialization {

using detail::DocumentForm;
using detail::DocumentOutput;
using detail::NodeArena;
using detail::NodeIndex;
using detail::NodeRecord;
using detail::noNode;

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

bool NeedsEscape(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte == '"' || byte == '\\' || byte < 0x20U || byte == 0x7FU;
}

// Whether one of eight bytes needs an escape, or is not ASCII.
bool IsSpecial(std::uint64_t bytes) {
    constexpr std::uint64_t each = 0x0101010101010101U;
    // Sets the uppermost bit of a byte that is 0, and perhaps that of the next one.
    const auto zero = [](std::uint64_t value) { return (value - each) & ~value; };
    const std::uint64_t special = bytes | (bytes - each * 0x20U) | zero(bytes ^ each * '"') |
                                  zero(bytes ^ each * '\\') | zero(bytes ^ each * 0x7FU);
    return (special & each * 0x80U) != 0;
}

// Whether the text is ASCII without a character that needs an escape, as most are.
bool IsPlain(std::string_view text) {
    constexpr std::size_t word = sizeof(std::uint64_t);
    if (text.size() < word) {
        return std::none_of(text.begin(), text.end(), [](char character) {
            return NeedsEscape(character) || static_cast<unsigned char>(character) >= 0x80U;
        });
    }
    const auto isSpecialAt = [text](std::size_t place) {
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, text.data() + place, word);
        return IsSpecial(bytes);
    };
    for (std::size_t place = 0; place + word <= text.size(); place += word) {
        if (isSpecialAt(place)) {
            return false;
        }
    }
    return !isSpecialAt(text.size() - word);
}

// Writes well-formed UTF-8 as a string. Poco::toJSON leaves U+007F as it is and looks at each
// character by itself.
void WriteString(DocumentOutput& out, std::string_view text, bool isPlain) {
    out << '"';
    if (isPlain) {
        out << text << '"';
        return;
    }
    for (auto at = text.begin(); at != text.end();) {
        const auto special = std::find_if(at, text.end(), NeedsEscape);
        out << std::string_view(at, special);
        at = special;
        if (at != text.end()) {
            WriteEscape(out, *at);
            ++at;
        }
    }
    out << '"';
}

void WriteString(DocumentOutput& out, std::string_view text) {
    WriteString(out, text, IsPlain(text));
}

// The properties of a node that a string or a list cannot represent.
struct SpecialProperties {
    SpecialProperties(const NodeArena& arena, const NodeRecord& record, bool isUtf8Name,
                      bool isUtf8Value)
        : escapedName(!isUtf8Name),
          escapedValue(record.hasValue && !isUtf8Value),
          explicitFlags(record.flags != GetDerivedFlags(arena, record)),
          valueAndChildren(record.hasValue && record.firstChild != noNode) {}

    bool Any() const { return escapedName || escapedValue || explicitFlags || valueAndChildren; }

    bool escapedName;
    bool escapedValue;
    bool explicitFlags;
    bool valueAndChildren;
};

class JsonForm : public DocumentForm {
  public:
    JsonForm(const NodeArena& arena, std::ostream& stream) : arena(arena), out(stream) {}

    void Open(NodeIndex node, std::size_t depth) override;
    void Close(NodeIndex node, std::size_t depth) override;
    void Finish() override {
        out << '\n';
        out.Finish();
    }

  private:
    void OpenBodyObject(NodeIndex node, const SpecialProperties& special);

    const NodeArena& arena;
    DocumentOutput out;
    // Whether the node written last has the depth of the next one, unless that is its child.
    bool isAfterNode = false;
    // Whether they are UTF-8.
    detail::NameCache names;
    // Of each open node: whether its body is an object.
    std::vector<bool> objects;
};

// Writes a body that is an object, up to the list of children if there is one.
void JsonForm::OpenBodyObject(NodeIndex node, const SpecialProperties& special) {
    const NodeRecord& record = arena[node];
    std::string_view separator = "{";
    const auto begin = [this, &separator](std::string_view member) -> DocumentOutput& {
        out << separator << '"' << member << "\": ";
        separator = ", ";
        return out;
    };
    if (special.escapedName) {
        WriteString(begin(detail::nameMember), detail::Escape(arena.GetName(node)));
    }
    if (special.explicitFlags) {
        begin(detail::flagsMember) << std::to_string(record.flags);
    }
    if (special.escapedValue) {
        WriteString(begin(detail::escapedValueMember), detail::Escape(arena.GetValue(node)));
    } else if (record.hasValue) {
        WriteString(begin(detail::valueMember), arena.GetValue(node));
    }
    if (record.firstChild != noNode) {
        begin(detail::nodesMember) << "[\n";
    } else {
        out << '}';
    }
}

void JsonForm::Open(NodeIndex node, std::size_t depth) {
    const NodeRecord& record = arena[node];
    const std::string_view value = arena.GetValue(node);
    const bool isPlain = IsPlain(value);
    const SpecialProperties special(arena, record, names.Get(arena, node, detail::IsUtf8),
                                    isPlain || detail::IsUtf8(value));
    if (isAfterNode) {
        out << ",\n";
    }
    out.Indent(depth);
    out << '{';
    if (node == detail::rootIndex) {
        WriteString(out, detail::rootElement);
    } else {
        WriteString(out, special.escapedName ? std::string_view() : arena.GetName(node));
    }
    out << ": ";
    if (special.Any()) {
        OpenBodyObject(node, special);
    } else if (record.firstChild != noNode) {
        out << "[\n";
    } else if (record.hasValue) {
        WriteString(out, value, isPlain);
    } else {
        out << "[]";
    }
    isAfterNode = record.firstChild == noNode;
    if (isAfterNode) {
        out << '}';
    } else {
        objects.push_back(special.Any());
    }
}

void JsonForm::Close(NodeIndex /*node*/, std::size_t depth) {
    out << '\n';
    out.Indent(depth);
    out << (objects.back() ? "]}}" : "]}");
    objects.pop_back();
    isAfterNode = true;
}

NodeTree Read(std::istream& in, const ReadLimits& limits, const ConsumedLists* lists) {
    if (!in) {
        throw SerializationException("Cannot read the JSON document: the stream failed.");
    }
    NodeTree tree;
    detail::ReadJsonNodes(in, limits, detail::NodeAccess::GetArena(tree), lists);
    return tree;
}

}  // namespace

namespace detail {

std::unique_ptr<DocumentForm> MakeJsonForm(const NodeArena& arena, std::ostream& out) {
    return std::make_unique<JsonForm>(arena, out);
}

}  // namespace detail

void WriteJson(const NodeTree& tree, std::ostream& out) {
    const NodeArena& arena = detail::NodeAccess::GetArena(tree);
    JsonForm form(arena, out);
    WriteSubtree(form, arena, detail::rootIndex, 0);
    form.Finish();
}

NodeTree ReadJson(std::istream& in) {
    return ReadJson(in, ReadLimits());
}

NodeTree ReadJson(std::istream& in, const ReadLimits& limits) {
    return Read(in, limits, nullptr);
}

NodeTree ReadJson(std::istream& in, const ReadLimits& limits, const ConsumedLists& lists) {
    return Read(in, limits, &lists);
}

}  // namespace velmora::core::serialization
