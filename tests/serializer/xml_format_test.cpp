// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/xml_format.h"

#include "serializer/serialization_exception.h"
#include "support/documents.h"
#include "support/thrown.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <istream>
#include <sstream>
#include <string>

namespace velmora::core::serialization {
namespace {

using std::string_literals::operator""s;
using namespace test;

TEST(XmlFormat, NamesElementsAfterNodesWhereXmlAllowsIt) {
    const std::string asElement[] = {"A", "Z", "a", "z", "nAZaz09._-", "xm", "xmm", "aXml"};
    const std::string asAttribute[] = {"", "0", "@", "[", "`", "{", "n/", "n:", "xml", "XmLa"};
    std::vector<std::pair<std::string, std::string>> cases;
    for (const std::string& name : asElement) {
        cases.emplace_back(name, "<" + name + "/>");
    }
    for (const std::string& name : asAttribute) {
        cases.emplace_back(name, "<_node name=\"" + name + "\"/>");
    }
    for (const auto& [name, line] : cases) {
        const NodeTree tree;
        tree.GetRoot().AddNode(name, NodeElement);
        const std::string document = Write(xml, tree);
        EXPECT_EQ(document,
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Tree>\n  " + line + "\n</Tree>\n");
        EXPECT_EQ(Sorted(Read(xml, document).GetRoot()), Sorted(tree.GetRoot()));
    }
}

TEST(XmlFormat, IndentsUpTo32Levels) {
    const NodeTree tree;
    NodeRef node = tree.GetRoot();
    for (int level = 1; level <= 33; ++level) {
        node = node.AddNode("n", NodeElement);
    }
    const std::string document = Write(xml, tree);
    const std::string blanks(64, ' ');
    const std::string node32 = "\n" + blanks + "<n flags=\"1\">";
    const std::string node33 = "\n" + blanks + "<n flags=\"1\"/>";
    EXPECT_THAT(document, testing::HasSubstr(node32 + node33));
}

TEST(XmlFormat, RefusesMalformedDocumentsWithLineAndColumn) {
    const std::string noType = "Document types are not allowed.";
    const std::string longName(1'000, 'x');
    const struct {
        std::string position;
        std::string document;
        std::string reason;
    } cases[] = {
        {"line 2, column 1", "<Tree>\n\0</Tree>"s, "not well-formed (invalid token)"},
        {"line 1, column 16", "<!DOCTYPE Tree [<!ENTITY e 'x'>]><Tree>&e;</Tree>", noType},
        {"line 1, column 16", "<!DOCTYPE Tree [<!ENTITY % e SYSTEM 'file:///a'> %e;]><Tree/>",
         noType},
        {"line 2, column 1", "<!---->\n<Forest/>",
         "Expected 'Tree' as the outermost element, found 'Forest'."},
        {"line 1, column 1", "<" + longName + "/>",
         "Expected 'Tree' as the outermost element, found '" + longName.substr(0, 64) + "...'."},
        {"line 1, column 1", "<_value/>", "Unexpected '_value' outside a node."},
        {"line 2, column 2", "<Tree><_value>1</_value>\n <_value/></Tree>",
         "Unexpected second '_value': a node has one value."},
        {"line 2, column 1", "<Tree>1\n<a/></Tree>",
         "Unexpected text beside elements: the value of such a node is in an element '_value'."},
        {"line 1, column 22", "<Tree text='escaped'><a/></Tree>",
         "Unexpected element 'a' inside a value."},
        {"line 1, column 7", "<Tree><_node/></Tree>", "Element '_node' needs an attribute 'name'."},
        {"line 1, column 7", "<Tree><a:b/></Tree>", "Invalid element name 'a:b'."},
        {"line 1, column 1", "<Tree x='b'/>", "Unexpected attribute 'x' with value 'b'."},
        {"line 1, column 1", "<Tree flags='1x'/>", "Flags '1x' are not a 32-bit unsigned integer."},
        {"line 1, column 21", "<Tree text='empty'>1</Tree>",
         "Unexpected text in a value marked as empty."},
        {"line 1, column 7", "<Tree><_node name='\\q'/></Tree>",
         "Invalid escape sequence in '\\q'."},
        {"line 1, column 24", "<Tree text='escaped'>a\\</Tree>",
         "Invalid escape sequence in 'a\\'."},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(MessageOf<SerializationException>([&] { Read(xml, test.document); }),
                  "The XML document cannot be read at " + test.position + ": " + test.reason);
    }
}

TEST(XmlFormat, ReadsALargeTokenInChunksThatGrow) {
    // The parser scans an incomplete token again after each chunk, so there must be few.
    struct CountingBuffer : std::stringbuf {
        using std::stringbuf::stringbuf;
        std::streamsize xsgetn(char* to, std::streamsize count) override {
            ++reads;
            return std::stringbuf::xsgetn(to, count);
        }
        int reads = 0;
    };
    const std::string token(4'000'000, 'x');
    for (const std::string& content :
         {"<!--" + token + "-->", "<" + token + "/>", "<_node name=\"" + token + "\"/>"}) {
        CountingBuffer buffer("<Tree>" + content + "</Tree>");
        std::istream in(&buffer);
        ReadXml(in);
        EXPECT_LE(buffer.reads, 10) << content.substr(0, 20);
    }
}

TEST(XmlFormat, RefusesAnElementWithManyAttributesInLinearTime) {
    std::string document = "<Tree";
    for (int i = 0; i < 400'000; ++i) {
        document += " a" + std::to_string(i) + "='1'";
    }
    EXPECT_EQ(MessageOf<SerializationException>([&] { Read(xml, document + " a3='1'/>"); }),
              "The XML document cannot be read at line 1, column " +
                  std::to_string(document.size() + 2) + ": duplicate attribute");
    EXPECT_THAT(MessageOf<SerializationException>([&] { Read(xml, document + "/>"); }),
                testing::HasSubstr("Unexpected attribute 'a0' with value '1'."));
}

// Wherever something stands that only the parser knows, it goes on as if it had begun.
TEST(XmlFormat, ReadsAlikeWithAndWithoutTheParser) {
    const std::string document =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Tree>\n <a flags='3'>1 &lt; 2</a>\r\n"
        " <_node name='\\x61 &amp;' text=\"escaped\">\xc3\xa4\\n</_node><!-- c -->\n"
        " <b><_value text='empty'/><_node name='b'><c/></_node></b>\n</Tree>\n";
    const std::string tree = Sorted(Read(xml, document).GetRoot());
    EXPECT_EQ(tree, "/1(a/3=1 < 2 a &/2=\xc3\xa4\n b/2=(b/17(c/1)))");
    const std::string extra = "<!----><?p?>";
    for (std::size_t at = document.find('>') + 1; at < document.size(); ++at) {
        if (document[at - 1] == '>') {
            std::string changed = document;
            changed.insert(at, extra);
            EXPECT_EQ(Sorted(Read(xml, changed).GetRoot()), tree) << changed;
            // Positions go on as well.
            const std::size_t line =
                1 + static_cast<std::size_t>(std::count(document.begin(), document.end(), '\n'));
            EXPECT_THAT(MessageOf<SerializationException>([&] { Read(xml, changed + "  <c/>"); }),
                        testing::HasSubstr("line " + std::to_string(line) + ", column 3: "));
        }
    }
}

TEST(XmlFormat, ReadsDocumentsOfOtherPrograms) {
    const NodeTree tree;
    tree.GetRoot().AddNode("a", NodeValue).SetValue("x & \xc3\xa4");
    tree.GetRoot().AddNode("b", NodeElement);
    const std::string documents[] = {
        "<?p?>\n<Tree><!---->\r\n\t<a>\r\n x<!----><![CDATA[ & \xc3\xa4]]>\t</a><b/></Tree>",
        "<?xml version='1.0' encoding='ISO-8859-1'?><Tree><_node name='\\x61'>"
        "<_value>&#120; &amp; \xe4</_value></_node><b flags='1'/></Tree>"};
    for (const std::string& document : documents) {
        EXPECT_EQ(Sorted(Read(xml, document).GetRoot()), Sorted(tree.GetRoot())) << document;
    }
}

}  // namespace
}  // namespace velmora::core::serialization
