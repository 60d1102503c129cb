// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/json_reader.h"

#include "serializer/document.h"
#include "serializer/json_input.h"
#include "serializer/text_escapes.h"
#include "serializer/tree_builder.h"

#include <rapidjson/error/en.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <vector>

namespace velmora::core::serialization::detail {

namespace {

// Builds the tree from the parser's events and throws at the first that does not belong to one.
class JsonTreeBuilder final : public TreeBuilder {
  public:
    JsonTreeBuilder(JsonInput& input, ReadBudget& budget, NodeArena& arena,
                    const ConsumedLists* lists)
        : TreeBuilder(budget, arena, lists), input(input) {
        frames.push_back({Frame::Kind::Document, noNode, Member::None, 0});
    }

    [[noreturn]] void Fail(const std::string& reason) const override {
        input.Fail(input.GetLast(), reason);
    }

    // The parser's events, named as it wants them. Those of brackets come before they are taken.
    bool Null() { Fail("Unexpected null."); }
    bool Bool(bool /*value*/) { Fail("Unexpected boolean."); }
    bool Int(int /*value*/) { FailAtNumber(); }
    bool Uint(unsigned /*value*/) { FailAtNumber(); }
    bool Int64(std::int64_t /*value*/) { FailAtNumber(); }
    bool Uint64(std::uint64_t /*value*/) { FailAtNumber(); }
    bool Double(double /*value*/) { FailAtNumber(); }
    bool RawNumber(const char* text, std::size_t length, bool isCopy);
    bool String(const char* text, std::size_t length, bool isCopy);
    bool StartObject();
    bool Key(const char* text, std::size_t length, bool isCopy);
    bool EndObject(std::size_t count);
    bool StartArray();
    bool EndArray(std::size_t count);

  private:
    enum class Member { None, Name, Flags, Value, EscapedValue, Nodes };

    // An object or list that is open.
    struct Frame {
        enum class Kind {
            Document,  // holds the outermost node
            Node,      // {"Name": body}
            Body,      // a body that is an object
            Nodes,     // a list of nodes, either a body or a member of one
        };

        Kind kind;
        // The node that it belongs to: none in a Node before its name and in the Document.
        NodeIndex node;
        // Of a Body: the member whose value follows.
        Member member;
        // Of a Body: a bit for each member so far. Of a Node: nonzero after its body.
        unsigned seen;
    };

    [[noreturn]] void FailAtNumber() const {
        input.FailAtNext("Unexpected number: only flags are numbers, 32-bit unsigned integers.");
    }
    // The text of a string. The parser accepts half a surrogate pair as an escape sequence.
    std::string_view CheckString(const char* text, std::size_t length) const;
    void BeginNode(Frame& frame, std::string_view name);
    void BeginMember(Frame& frame, std::string_view name);
    [[noreturn]] void FailOutsideNode() const {
        Fail("Expected a node: an object with one member, named after the node.");
    }

