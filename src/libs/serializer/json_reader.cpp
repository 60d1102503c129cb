// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/json_reader.h"

#include "serializer/document.h"
#include "serializer/json_input.h"
#include "serializer/text_escapes.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace velmora::core::serialization::detail {

namespace {

// Builds the tree from the parser's events and throws at the first that does not belong to one.
class JsonTreeBuilder : public nlohmann::json::json_sax_t {
  public:
    JsonTreeBuilder(JsonInput& input, ReadBudget& budget, NodeArena& arena)
        : input(input), budget(budget), arena(arena) {
        frames.push_back({Frame::Kind::Document, nullptr, Member::None, 0});
    }

    bool null() override { Fail("Unexpected null."); }
    bool boolean(bool /*value*/) override { Fail("Unexpected boolean."); }
    bool number_integer(std::int64_t /*value*/) override { FailAtNumber(); }
    bool number_float(double /*value*/, const std::string& /*text*/) override { FailAtNumber(); }
    bool binary(nlohmann::json::binary_t& /*value*/) override { Fail("Unexpected binary data."); }
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
        // The node that it belongs to. Null in a Node before its name and in the Document.
        NodeRecord* record;
        // Of a Body: the member whose value follows.
        Member member;
        // Of a Body: a bit for each member so far. Of a Node: nonzero after its body.
        unsigned seen;
    };

    [[noreturn]] void Fail(const std::string& reason) const { input.Fail(reason); }
    // Fails unless the budget allowed something.
    void Require(bool isWithinLimits) const {
        if (!isWithinLimits) {
            Fail(budget.GetReason());
        }
    }
    [[noreturn]] void FailAtNumber() const {
        Fail("Unexpected number: only flags are numbers, 32-bit unsigned integers.");
    }
    void BeginNode(Frame& frame, std::string& name);
    void BeginMember(Frame& frame, const std::string& name);
    // Checks that the frame is a node, whose body begins.
    void BeginBody(Frame& frame);
    std::string UnescapeText(const std::string& text) const;

    JsonInput& input;
    ReadBudget& budget;
    NodeArena& arena;
    std::vector<Frame> frames;
    std::size_t depth = 0;
};

std::string JsonTreeBuilder::UnescapeText(const std::string& text) const {
    std::optional<std::string> bytes = Unescape(text);
    if (!bytes) {
        Fail("Invalid escape sequence in " + Quote(text) + ".");
    }
    return std::move(*bytes);
}

void JsonTreeBuilder::BeginBody(Frame& frame) {
    if (frame.kind != Frame::Kind::Node) {
        Fail("Expected a node: an object with one member, named after the node.");
    }
    frame.seen = 1;
}

bool JsonTreeBuilder::number_unsigned(std::uint64_t value) {
    Frame& frame = frames.back();
    if (frame.kind != Frame::Kind::Body || frame.member != Member::Flags ||
        value > std::numeric_limits<unsigned>::max()) {
        FailAtNumber();
    }
    frame.record->flags = static_cast<NodeFlags>(value);
    frame.record->hasExplicitFlags = true;
    return true;
}

bool JsonTreeBuilder::string(std::string& value) {
    Frame& frame = frames.back();
    NodeRecord* const record = frame.record;
    const bool isMember = frame.kind == Frame::Kind::Body;
    if (!isMember) {
        BeginBody(frame);
    } else if (frame.member == Member::Flags || frame.member == Member::Nodes) {
        Fail("Unexpected string: flags are a number, nodes a list.");
    } else if (frame.member == Member::Name) {
        record->name = UnescapeText(value);
        Require(budget.AddText(*record, record->name));
        return true;
    }
    const bool isEscaped = isMember && frame.member == Member::EscapedValue;
    record->value = isEscaped ? UnescapeText(value) : std::move(value);
    record->hasValue = true;
    Require(budget.AddText(*record, record->value));
    return true;
}

