// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

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

// Why a document can't be read.
std::string GetReason(const TextForm& form, const std::string& text) {
    return MessageOf<SerializationException>([&] { Read(form, text); });
}

// Texts that a document can't hold as they are, or that look like what stands for such.
const std::string nastyTexts[] = {
    "", " ", "  a  ", "a\0b\0"s, "\n", "a\r\nb\rc\n", "\ta\tb\t", "\x01\x1f\x7f", "\\", "\\x41",
    "\\\\n\n", "\\u0041 &#65; &amp; %41", "<a b=\"c\">&]]></a><!-- - -->", "\"'{}[],:", "_node",
    "_value", "xml", "a:b", "1", "-", "null", "Tree", "\xef\xbb\xbfmark", "\xc2\x80\xe2\x80\xa8",
    // No UTF-8: cut off, overlong, surrogates, beyond the last code point; then the edges of it.
    "\xff", "\xc3", "\xc3(\xa4", "\xe2\x82", "\xc0\x80", "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf",
    "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xef\xbf\xbe", "\xef\xbf\xbf",
    "\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbd\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"};

// Gives every node of a small tree a shape and texts of the generator's choice.
void Grow(NodeRef node, int levels, Choices& random) {
    const auto pickText = [&random] {
        const std::string text = nastyTexts[random.Below(std::size(nastyTexts))];
        const std::string other = nastyTexts[random.Below(std::size(nastyTexts))];
        // Also side by side with any byte and each other.
        return random.Below(2) == 0 ? text : text + static_cast<char>(random.Below(256)) + other;
    };
    if (random.Below(2) == 0) {
        node.SetValue(pickText());
    }
    for (unsigned count = levels > 0 ? random.Below(5) : 0; count > 0; --count) {
        const unsigned flags[] = {0, 1, 1, 2, 2, 10, 17, 17, 4294967295U};
        const auto flag = static_cast<NodeFlags>(flags[random.Below(std::size(flags))]);
        Grow(node.AddNode(random.Below(2) == 0 ? "Entry" : pickText(), flag), levels - 1, random);
    }
}

TEST(TextForms, KeepRandomTrees) {
    Random random;
    for (int round = 0; round < 500 && !HasFailure(); ++round) {
        const NodeTree tree;
        Grow(tree.GetRoot(), round % 5, random);
        ExpectKept(tree);
    }
}

TEST(TextForms, KeepTextsAcrossTheParsersPieces) {
    // Longer than any buffer between stream and tree, with a break at every place of a sequence.
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

TEST(XmlDocument, NamesElementsAfterNodesWhereXmlAllowsIt) {
    const NodeTree tree;
    for (const char* name : {"xm", "xmm", "a.b_c-", "XmLa", "1", "a:b"}) {
        tree.GetRoot().AddNode(name, NodeElement);
    }
    EXPECT_THAT(Write(xml, tree),
                testing::HasSubstr("  <xm/>\n  <xmm/>\n  <a.b_c-/>\n  <_node name=\"XmLa\"/>\n"
                                   "  <_node name=\"1\"/>\n  <_node name=\"a:b\"/>\n"));
}

TEST(NodeFormatDocument, ShowsWhatIsWrittenAndReadAndRefusedWhereCutOff) {
    std::ifstream file(NODE_FORMAT_DOCUMENT);
    const std::string document(std::istreambuf_iterator<char>(file), {});
    // The one block of code in that language.
    const auto getBlock = [&document](const std::string& open) {
        const std::size_t begin = document.find(open) + open.size();
        return document.substr(begin, document.find("\n```\n", begin) + 1 - begin);
    };
    const std::string asXml = getBlock("\n```xml\n");
    const std::string asJson = getBlock("\n```json\n");
    EXPECT_EQ(Write(json, Read(xml, asXml)), asJson);
    EXPECT_EQ(Write(xml, Read(json, asJson)), asXml);
    for (const auto& [form, text] : {std::pair(xml, asXml), std::pair(json, asJson)}) {
        // Without its last line end a document is whole.
        for (std::size_t length = 0; length + 1 < text.size(); ++length) {
            EXPECT_THAT(GetReason(form, text.substr(0, length)), testing::HasSubstr(" at line "))
                << form.name << " cut off after " << length << " bytes";
        }
    }
}

TEST(DocumentDepth, IsAThousandLevelsInBothDirections) {
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
          std::tuple(json, "{\"Tree\":[\n"s, "{\"n\":["s, "line 2, column 6001"s)}) {
        EXPECT_THROW(Write(form, tree), SerializationException) << form.name;
        std::string document = begin;
        for (int level = 0; level < 1'000'000; ++level) {
            document += open;
        }
        EXPECT_THAT(GetReason(form, document), testing::HasSubstr(place + ": "));
    }
}