    JsonInput& input;
    std::vector<Frame> frames;
};

std::string_view JsonTreeBuilder::CheckString(const char* text, std::size_t length) const {
    const std::string_view string(text, length);
    constexpr char surrogateLead = '\xED';
    if (string.find(surrogateLead) != std::string_view::npos && !IsUtf8(string)) {
        Fail("Invalid surrogate pair in a string.");
    }
    return string;
}

bool JsonTreeBuilder::RawNumber(const char* text, std::size_t length, bool /*isCopy*/) {
    const Frame& frame = frames.back();
    unsigned flags = 0;
    const auto [next, error] = std::from_chars(text, text + length, flags);
    if (frame.kind != Frame::Kind::Body || frame.member != Member::Flags || error != std::errc() ||
        next != text + length) {
        FailAtNumber();
    }
    arena[frame.node].flags = static_cast<NodeFlags>(flags);
    arena[frame.node].hasExplicitFlags = true;
    return true;
}

bool JsonTreeBuilder::String(const char* text, std::size_t length, bool /*isCopy*/) {
    const std::string_view string = CheckString(text, length);
    Frame& frame = frames.back();
    if (frame.kind == Frame::Kind::Node) {
        frame.seen = 1;
        SetValue(frame.node, string);
    } else if (frame.kind != Frame::Kind::Body) {
        FailOutsideNode();
    } else if (frame.member == Member::Flags || frame.member == Member::Nodes) {
        Fail("Unexpected string: flags are a number, nodes a list.");
    } else if (frame.member == Member::Name) {
        SetName(frame.node, UnescapeText(string));
    } else if (frame.member == Member::EscapedValue) {
        SetValue(frame.node, UnescapeText(string));
    } else {
        SetValue(frame.node, string);
    }
    return true;
}

bool JsonTreeBuilder::StartObject() {
    Frame& frame = frames.back();
    switch (frame.kind) {
        case Frame::Kind::Document:
        case Frame::Kind::Nodes:
            frames.push_back({Frame::Kind::Node, noNode, Member::None, 0});
            break;
        case Frame::Kind::Node:
            frame.seen = 1;
            frames.push_back({Frame::Kind::Body, NodeIndex{frame.node}, Member::None, 0});
            break;
        case Frame::Kind::Body:
            input.FailAtNext("Unexpected object inside the object of a node.");
    }
    return true;
}

bool JsonTreeBuilder::Key(const char* text, std::size_t length, bool /*isCopy*/) {
    const std::string_view name = CheckString(text, length);
    Frame& frame = frames.back();
    if (frame.kind == Frame::Kind::Node) {
        BeginNode(frame, name);
    } else {
        BeginMember(frame, name);
    }
    return true;
}

void JsonTreeBuilder::BeginNode(Frame& frame, std::string_view name) {
    if (frame.node != noNode) {
        Fail("Unexpected second member " + Quote(name) + ": a node has one name.");
    }
    const Frame& parent = *(frames.end() - 2);
    if (parent.kind == Frame::Kind::Nodes) {
        frame.node = OpenNode(parent.node, name);
    } else if (name == rootElement) {
        frame.node = rootIndex;
    } else {
        Fail("Expected 'Tree' as the outermost node, found " + Quote(name) + ".");
    }
}

void JsonTreeBuilder::BeginMember(Frame& frame, std::string_view name) {
    const struct {
        std::string_view name;
        Member member;
    } members[] = {{nameMember, Member::Name},
                   {flagsMember, Member::Flags},
                   {valueMember, Member::Value},
                   {escapedValueMember, Member::EscapedValue},
                   {nodesMember, Member::Nodes}};
    const auto* const found =
        std::find_if(std::begin(members), std::end(members),
                     [&name](const auto& member) { return member.name == name; });
    if (found == std::end(members)) {
        Fail("Unknown member " + Quote(name) + ".");
    }
    frame.member = found->member;
    if (frame.member == Member::Name &&
        (frame.node == rootIndex || !arena.GetName(frame.node).empty())) {
        Fail("Unexpected 'escapedName': the node has a name.");
    }
    // Both forms of the value share a bit, since a node has one value.
    const Member slot = frame.member == Member::EscapedValue ? Member::Value : frame.member;
    const unsigned bit = 1U << static_cast<unsigned>(slot);
    if ((frame.seen & bit) != 0) {
        Fail("Unexpected second " + Quote(slot == Member::Value ? valueMember : name) + ".");
    }
    frame.seen |= bit;
}

bool JsonTreeBuilder::EndObject(std::size_t /*count*/) {
    const Frame frame = frames.back();
    if (frame.kind == Frame::Kind::Node) {
        if (frame.seen == 0) {
            input.FailAtNext("The node has no name.");
        }
        if (frame.node != rootIndex) {
            CloseNode(frame.node);
        }
    }
    frames.pop_back();
    return true;
}

bool JsonTreeBuilder::StartArray() {
    Frame& frame = frames.back();
    if (frame.kind == Frame::Kind::Node) {
        frame.seen = 1;
    } else if (frame.kind != Frame::Kind::Body) {
        input.FailAtNext("Expected a node: an object with one member, named after the node.");
    } else if (frame.member != Member::Nodes) {
        input.FailAtNext("Unexpected list: only nodes are one.");
    }
    frames.push_back({Frame::Kind::Nodes, NodeIndex{frame.node}, Member::None, 0});
    return true;
}

bool JsonTreeBuilder::EndArray(std::size_t /*count*/) {
    frames.pop_back();
    return true;
}

}  // namespace

void ReadJsonNodes(std::istream& in, const ReadLimits& limits, NodeArena& arena,
                   const ConsumedLists* lists) {
    // A token is in the buffer of the input and in that of the parser; each may move while it
    // grows.
    constexpr unsigned maxCopies = 4;
    ReadBudget budget(limits, maxCopies, arena);
    JsonInput input(in, budget);
    JsonTreeBuilder builder(input, budget, arena, lists);
    JsonParser parser;
    constexpr unsigned flags =
        rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
    const rapidjson::ParseResult result = parser.Parse<flags>(input, builder);
    if (input.IsAtInvalidByte()) {
        input.FailAtNext("The document is not UTF-8.");
    }
    // The parser takes a NUL byte for the end of the document.
    if (!input.IsAtEnd() && input.Peek() == '\0') {
        input.FailAtNext("Unexpected NUL byte.");
    }
    if (result.IsError()) {
        input.FailAtNext(rapidjson::GetParseError_En(result.Code()));
    }
    DeriveFlags(arena);
}

}  // namespace velmora::core::serialization::detail