bool JsonTreeBuilder::start_object(std::size_t /*count*/) {
    Frame& frame = frames.back();
    switch (frame.kind) {
        case Frame::Kind::Document:
        case Frame::Kind::Nodes:
            depth += frame.kind == Frame::Kind::Nodes ? 1 : 0;
            frames.push_back({Frame::Kind::Node, nullptr, Member::None, 0});
            break;
        case Frame::Kind::Node:
            frame.seen = 1;
            frames.push_back({Frame::Kind::Body, frame.record, Member::None, 0});
            break;
        case Frame::Kind::Body:
            Fail("Unexpected object inside the object of a node.");
    }
    return true;
}

bool JsonTreeBuilder::key(std::string& name) {
    Frame& frame = frames.back();
    if (frame.kind == Frame::Kind::Node) {
        BeginNode(frame, name);
    } else {
        BeginMember(frame, name);
    }
    return true;
}

void JsonTreeBuilder::BeginNode(Frame& frame, std::string& name) {
    if (frame.record != nullptr) {
        Fail("Unexpected second member " + Quote(name) + ": a node has one name.");
    }
    const Frame& parent = *(frames.end() - 2);
    if (parent.kind == Frame::Kind::Nodes) {
        frame.record = &arena.Add(*parent.record, std::move(name), NodeElement);
        Require(budget.AddNode(*frame.record, depth));
    } else if (name == rootElement) {
        frame.record = &arena.GetRoot();
    } else {
        Fail("Expected 'Tree' as the outermost node, found " + Quote(name) + ".");
    }
}

void JsonTreeBuilder::BeginMember(Frame& frame, const std::string& name) {
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
        (frame.record->parent == nullptr || !frame.record->name.empty())) {
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

bool JsonTreeBuilder::end_object() {
    const Frame frame = frames.back();
    if (frame.kind == Frame::Kind::Node) {
        if (frame.seen == 0) {
            Fail("The node has no name.");
        }
        depth -= depth > 0 ? 1 : 0;
    }
    frames.pop_back();
    return true;
}

bool JsonTreeBuilder::start_array(std::size_t /*count*/) {
    Frame& frame = frames.back();
    if (frame.kind != Frame::Kind::Body) {
        BeginBody(frame);
    } else if (frame.member != Member::Nodes) {
        Fail("Unexpected list: only nodes are one.");
    }
    frames.push_back({Frame::Kind::Nodes, frame.record, Member::None, 0});
    return true;
}

bool JsonTreeBuilder::end_array() {
    frames.pop_back();
    return true;
}

bool JsonTreeBuilder::parse_error(std::size_t /*position*/, const std::string& /*token*/,
                                  const nlohmann::json::exception& error) {
    // The parser's message begins with its own error code and position, and may quote an entire
    // document.
    constexpr std::size_t maxLength = 200;
    std::string reason = error.what();
    reason.erase(0, reason.find(' ') + 1);
    if (reason.starts_with("parse error at ")) {
        reason.erase(0, reason.find(": ") + 2);
    }
    if (reason.size() > maxLength) {
        reason = reason.substr(0, maxLength) + "...";
    }
    Fail(Printable(reason));
}

}  // namespace

void ReadJsonNodes(std::istream& in, const ReadLimits& limits, NodeArena& arena) {
    // The parser keeps the bytes of a token for messages and its text in buffers that double.
    constexpr unsigned maxCopies = 4;
    ReadBudget budget(limits, maxCopies);
    JsonInput input(in, budget);
    JsonTreeBuilder builder(input, budget, arena);
    nlohmann::json::sax_parse(JsonInputIterator(input), JsonInputIterator(), &builder);
    // The parser takes a NUL byte for the end of the document.
    if (input.GetLast() == '\0') {
        input.Fail("Unexpected NUL byte.");
    }
    DeriveFlags(arena);
}

}  // namespace velmora::core::serialization::detail
