// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/text_forms.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace velmora::core::serialization {
namespace {

const TextForm& xml = textForms[0];
const TextForm& json = textForms[1];

struct Case {
    const char* name;
    std::string document;
    /// What follows "... can not be read at ".
    std::string reason;
};

void ExpectRefused(const TextForm& form, const std::vector<Case>& cases) {
    for (const auto& [name, document, reason] : cases) {
        EXPECT_EQ(GetReason(form, document),
                  "The " + std::string(form.name) + " document can not be read at " + reason)
            << name;
    }
}

TEST(XmlDocument, RefusesWhatIsNoXmlWithLineAndColumn) {
    ExpectRefused(
        xml,
        {
            {"nothing", "", "line 1, column 1: No element found"},
            {"text", "hello", "line 1, column 1: Syntax error"},
            {"wrong end tag", "<Tree>\n  <a></b>\n</Tree>", "line 2, column 8: Tag mismatch"},
            {"attribute twice", "<Tree>\n<a flags='1' flags='1'/>\n</Tree>",
             "line 2, column 14: Duplicate attribute"},
            {"second root", "<Tree/>\n<Tree/>", "line 2, column 1: Junk after document element"},
            {"unknown entity", "<Tree>\n &x;</Tree>", "line 2, column 2: Undefined entity"},
            {"NUL", std::string("<Tree>\n\0</Tree>", 15), "line 2, column 1: Invalid token"},
            {"control character by number", "<Tree>&#1;</Tree>",
             "line 1, column 7: Reference to invalid character number"},
            {"bytes that are no UTF-8", "<Tree>\xff</Tree>", "line 1, column 7: Invalid token"},
            {"unknown encoding", "<?xml version='1.0' encoding='x-none'?><Tree/>",
             "line 1, column 31: Unknown encoding"},
        });
}

TEST(XmlDocument, RefusesWhatIsNoTreeWithLineAndColumn) {
    ExpectRefused(
        xml,
        {
            {"foreign root", "<!-- c -->\n<Forest/>",
             "line 2, column 1: The outermost element is 'Forest', not 'Tree'."},
            {"value without node", "<_value/>", "line 1, column 1: The value belongs to no node."},
            {"two values", "<Tree>\n<_value>1</_value>\n <_value>2</_value></Tree>",
             "line 3, column 2: The node has two values."},
            {"text before an element", "<Tree>1\n<a/></Tree>",
             "line 2, column 1: Text stands beside elements; a value has an element '_value' of "
             "its own there."},
            {"text after an element", "<Tree><a/>\n1</Tree>",
             "line 2, column 2: Text stands beside elements; a value has an element '_value' of "
             "its own there."},
            {"element inside a value", "<Tree><_value><a/></_value></Tree>",
             "line 1, column 15: Element 'a' stands inside a value."},
            {"element inside escaped text", "<Tree text='escaped'><a/></Tree>",
             "line 1, column 22: Element 'a' stands inside a value."},
            {"reserved name", "<Tree><_other/></Tree>",
             "line 1, column 7: '_other' is not an element's name here."},
            {"no name", "<Tree><_node/></Tree>", "line 1, column 7: Element '_node' has no name."},
            {"a name too many", "<Tree><a name='b'/></Tree>",
             "line 1, column 7: Attribute 'name' with value 'b' has no meaning here."},
            {"flags of a value", "<Tree><_value flags='2'/></Tree>",
             "line 1, column 7: Attribute 'flags' with value '2' has no meaning here."},
            {"large flags", "<Tree flags='4294967296'/>",
             "line 1, column 1: The flags '4294967296' are not a 32-bit unsigned integer."},
            {"signed flags", "<Tree flags='+1'/>",
             "line 1, column 1: The flags '+1' are not a 32-bit unsigned integer."},
            {"no flags", "<Tree flags=''/>",
             "line 1, column 1: The flags '' are not a 32-bit unsigned integer."},
            {"unknown form of text", "<Tree text='base64'/>",
             "line 1, column 1: Attribute 'text' with value 'base64' has no meaning here."},
            {"unknown attribute", "<Tree x='1'/>",
             "line 1, column 1: Attribute 'x' with value '1' has no meaning here."},
            {"empty text that is none", "<Tree text='empty'>1</Tree>",
             "line 1, column 21: The value is not empty."},
            {"wrong escape in a name", "<Tree><_node name='\\q'/></Tree>",
             "line 1, column 7: The name '\\q' holds a wrong escape."},
            {"escape of one digit", "<Tree text='escaped'>\\x1</Tree>",
             "line 1, column 25: The value holds a wrong escape."},
            {"escape without digits", "<Tree text='escaped'>\\x+1</Tree>",
             "line 1, column 26: The value holds a wrong escape."},
            {"escape of nothing", "<Tree text='escaped'>a\\</Tree>",
             "line 1, column 24: The value holds a wrong escape."},
        });
}

TEST(XmlDocument, RefusesDocumentTypesBeforeAnythingComesOfThem) {
    const std::string refused =
        "The XML document can not be read at line 2, column 1: A document type is not allowed "
        "here.";
    std::string entities = "<!ENTITY e0 \"" + std::string(1'000, 'x') + "\">";
    for (int i = 1; i < 20; ++i) {
        const std::string below = "&e" + std::to_string(i - 1) + ";";
        entities += "<!ENTITY e" + std::to_string(i) + " \"";
        for (int n = 0; n < 20; ++n) {
            entities += below;
        }
        entities += "\">";
    }
    const std::string begin = "<?xml version='1.0'?>\n<!DOCTYPE Tree [" + entities + "]>\n";
    const std::string file = "'file:///etc/hostname'";
    for (const std::string& document :
         {begin + "<Tree>&e19;</Tree>", begin + "<Tree x='&e19;'/>",
          "\n<!DOCTYPE Tree [<!ENTITY e SYSTEM " + file + ">]><Tree>&e;</Tree>",
          "\n<!DOCTYPE Tree [<!ENTITY % e SYSTEM " + file + "> %e;]><Tree/>",
          "\n<!DOCTYPE Tree SYSTEM " + file + "><Tree/>",
          std::string("\n<!DOCTYPE Tree><Tree/>")}) {
        const std::string reason = GetReason(xml, document);
        // Where the declarations end beyond the first piece, the parser stands at their begin.
        EXPECT_EQ(reason.substr(0, 44), refused.substr(0, 44)) << document.substr(0, 80);
        EXPECT_THAT(reason, testing::EndsWith("A document type is not allowed here."));
    }
}

TEST(XmlDocument, ReadsWhatPeopleAndOtherProgramsMakeOfIt) {
    const std::string plain = "<Tree><a>x &amp; y</a><b/></Tree>";
    const std::string expected = Dump(Read(xml, plain).GetRoot());
    const std::string utf16 = "\xff\xfe" + [&] {
        std::string wide;
        for (const char c : plain) {
            wide += {c, '\0'};
        }
        return wide;
    }();
    const std::vector<Case> cases = {
        {"comments and instructions",
         "<?p?><Tree><!-- c --><a>x <!-- c -->&amp; y</a><?p?><b/></Tree><!-- c -->", ""},
        {"other line ends and indents",
         "\n<Tree>\r\n\t<a>\r\n\t\tx &amp; y\r\n\t</a>\r\n<b>\n</b></Tree>\n", ""},
        {"character data", "<Tree><a><![CDATA[x & y]]></a><b></b></Tree>", ""},
        {"characters by number", "<Tree><a>&#120;&#x20;&#38; y</a><b/></Tree>", ""},
        {"the value's own element", "<Tree><a><_value>x &amp; y</_value></a><b/></Tree>", ""},
        {"needless escapes",
         "<Tree><_node name='\\x61'><_value text='escaped'>\\x78 &amp; y</_value></_node><b "
         "flags='1'/></Tree>",
         ""},
        {"UTF-16", utf16, ""},
        {"Latin-1", "<?xml version='1.0' encoding='ISO-8859-1'?>" + plain, ""},
    };
    for (const Case& edited : cases) {
        SCOPED_TRACE(edited.name);
        EXPECT_EQ(Dump(Read(xml, edited.document).GetRoot()), expected);
    }
    EXPECT_EQ(Read(xml, "<?xml version='1.0' encoding='ISO-8859-1'?><Tree>\xe4</Tree>")
                  .GetRoot()
                  .GetValue(),
              "\xc3\xa4");
}

TEST(JsonDocument, RefusesWhatIsNoJsonWithLineAndColumn) {
    for (const auto& [name, document, place] : std::vector<Case>{
             {"nothing", "", "line 1, column 1: "},
             {"text", "hello", "line 1, column 1: "},
             {"comma too many", "{\"Tree\": [\n  {\"a\": []},\n]}", "line 3, column 1: "},
             {"comma missing", "{\"Tree\": [\n{\"a\": []} {\"b\": []}]}", "line 2, column 11: "},
             {"second root", "{\"Tree\": []}\n{", "line 2, column 1: "},
             {"NUL", std::string("{\"Tree\": []}\n\0", 14), "line 2, column 1: "},
             {"control character", "{\"Tree\": \"a\nb\"}", "line 1, column 12: "},
             {"bytes that are no UTF-8", "{\"Tree\": \"\xc3\xa4\xff\"}", "line 1, column 12: "},
             {"half a surrogate pair", R"({"Tree": "\ud800x"})", "line 1, column 17: "},
             {"large number", "{\"Tree\": {\"flags\": 1e999}}", "line 1, column 25: "},
             {"long text", "{\"Tree\": \"" + std::string(100'000, 'x') + "\n\"}",
              "line 1, column 100011: "},
         }) {
        const std::string reason = GetReason(json, document);
        EXPECT_THAT(reason, testing::StartsWith("The JSON document can not be read at " + place))
            << name;
        EXPECT_LT(reason.size(), 300U) << name;
        EXPECT_THAT(reason, testing::Not(testing::HasSubstr("json."))) << name;
    }
}

TEST(JsonDocument, RefusesWhatIsNoTreeWithLineAndColumn) {
    const std::string node = "A node is expected, an object with the node's name.";
    const std::string number = "The only numbers are flags, which are 32-bit unsigned integers.";
    ExpectRefused(
        json,
        {
            {"foreign root", "{\"Forest\": []}",
             "line 1, column 9: The outermost node is 'Forest', not 'Tree'."},
            {"a list alone", "[]", "line 1, column 1: " + node},
            {"a text alone", "\"Tree\"", "line 1, column 6: " + node},
            {"no name", "{}", "line 1, column 2: The node has no name."},
            {"two names", "{\"Tree\": [\n{\"a\": [], \"b\": []}]}",
             "line 2, column 13: A node has one name."},
            {"text for a node", "{\"Tree\": [\"a\"]}", "line 1, column 13: " + node},
            {"list for a node", "{\"Tree\": [[]]}", "line 1, column 11: " + node},
            {"null", "{\"Tree\": null}", "line 1, column 13: null has no meaning here."},
            {"truth value", "{\"Tree\": true}",
             "line 1, column 13: A truth value has no meaning here."},
            {"number", "{\"Tree\": 1}", "line 1, column 11: " + number},
            {"negative flags", "{\"Tree\": {\"flags\": -1}}", "line 1, column 22: " + number},
            {"large flags", "{\"Tree\": {\"flags\": 4294967296}}", "line 1, column 30: " + number},
            {"broken flags", "{\"Tree\": {\"flags\": 1.5}}", "line 1, column 23: " + number},
            {"number as value", "{\"Tree\": {\"value\": 1}}", "line 1, column 21: " + number},
            {"text as flags", "{\"Tree\": {\"flags\": \"1\"}}",
             "line 1, column 22: A text is neither flags nor a list of nodes."},
            {"unknown field", "{\"Tree\": {\"Flags\": 1}}",
             "line 1, column 17: A node has no field 'Flags'."},
            {"field twice", "{\"Tree\": {\"nodes\": [], \"nodes\": []}}",
             "line 1, column 30: A node has one field 'nodes'."},
            {"two values", "{\"Tree\": {\"value\": \"\", \"escaped\": \"\"}}",
             "line 1, column 32: A node has one field 'escaped'."},
            {"object as field", "{\"Tree\": {\"value\": {}}}",
             "line 1, column 20: No field of a node is an object."},
            {"list as value", "{\"Tree\": {\"value\": []}}",
             "line 1, column 20: The only list among the fields is that of nodes."},
            {"a name for the root", "{\"Tree\": {\"escapedName\": \"\"}}",
             "line 1, column 23: The node has a name already."},
            {"a second name", "{\"Tree\": [{\"a\": {\"escapedName\": \"b\"}}]}",
             "line 1, column 30: The node has a name already."},
            {"wrong escape", "{\"Tree\": {\"escaped\": \"\\\\xg0\"}}",
             "line 1, column 28: The text holds a wrong escape."},
        });
}

TEST(JsonDocument, ReadsWhatPeopleMakeOfIt) {
    NodeTree tree;
    NodeRef list = tree.GetRoot().AddNode("a", NodeList).AddNode("b", NodeElement);
    list.SetValue("x");
    list.AddNode("c", NodeList);
    for (const char* document : {"\xef\xbb\xbf{\"Tree\":[{\"a\":{\"flags\":17,\"nodes\":[{\"b\":{"
                                 "\"flags\":1,\"value\":\"x\",\"nodes\":[{\"c\":[]}]}}]}}]}",
                                 "{\"Tree\": {\"nodes\": [{\"a\": {\"nodes\": [{\"b\": {\"nodes\": "
                                 "[{\"c\": {}}], \"escaped\": \"\\\\x78\","
                                 " \"flags\": 1}}], \"flags\": 17}}]}}\r\n"}) {
        EXPECT_EQ(Dump(Read(json, document).GetRoot()), Dump(tree.GetRoot())) << document;
    }
}

}  // namespace
}  // namespace velmora::core::serialization
