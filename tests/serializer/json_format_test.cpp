// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/json_format.h"

#include "serializer/serialization_exception.h"
#include "support/documents.h"
#include "support/thrown.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>

namespace velmora::core::serialization {
namespace {

using std::string_literals::operator""s;
using namespace test;

// Reads a document with ' in place of ".
std::string GetMessage(std::string document) {
    std::replace(document.begin(), document.end(), '\'', '"');
    return MessageOf<SerializationException>([&] { Read(json, document); });
}

TEST(JsonFormat, RefusesOtherDocumentsWithLineAndColumn) {
    const std::string noNumber =
        "Unexpected number: only flags are numbers, 32-bit unsigned integers.";
    const struct {
        std::string position;
        std::string document;
        std::string reason;
    } cases[] = {
        {"line 1, column 9", "{'Forest': []}",
         "Expected 'Tree' as the outermost node, found 'Forest'."},
        {"line 1, column 13", "{'Tree': ['a']}",
         "Expected a node: an object with one member, named after the node."},
        {"line 1, column 2", "{}", "The node has no name."},
        {"line 2, column 13", "{'Tree': [\n{'a': [], 'b': []}]}",
         "Unexpected second member 'b': a node has one name."},
        {"line 1, column 30", "{'Tree': {'flags': 4294967296}}", noNumber},
        {"line 1, column 22", "{'Tree': {'flags': -1}}", noNumber},
        {"line 1, column 23", "{'Tree': {'flags': 1.5}}", noNumber},
        {"line 1, column 13", "{'Tree': null}", "Unexpected null."},
        {"line 1, column 13", "{'Tree': true}", "Unexpected boolean."},
        {"line 1, column 20", "{'Tree': {'value': {}}}",
         "Unexpected object inside the object of a node."},
        {"line 1, column 20", "{'Tree': {'value': []}}", "Unexpected list: only nodes are one."},
        {"line 1, column 21", "{'Tree': {'nodes': ''}}",
         "Unexpected string: flags are a number, nodes a list."},
        {"line 1, column 17", "{'Tree': {'Flags': 1}}", "Unknown member 'Flags'."},
        {"line 1, column 30", "{'Tree': {'nodes': [], 'nodes': []}}", "Unexpected second 'nodes'."},
        {"line 1, column 32", "{'Tree': {'value': '', 'escaped': ''}}",
         "Unexpected second 'value'."},
        {"line 1, column 23", "{'Tree': {'escapedName': ''}}",
         "Unexpected 'escapedName': the node has a name."},
        {"line 1, column 28", "{'Tree': {'escaped': '\\\\xg0'}}",
         "Invalid escape sequence in '\\xg0'."},
        {"line 2, column 1", "{'Tree': []}\n\0"s, "Unexpected NUL byte."},
        {"line 3, column 1", "{'Tree': [\n  {'a': []},\n]}", "Invalid value."},
        {"line 1, column 12", "{'Tree': '\xc3\xa4\xff'}", "The document is not UTF-8."},
        {"line 1, column 100011", "{'Tree': '" + std::string(100'000, 'x') + "\n'}",
         "Invalid escape character in string."},
        {"line 1, column 2", "{1", "Missing a name for object member."},
        {"line 2, column 8", "{'Tree':\n'\\udc00'}", "Invalid surrogate pair in a string."},
        {"line 1, column 14", "{'Tree': []} []",
         "The document root must not be followed by other values."},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(GetMessage(test.document),
                  "The JSON document cannot be read at " + test.position + ": " + test.reason);
    }
}

// At every place of texts of every length, as the writer looks at several bytes at a time.
TEST(JsonFormat, EscapesEachSpecialCharacter) {
    const struct {
        std::string text;
        std::string written;
    } cases[] = {{"\"", "\\\""},      {"\\", "\\\\"},           {"\n", "\\n"}, {"\0"s, "\\u0000"},
                 {"\x1F", "\\u001f"}, {"\x7F", "\\u007f"},      {" ", " "},    {"~", "~"},
                 {"!", "!"},          {"\xC3\xBC", "\xC3\xBC"}, {"\x80", ""}};
    for (const auto& each : cases) {
        for (std::size_t length = 0; length < 20; ++length) {
            for (std::size_t place = 0; place <= length; ++place) {
                const std::string before(place, 'a');
                const std::string after(length - place, 'z');
                const NodeTree tree;
                NodeRef node = tree.GetRoot().AddNode("n", NodeFlags::NodeValue);
                node.SetValue(before + each.text + after);
                std::ostringstream out;
                WriteJson(tree, out);
                const std::string expected = each.written.empty()
                                                 ? "{\"escaped\": \"" + before + "\\\\x80" + after
                                                 : "\"" + before + each.written + after;
                EXPECT_NE(out.str().find("\"n\": " + expected + '"'), std::string::npos)
                    << out.str();
            }
        }
    }
}

TEST(JsonFormat, ReadsDocumentsOfOtherPrograms) {
    const NodeTree tree;
    tree.GetRoot().AddNode("a", NodeValue).SetValue("x & \xc3\xa4");
    tree.GetRoot().AddNode("b", NodeElement);
    const std::string document =
        "\xef\xbb\xbf{\"Tree\": {\"nodes\": [{\"a\": {\"escaped\": \"\\\\x78 & \xc3\xa4\","
        " \"flags\": 2}}, {\"b\": {\"nodes\": []}}]}}\r\n";
    EXPECT_EQ(Sorted(Read(json, document).GetRoot()), Sorted(tree.GetRoot()));
}

}  // namespace
}  // namespace velmora::core::serialization