TEST(TextForms, ReportStreamsThatFail) {
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

TEST(TextForms, RefuseMalformedDocumentsWithLineAndColumn) {
    const std::string noType = "A document type is not allowed here.";
    const struct {
        const TextForm& form;
        const char* place;
        std::string document;  // JSON with ' for "
        std::string reason;    // where empty, the parser's own
    } cases[] = {
        {xml, "2:1", "<Tree>\n\0</Tree>"s, "Invalid token"},
        {xml, "1:16", "<!DOCTYPE Tree [<!ENTITY e 'x'>]><Tree>&e;</Tree>", noType},
        {xml, "1:16", "<!DOCTYPE Tree [<!ENTITY % e SYSTEM 'file:///a'> %e;]><Tree/>", noType},
        {xml, "2:1", "<!---->\n<Forest/>", "The outermost element is 'Forest', not 'Tree'."},
        {xml, "1:1", "<_value/>", "The value belongs to no node."},
        {xml, "2:2", "<Tree><_value>1</_value>\n <_value/></Tree>", "The node has two values."},
        {xml, "2:1", "<Tree>1\n<a/></Tree>",
         "Text stands beside elements; a value has an element '_value' of its own there."},
        {xml, "1:22", "<Tree text='escaped'><a/></Tree>", "Element 'a' stands inside a value."},
        {xml, "1:7", "<Tree><_node/></Tree>", "Element '_node' has no name."},
        {xml, "1:1", "<Tree x='b'/>", "Attribute 'x' with value 'b' has no meaning here."},
        {xml, "1:1", "<Tree flags='1x'/>", "The flags '1x' are not a 32-bit unsigned integer."},
        {xml, "1:21", "<Tree text='empty'>1</Tree>", "The value is not empty."},
        {xml, "1:7", "<Tree><_node name='\\q'/></Tree>", "The name '\\q' holds a wrong escape."},
        {xml, "1:24", "<Tree text='escaped'>a\\</Tree>", "The value holds a wrong escape."},
        {json, "3:1", "{'Tree': [\n  {'a': []},\n]}", ""},
        {json, "2:1", "{'Tree': []}\n\0"s, ""},
        {json, "1:12", "{'Tree': '\xc3\xa4\xff'}", ""},
        {json, "1:100011", "{'Tree': '" + std::string(100'000, 'x') + "\n'}", ""},
        {json, "1:9", "{'Forest': []}", "The outermost node is 'Forest', not 'Tree'."},
        {json, "1:13", "{'Tree': ['a']}", "A node is expected, an object with the node's name."},
        {json, "1:2", "{}", "The node has no name."},
        {json, "2:13", "{'Tree': [\n{'a': [], 'b': []}]}", "A node has one name."},
        {json, "1:30", "{'Tree': {'flags': 4294967296}}",
         "The only numbers are flags, which are 32-bit unsigned integers."},
        {json, "1:13", "{'Tree': null}", "null has no meaning here."},
        {json, "1:13", "{'Tree': true}", "A truth value has no meaning here."},
        {json, "1:22", "{'Tree': {'flags': -1}}",
         "The only numbers are flags, which are 32-bit unsigned integers."},
        {json, "1:23", "{'Tree': {'flags': 1.5}}",
         "The only numbers are flags, which are 32-bit unsigned integers."},
        {json, "1:20", "{'Tree': {'value': {}}}", "No field of a node is an object."},
        {json, "1:20", "{'Tree': {'value': []}}",
         "The only list among the fields is that of nodes."},
        {xml, "1:7", "<Tree><a:b/></Tree>", "'a:b' is not an element's name here."},
        {json, "1:21", "{'Tree': {'nodes': ''}}", "A text is neither flags nor a list of nodes."},
        {json, "1:17", "{'Tree': {'Flags': 1}}", "A node has no field 'Flags'."},
        {json, "1:32", "{'Tree': {'value': '', 'escaped': ''}}", "A node has one field 'escaped'."},
        {json, "1:23", "{'Tree': {'escapedName': ''}}", "The node has a name already."},
        {json, "1:28", "{'Tree': {'escaped': '\\\\xg0'}}", "The text holds a wrong escape."},
    };
    for (auto [form, place, document, reason] : cases) {
        if (form.name == "JSON") {
            std::replace(document.begin(), document.end(), '\'', '"');
        }
        const std::string message = GetReason(form, document);
        const std::string expected = "The " + form.name + " document can not be read at line " +
                                     place[0] + ", column " + (place + 2) + ": " + reason;
        EXPECT_EQ(reason.empty() ? message.substr(0, expected.size()) : message, expected);
        EXPECT_LT(message.size(), 300U);
    }
}

TEST(TextForms, ReadWhatPeopleAndOtherProgramsMakeOfThem) {
    const NodeTree tree;
    tree.GetRoot().AddNode("a", NodeValue).SetValue("x & \xc3\xa4");
    tree.GetRoot().AddNode("b", NodeElement);
    const std::pair<TextForm, std::string> documents[] = {
        {xml, "<?p?>\n<Tree><!---->\r\n\t<a>\r\n x<!----><![CDATA[ & \xc3\xa4]]>\t</a><b/></Tree>"},
        {xml,
         "<?xml version='1.0' encoding='ISO-8859-1'?><Tree><_node name='\\x61'>"
         "<_value>&#120; &amp; \xe4</_value></_node><b flags='1'/></Tree>"},
        {json,
         "\xef\xbb\xbf{\"Tree\": {\"nodes\": [{\"a\": {\"escaped\": \"\\\\x78 & \xc3\xa4\","
         " \"flags\": 2}}, {\"b\": {\"nodes\": []}}]}}\r\n"}};
    for (const auto& [form, document] : documents) {
        EXPECT_EQ(Sorted(Read(form, document).GetRoot()), Sorted(tree.GetRoot())) << document;
    }
}

}  // namespace
}  // namespace velmora::core::serialization
