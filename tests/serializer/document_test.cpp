// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/document.h"

#include "serializer/node_tree.h"
#include "serializer/serialization_exception.h"
#include "support/documents.h"
#include "support/random.h"
#include "support/thrown.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

namespace velmora::core::serialization {
namespace {

using std::string_literals::operator""s;
using namespace test;

// The message with which a document is refused.
std::string GetMessage(const TextForm& form, const std::string& text) {
    return MessageOf<SerializationException>([&] { Read(form, text); });
}

// Texts that a document has to escape, or that look like escapes or markup.
const std::string nastyTexts[] = {
    "", " ", "  a  ", "a\0b\0"s, "\n", "a\r\nb\rc\n", "\ta\tb\t", "\x01\x1f\x7f", "\\", "\\x41",
    "\\\\n\n", "\\u0041 &#65; &amp; %41", "<a b=\"c\">&]]></a><!-- - -->", "\"'{}[],:", "_node",
    "_value", "xml", "a:b", "1", "-", "null", "Tree", "\xef\xbb\xbfmark", "\xc2\x80\xe2\x80\xa8",
    // Not UTF-8: truncated, overlong, surrogates, beyond the last code point. Last, valid edges.
    "\xff", "\xc3", "\xc3(\xa4", "\xe2\x82", "\xc0\x80", "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf",
    "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xef\xbf\xbe", "\xef\xbf\xbf",
    "\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbd\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"};

// Adds random texts and children to a node.
void AddRandomNodes(NodeRef node, int levels, Choices& random) {
    const auto pickText = [&random] {
        const std::string text = nastyTexts[random.Below(std::size(nastyTexts))];
        const std::string other = nastyTexts[random.Below(std::size(nastyTexts))];
        // Also next to any byte and to each other.
        return random.Below(2) == 0 ? text : text + static_cast<char>(random.Below(256)) + other;
    };
    if (random.Below(2) == 0) {
        node.SetValue(pickText());
    }
    for (unsigned count = levels > 0 ? random.Below(5) : 0; count > 0; --count) {
        const unsigned flags[] = {0, 1, 1, 2, 2, 10, 17, 17, 4294967295U};
        const auto flag = static_cast<NodeFlags>(flags[random.Below(std::size(flags))]);
        AddRandomNodes(node.AddNode(random.Below(2) == 0 ? "Entry" : pickText(), flag), levels - 1,
                       random);
    }
}

TEST(Documents, KeepRandomTrees) {
    Random random;
    for (int round = 0; round < 500 && !HasFailure(); ++round) {
        const NodeTree tree;
        AddRandomNodes(tree.GetRoot(), round % 5, random);
        ExpectKept(tree);
    }
}

TEST(Documents, KeepTextsThatSpanTheChunksOfTheReaders) {
    // Longer than any buffer between stream and tree, split at each byte of a sequence.
    const NodeTree tree;
    for (std::string text; text.size() < 4; text += '.') {
        std::string value = text;
        while (value.size() < 200'000) {
            value += "\xf0\x9f\x98\x80";
        }
        tree.GetRoot().AddNode(value, NodeValue).SetValue(value + '\xff');
    }
    ExpectKept(tree);
}

TEST(NodeFormatPage, ShowsDocumentsThatAreReadAndRefusedWhenTruncated) {
    std::ifstream file(NODE_FORMAT_DOCUMENT);
    const std::string document(std::istreambuf_iterator<char>(file), {});
    // The only block of code in that language.
    const auto getBlock = [&document](const std::string& open) {
        const std::size_t begin = document.find(open) + open.size();
        return document.substr(begin, document.find("\n```\n", begin) + 1 - begin);
    };
    const std::string asXml = getBlock("\n```xml\n");
    const std::string asJson = getBlock("\n```json\n");
    EXPECT_EQ(Write(json, Read(xml, asXml)), asJson);
    EXPECT_EQ(Write(xml, Read(json, asJson)), asXml);
    for (const auto& [form, text] : {std::pair(xml, asXml), std::pair(json, asJson)}) {
        // Without its last line end a document is still complete.
        for (std::size_t length = 0; length + 1 < text.size(); ++length) {
            EXPECT_THAT(GetMessage(form, text.substr(0, length)), testing::HasSubstr(" at line "))
                << form.name << " truncated after " << length << " bytes";
        }
    }
}

TEST(Documents, HaveUpToAThousandLevels) {
    const NodeTree tree;
    NodeRef node = tree.GetRoot();
    for (int level = 0; level < 1'000; ++level) {
        node = node.AddNode("n", NodeElement);
    }
    ExpectKept(tree);
    EXPECT_LT(Write(xml, tree).size(), 200'000U) << "the indent has a limit";
    node.AddNode("n", NodeElement);
    for (const auto& [form, begin, open, place] :
         {std::tuple(xml, "<Tree>\n"s, "<n>"s, "line 2, column 3001"s),
          std::tuple(json, "{\"Tree\":[\n"s, "{\"n\":["s, "line 2, column 6004"s)}) {
        EXPECT_THROW(Write(form, tree), SerializationException) << form.name;
        std::string document = begin;
        for (int level = 0; level < 1'000'000; ++level) {
            document += open;
        }
        EXPECT_THAT(GetMessage(form, document), testing::HasSubstr(place + ": "));
    }
}

TEST(Documents, ReportFailedStreams) {
    struct FailingBuffer : std::stringbuf {
        using std::stringbuf::stringbuf;
        int_type underflow() override { throw std::runtime_error("the disk is gone"); }
    };
    for (const TextForm& form : {xml, json}) {
        std::ostream out(nullptr);
        EXPECT_THROW(form.write(NodeTree(), out), SerializationException) << form.name;
        FailingBuffer buffer(Write(form, NodeTree()).substr(0, 9));
        std::istream in(&buffer);
        EXPECT_THAT(MessageOf<SerializationException>([&] { form.read(in); }),
                    testing::HasSubstr("the disk is gone"));
    }
}

}  // namespace
}  // namespace velmora::core::serialization
