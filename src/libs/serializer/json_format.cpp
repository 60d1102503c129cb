// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/json_format.h"

#include "serializer/private/document.h"
#include "serializer/private/text_escapes.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <istream>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace velmora::core::serialization {

using detail::NodeArena;
using detail::NodeRecord;
using detail::TextSink;

namespace {

// The fields of a node's body where it is an object.
constexpr std::string_view nameField = "escapedName";
constexpr std::string_view flagsField = "flags";
constexpr std::string_view valueField = "value";
constexpr std::string_view escapedField = "escaped";
constexpr std::string_view nodesField = "nodes";

// ---------------------------------------------------------------------------------------------
// Writing

// Writes well-formed UTF-8 between quotation marks.
void WriteString(TextSink& out, std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto isSpecial = [](char c) {
        return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20U || c == '\x7f';
    };
    out << '"';
    for (auto at = text.begin(); at != text.end();) {
        const auto special = std::find_if(at, text.end(), isSpecial);
        out << std::string_view(at, special);
        at = special;
        if (at == text.end()) {
            break;
        }
        const auto byte = static_cast<unsigned char>(*at++);
        switch (byte) {
            case '"':
                out << "\\\"";
                break;
            case '\\':
                out << "\\\\";
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
    out << '"';
}

// What of a node can't be told by a bare text or a bare list.
struct Traits {
    explicit Traits(const NodeRecord& record)
        : escapedName(!detail::IsUtf8(record.name)),
          escapedValue(record.hasValue && !detail::IsUtf8(record.value)),
          flags(record.flags != GetDerivedFlags(record)),
          both(record.hasValue && record.firstChild != nullptr) {}

    bool NeedsFields() const { return escapedName || escapedValue || flags || both; }

    bool escapedName;
    bool escapedValue;
    bool flags;
    bool both;
};

void WriteNodeEnd(TextSink& out, const NodeRecord& record) {
    out << (record.nextSibling != nullptr ? "},\n" : "}\n");
}

// Writes the fields of a body but for the end of the list of nodes, where there is one.
void OpenFields(TextSink& out, const NodeRecord& record, const Traits& traits) {
    std::string_view separator = "{";
    const auto begin = [&out, &separator](std::string_view field) -> TextSink& {
        out << separator << '"' << field << "\": ";
        separator = ", ";
        return out;
    };
    if (traits.escapedName) {
        WriteString(begin(nameField), detail::Escape(record.name));
    }
    if (traits.flags) {
        begin(flagsField) << std::to_string(record.flags);
    }
    if (traits.escapedValue) {
        WriteString(begin(escapedField), detail::Escape(record.value));
    } else if (record.hasValue) {
        WriteString(begin(valueField), record.value);
    }
    if (record.firstChild != nullptr) {
        begin(nodesField) << "[\n";
    } else {
        out << '}';
    }
}

void OpenNode(TextSink& out, const NodeRecord& record, std::size_t depth) {
    const Traits traits(record);
    out.Indent(depth);
    out << '{';
    if (record.parent == nullptr) {
        WriteString(out, detail::rootElement);
    } else {
        WriteString(out, traits.escapedName ? std::string_view() : record.name);
    }
    out << ": ";
    if (traits.NeedsFields()) {
        OpenFields(out, record, traits);
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

void CloseNode(TextSink& out, const NodeRecord& record, std::size_t depth) {
    out.Indent(depth);
    out << (Traits(record).NeedsFields() ? "]}" : "]");
    WriteNodeEnd(out, record);
}

// ---------------------------------------------------------------------------------------------
// Reading

// Reads a stream in large pieces and knows line and column of what was taken from it.
class Source {
  public:
    explicit Source(std::istream& in) : stream(*in.rdbuf()), piece(pieceSize, '\0') { Refill(); }

    bool IsAtEnd() const { return next == end; }
    char Get() const { return *next; }
    void Advance() {
        ++next;
        if (next == end) {
            last = next[-1];
            Refill();
        }
    }
    // The byte taken last; a blank before the first one.
    char GetLast() const { return next == piece.data() ? last : next[-1]; }
    // Says why the document can't be read, and where the byte taken last stands.
    [[noreturn]] void Refuse(const std::string& reason) {
        Count();
        throw SerializationException(
            "The JSON document can not be read at line " + std::to_string(line) + ", column " +
            std::to_string(std::max<std::size_t>(column, 1)) + ": " + reason);
    }

  private:
    static constexpr std::size_t pieceSize = std::size_t{64} * 1024;

    void Refill() {
        Count();
        std::streamsize length = 0;
        try {
            length = stream.sgetn(piece.data(), static_cast<std::streamsize>(piece.size()));
        } catch (const std::exception& exception) {
            Refuse(exception.what());
        }
        next = piece.data();
        counted = next;
        end = next + length;
    }
    // Brings line and column up to what was taken. Columns count characters, not bytes.
    void Count() {
        for (; counted != next; ++counted) {
            // A line end belongs to the line that it ends.
            if (atLineEnd) {
                ++line;
                column = 0;
            }
            atLineEnd = *counted == '\n';
            if ((static_cast<unsigned char>(*counted) & 0xC0U) != 0x80U) {
                ++column;
            }
        }
    }

    std::streambuf& stream;
    std::string piece;
    const char* next = nullptr;
    const char* end = nullptr;
    const char* counted = nullptr;
    // Of the piece before.
    char last = ' ';
    std::size_t line = 1;
    std::size_t column = 0;
    bool atLineEnd = false;
};

// The form in which the parser takes its input.
class SourceIterator {
  public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = char;

    SourceIterator() = default;
    explicit SourceIterator(Source& from) : source(&from) {}

    char operator*() const { return source->Get(); }
    SourceIterator& operator++() {
        source->Advance();
        return *this;
    }
    SourceIterator operator++(int) = delete;
    // Is asked against the end only.
    bool operator==(const SourceIterator& /*other*/) const { return source->IsAtEnd(); }

  private:
    Source* source = nullptr;
};

// Builds the tree from the parser's events, throwing where they don't make one.
class TreeBuilder : public nlohmann::json::json_sax_t {
  public:
    TreeBuilder(NodeArena& target, Source& from) : arena(target), source(from) {
        frames.push_back({Frame::Kind::document, nullptr, {}, 0});
    }

    bool null() override { Refuse("null has no meaning here."); }
    bool boolean(bool /*value*/) override { Refuse("A truth value has no meaning here."); }
    bool number_integer(std::int64_t /*value*/) override { RefuseNumber(); }
    bool number_float(double /*value*/, const std::string& /*text*/) override { RefuseNumber(); }
    bool binary(nlohmann::json::binary_t& /*value*/) override {
        Refuse("Binary data has no meaning here.");
    }
    bool number_unsigned(std::uint64_t value) override;
    bool string(std::string& value) override;
    bool start_object(std::size_t /*count*/) override;
    bool key(std::string& name) override;
    bool end_object() override;
    bool start_array(std::size_t /*count*/) override;
    bool end_array() override;
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const nlohmann::json::exception& error) override;

  private:
    enum class Field { none, name, flags, value, escaped, nodes };

    // One object or list that is open.
    struct Frame {
        enum class Kind {
            document,  // holds the outermost node
            node,      // {"Name": body}
            fields,    // a body that is an object
            nodes,     // a list of nodes, be it a body or a field of one
        };

        Kind kind;
        // The node that it belongs to; of a node null until the name was read.
        NodeRecord* record;
        // Which field comes next.
        Field field;
        // A bit for each field that was there; of a node and the document whether it is complete.
        unsigned seen;
    };

    [[noreturn]] void Refuse(const std::string& reason) const { source.Refuse(reason); }
    [[noreturn]] void RefuseNumber() const {
        Refuse("The only numbers are flags, which are 32-bit unsigned integers.");
    }
    void NameNode(Frame& frame, std::string& name);
    void BeginField(Frame& frame, const std::string& name);
    // Sees to it that a node's body is expected here.
    void TakeBody(Frame& frame);
    std::string Unescape(const std::string& text) const;

    NodeArena& arena;
    Source& source;
    std::vector<Frame> frames;
    std::size_t depth = 0;
};

std::string TreeBuilder::Unescape(const std::string& text) const {
    std::optional<std::string> bytes = detail::Unescape(text);
    if (!bytes) {
        Refuse("The text holds a wrong escape.");
    }
    return std::move(*bytes);
}

void TreeBuilder::TakeBody(Frame& frame) {
    if (frame.kind != Frame::Kind::node) {
        Refuse("A node is expected, an object with the node's name.");
    }
    frame.seen = 1;
}

bool TreeBuilder::number_unsigned(std::uint64_t value) {
    Frame& frame = frames.back();
    if (frame.kind != Frame::Kind::fields || frame.field != Field::flags ||
        value > std::numeric_limits<unsigned>::max()) {
        RefuseNumber();
    }
    frame.record->flags = static_cast<NodeFlags>(value);
    frame.record->flagsStated = true;
    return true;
}

bool TreeBuilder::string(std::string& value) {
    Frame& frame = frames.back();
    NodeRecord* const record = frame.record;
    if (frame.kind != Frame::Kind::fields) {
        TakeBody(frame);
    } else if (frame.field == Field::flags || frame.field == Field::nodes) {
        Refuse("A text is neither flags nor a list of nodes.");
    }
    if (frame.kind == Frame::Kind::fields && frame.field == Field::name) {
        record->name = Unescape(value);
        return true;
    }
    const bool escaped = frame.kind == Frame::Kind::fields && frame.field == Field::escaped;
    record->value = escaped ? Unescape(value) : std::move(value);
    record->hasValue = true;
    return true;
}

bool TreeBuilder::start_object(std::size_t /*count*/) {
    Frame& frame = frames.back();
    switch (frame.kind) {
        case Frame::Kind::document:
        case Frame::Kind::nodes:
            if (frame.kind == Frame::Kind::nodes && ++depth > detail::maxDepth) {
                Refuse("The tree is deeper than " + std::to_string(detail::maxDepth) + " levels.");
            }
            frames.push_back({Frame::Kind::node, nullptr, Field::none, 0});
            break;
        case Frame::Kind::node:
            frame.seen = 1;
            frames.push_back({Frame::Kind::fields, frame.record, Field::none, 0});
            break;
        case Frame::Kind::fields:
            Refuse("No field of a node is an object.");
    }
    return true;
}

bool TreeBuilder::key(std::string& name) {
    Frame& frame = frames.back();
    if (frame.kind == Frame::Kind::node) {
        NameNode(frame, name);
    } else {
        BeginField(frame, name);
    }
    return true;
}

void TreeBuilder::NameNode(Frame& frame, std::string& name) {
    if (frame.record != nullptr) {
        Refuse("A node has one name.");
    }
    const Frame& above = *(frames.end() - 2);
    if (above.kind == Frame::Kind::nodes) {
        frame.record = &arena.Add(*above.record, std::move(name), NodeElement);
    } else if (name == detail::rootElement) {
        frame.record = &arena.GetRoot();
    } else {
        Refuse("The outermost node is '" + detail::Printable(name) + "', not 'Tree'.");
    }
}

void TreeBuilder::BeginField(Frame& frame, const std::string& name) {
    const struct {
        std::string_view name;
        Field field;
    } fields[] = {{nameField, Field::name},
                  {flagsField, Field::flags},
                  {valueField, Field::value},
                  {escapedField, Field::escaped},
                  {nodesField, Field::nodes}};
    const auto* const known = std::find_if(std::begin(fields), std::end(fields),
                                           [&](const auto& field) { return field.name == name; });
    if (known == std::end(fields)) {
        Refuse("A node has no field '" + detail::Printable(name) + "'.");
    }
    frame.field = known->field;
    if (frame.field == Field::name &&
        (frame.record->parent == nullptr || !frame.record->name.empty())) {
        Refuse("The node has a name already.");
    }
    // A value is there once, in either form.
    const Field slot = frame.field == Field::escaped ? Field::value : frame.field;
    const unsigned bit = 1U << static_cast<unsigned>(slot);
    if ((frame.seen & bit) != 0) {
        Refuse("A node has one field '" + name + "'.");
    }
    frame.seen |= bit;
}

bool TreeBuilder::end_object() {
    const Frame frame = frames.back();
    if (frame.kind == Frame::Kind::node) {
        if (frame.seen == 0) {
            Refuse("The node has no name.");
        }
        depth -= depth > 0 ? 1 : 0;
    }
    frames.pop_back();
    return true;
}

bool TreeBuilder::start_array(std::size_t /*count*/) {
    Frame& frame = frames.back();
    if (frame.kind != Frame::Kind::fields) {
        TakeBody(frame);
    } else if (frame.field != Field::nodes) {
        Refuse("The only list among the fields is that of nodes.");
    }
    frames.push_back({Frame::Kind::nodes, frame.record, Field::none, 0});
    return true;
}

bool TreeBuilder::end_array() {
    frames.pop_back();
    return true;
}

bool TreeBuilder::parse_error(std::size_t /*position*/, const std::string& /*token*/,
                              const nlohmann::json::exception& error) {
    // The parser's text begins with its own name for the error, may go on with the position, and
    // may quote a whole document.
    constexpr std::size_t longest = 200;
    std::string reason = error.what();
    reason.erase(0, reason.find(' ') + 1);
    if (reason.starts_with("parse error at ")) {
        reason.erase(0, reason.find(": ") + 2);
    }
    if (reason.size() > longest) {
        reason = reason.substr(0, longest) + "...";
    }
    Refuse(detail::Printable(reason));
}

}  // namespace

void WriteJson(const NodeTree& tree, std::ostream& out) {
    TextSink sink(out);
    detail::Walk(
        detail::NodeAccess::GetArena(tree).GetRoot(),
        [&sink](const NodeRecord& record, std::size_t depth) { OpenNode(sink, record, depth); },
        [&sink](const NodeRecord& record, std::size_t depth) { CloseNode(sink, record, depth); });
    sink.Finish();
}

NodeTree ReadJson(std::istream& in) {
    if (!in) {
        throw SerializationException("The stream of the JSON document can not be read.");
    }
    NodeTree tree;
    Source source(in);
    TreeBuilder builder(detail::NodeAccess::GetArena(tree), source);
    nlohmann::json::sax_parse(SourceIterator(source), SourceIterator(), &builder);
    // Which the parser takes for the end.
    if (source.GetLast() == '\0') {
        source.Refuse("The document holds a NUL byte.");
    }
    detail::DeriveFlags(detail::NodeAccess::GetArena(tree));
    return tree;
}

}  // namespace velmora::core::serialization
