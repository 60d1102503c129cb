// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/text_forms.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <streambuf>
#include <vector>

namespace velmora::core::serialization {
namespace {

using testing::HasSubstr;

/// Texts that a document can't hold as they are, or that look like what stands for such.
const std::vector<std::string> nastyTexts = {
    "",
    " ",
    "  a  ",
    "a ",
    std::string(1, '\0'),
    std::string("a\0b\0", 4),
    "\n",
    "\r",
    "a\r\nb\rc\nd\n",
    "\ta\tb\t",
    "\x01\x1f\x7f",
    "\\",
    "\\x41",
    "\\\\n\n",
    "\\u0041 &#65; &amp; &lt; %41",
    "<a b=\"c\">&]]></a><!-- - -->",
    "\"'{}[],:",
    "text=\"escaped\"",
    "\xff",
    "\xc3",
    "\xc3(\xa4",
    "\xe2\x82",
    "\xc0\x80",          // overlong
    "\xe0\x9f\xbf",      // overlong
    "\xf0\x8f\xbf\xbf",  // overlong
    "\xed\xa0\x80",      // a surrogate
    "\xf4\x90\x80\x80",  // beyond the last code point
    "\xf5\x80\x80\x80",
    "\xef\xbf\xbe",  // U+FFFE, which XML does not admit
    "\xef\xbf\xbf",
    "\xef\xbb\xbfmark",
    "\xc2\x80\xc2\x85\xe2\x80\xa8",  // control characters and line ends beyond ASCII
    "\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbd\xf0\x90\x80\x80\xf4\x8f\xbf\xbf",
    "Gr\xc3\xb6\xc3\x9f"
    "e \xf0\x9f\x98\x80",
    "_node",
    "_value",
    "xml",
    "XMLa",
    "a:b",
    "1",
    "-",
    "a.b-c_d",
    "null",
    "Tree",
};

void ExpectKept(const NodeTree& tree, const std::string& what) {
    const std::string dump = Dump(tree.GetRoot());
    const std::string xml = Write(textForms[0], tree);
    const std::string json = Write(textForms[1], tree);
    const NodeTree fromXml = Read(textForms[0], xml);
    const NodeTree fromJson = Read(textForms[1], json);
    EXPECT_EQ(Dump(fromXml.GetRoot()), dump) << what << "\n" << xml;
    EXPECT_EQ(Dump(fromJson.GetRoot()), dump) << what << "\n" << json;
    EXPECT_EQ(Write(textForms[1], fromXml), json) << what;
    EXPECT_EQ(Write(textForms[0], fromJson), xml) << what;
}

TEST(TextForms, KeepNastyTextsAsNameAsValueAndAsBoth) {
    for (const std::string& text : nastyTexts) {
        NodeTree tree;
        NodeRef root = tree.GetRoot();
        root.SetValue(text);
        root.AddNode(text, NodeValue).SetValue(text);
        root.AddNode(text, NodeElement);
        NodeRef both = root.AddNode(text, NodeList);
        both.SetValue(text);
        both.AddNode(text, static_cast<NodeFlags>(4294967295U));
        ExpectKept(tree, testing::PrintToString(text));
        NodeTree bare;
        bare.GetRoot().SetValue(text);
        ExpectKept(bare, "the root's " + testing::PrintToString(text));
    }
}

TEST(XmlDocument, NamesElementsAfterNodesWhereXmlAllowsIt) {
    for (const char* name : {"a", "A1", "x", "xm", "xmm", "ax-ml", "a.b_c-", "Tree"}) {
        NodeTree tree;
        tree.GetRoot().AddNode(name, NodeElement);
        EXPECT_THAT(Write(textForms[0], tree), HasSubstr("  <" + std::string(name) + "/>\n"));
    }
    for (const char* name : {"", "xml", "XmLa", "1", "-a", "_a", "a:b", "a b", "\xc3\xa4"}) {
        NodeTree tree;
        tree.GetRoot().AddNode(name, NodeElement);
        EXPECT_THAT(Write(textForms[0], tree),
                    HasSubstr("  <_node name=\"" + std::string(name) + "\"/>\n"));
    }
}

TEST(TextForms, KeepAnEmptyTreeAndTellEmptyValueFromNone) {
    ExpectKept(NodeTree(), "an empty tree");
    NodeTree tree;
    tree.GetRoot().AddNode("none", NodeValue);
    tree.GetRoot().AddNode("empty", NodeValue).SetValue("");
    for (const TextForm& form : textForms) {
        const NodeTree read = Read(form, Write(form, tree));
        EXPECT_FALSE(read.GetRoot()["none"].HasValue()) << form.name;
        EXPECT_TRUE(read.GetRoot()["empty"].HasValue()) << form.name;
    }
}

/// Gives every node of a small tree a shape and texts of the generator's choice.
void Grow(NodeRef node, int levels, std::mt19937& random) {
    const auto pick = [&random](std::size_t count) { return random() % count; };
    const auto pickText = [&]() -> std::string {
        if (pick(2) == 0) {
            return nastyTexts[pick(nastyTexts.size())];
        }
        std::string text(pick(6), '\0');
        for (char& c : text) {
            // Mostly what matters to a parser or an escape, else any byte.
            constexpr std::string_view special = "\\<>&\"'xn \n\r\t]\xc3\xa4\xef\xbf\xbe";
            c = pick(3) == 0 ? static_cast<char>(random()) : special[pick(special.size())];
        }
        return text;
    };
    constexpr unsigned flags[] = {0, 1, 1, 2, 2, 10, 17, 17, 4294967295U};
    if (pick(2) == 0) {
        node.SetValue(pickText());
    }
    for (std::size_t count = levels > 0 ? pick(5) : 0; count > 0; --count) {
        const std::string name = pick(2) == 0 ? "Entry" : pickText();
        Grow(node.AddNode(name, static_cast<NodeFlags>(flags[pick(std::size(flags))])), levels - 1,
             random);
    }
}

TEST(TextForms, KeepRandomTrees) {
    const unsigned seed = std::random_device()();
    std::mt19937 random(seed);
    for (int round = 0; round < 300 && !HasFailure(); ++round) {
        NodeTree tree;
        Grow(tree.GetRoot(), 4, random);
        ExpectKept(tree, "seed " + std::to_string(seed) + ", round " + std::to_string(round));
    }
}

TEST(TextForms, KeepTextsAcrossTheParsersPieces) {
    // Longer than any buffer between stream and tree, with a break at every place of a sequence.
    for (std::size_t shift = 0; shift < 4; ++shift) {
        std::string text(shift, '.');
        while (text.size() < 200'000) {
            text += "\xf0\x9f\x98\x80";
        }
        NodeTree tree;
        tree.GetRoot().AddNode("n", NodeValue).SetValue(text);
        tree.GetRoot().AddNode("m", NodeValue).SetValue(text + '\xff');
        ExpectKept(tree, "shift " + std::to_string(shift));
    }
}

NodeTree MakeChain(std::size_t levels) {
    NodeTree tree;
    NodeRef node = tree.GetRoot();
    for (std::size_t level = 0; level < levels; ++level) {
        node = node.AddNode("n", level % 2 == 0 ? NodeElement : NodeList);
    }
    return tree;
}

TEST(DocumentDepth, IsAThousandLevelsInBothDirections) {
    const NodeTree deepest = MakeChain(1'000);
    const NodeTree tooDeep = MakeChain(1'001);
    ExpectKept(deepest, "the deepest tree");
    for (const TextForm& form : textForms) {
        EXPECT_LT(Write(form, deepest).size(), 200'000U) << form.name << ": the indent has a limit";
        EXPECT_THROW(Write(form, tooDeep), SerializationException) << form.name;
    }
    const auto nest = [](std::string text, const std::string& open, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            text += open;
        }
        return text;
    };
    const std::string reason = "The tree is deeper than 1000 levels.";
    EXPECT_THAT(GetReason(textForms[0], nest("<Tree>", "<n>", 1'000)), Not(HasSubstr(reason)));
    EXPECT_THAT(GetReason(textForms[1], nest("{\"Tree\":[", "{\"n\":[", 1'000)),
                Not(HasSubstr(reason)));
    for (const std::size_t levels : {1'001, 1'000'000}) {
        EXPECT_EQ(GetReason(textForms[0], nest("<Tree>\n", "<n>", levels)),
                  "The XML document can not be read at line 2, column 3001: " + reason);
        EXPECT_EQ(GetReason(textForms[1], nest("{\"Tree\":[\n", "{\"n\":[", levels)),
                  "The JSON document can not be read at line 2, column 6001: " + reason);
        EXPECT_THAT(GetReason(textForms[1], nest("", "[", levels)), HasSubstr("column 1: "));
    }
}

/// Gives or takes some bytes, then fails in one of the ways streams know.
class FailingBuffer : public std::streambuf {
  public:
    explicit FailingBuffer(std::string content) : text(std::move(content)) {
        setg(text.data(), text.data(), text.data() + text.size());
    }

  protected:
    int_type underflow() override { throw std::runtime_error("the disk is gone"); }
    std::streamsize xsputn(const char* /*text*/, std::streamsize length) override {
        return length - 1;
    }

  private:
    std::string text;
};

TEST(TextForms, ReportStreamsThatFail) {
    const NodeTree tree = MakeChain(3);
    for (const TextForm& form : textForms) {
        FailingBuffer target("");
        std::ostream out(&target);
        EXPECT_THROW(form.write(tree, out), SerializationException) << form.name;

        FailingBuffer source(Write(form, tree).substr(0, 30));
        std::istream in(&source);
        try {
            form.read(in);
            ADD_FAILURE() << form.name;
        } catch (const SerializationException& exception) {
            EXPECT_THAT(exception.what(), HasSubstr("the disk is gone")) << form.name;
        }
        std::ifstream absent("/nonexistent/file");
        EXPECT_THROW(form.read(absent), SerializationException) << form.name;
    }
}

TEST(TextForms, RefuseEveryCutOffDocument) {
    NodeTree tree;
    tree.GetRoot().AddNode("a", NodeName).SetValue("1\n2");
    tree.GetRoot().AddNode("\xff", NodeValue).AddNode("c", NodeValue).SetValue("");
    tree.GetRoot()["a"].AddNode("b", NodeValue).SetValue("x & y");
    for (const TextForm& form : textForms) {
        const std::string document = Write(form, tree);
        // Without its last line end a document is whole.
        for (std::size_t length = 0; length + 1 < document.size(); ++length) {
            EXPECT_THAT(GetReason(form, document.substr(0, length)), HasSubstr(" at line "))
                << form.name << " cut off after " << length << " bytes";
        }
    }
}

}  // namespace
}  // namespace velmora::core::serialization
