// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/text_forms.h"

#include <gtest/gtest.h>

#include <fstream>

namespace velmora::core::serialization {
namespace {

/// The one block of code in that language which the document shows.
std::string GetBlock(const std::string& language) {
    std::ifstream file(NODE_FORMAT_DOCUMENT);
    const std::string document(std::istreambuf_iterator<char>(file), {});
    const std::string open = "\n```" + language + "\n";
    const std::size_t begin = document.find(open);
    if (begin == std::string::npos) {
        return "no block of " + language + " in " NODE_FORMAT_DOCUMENT;
    }
    const std::size_t first = begin + open.size();
    return document.substr(first, document.find("\n```\n", first) + 1 - first);
}

TEST(NodeFormatDocument, ShowsWhatIsWrittenAndRead) {
    NodeTree tree;
    NodeRef repository = tree.GetRoot().AddNode("StreamRepository", NodeElement);
    repository.AddNode("GroupSeparator", NodeElement).SetValue(".");
    NodeRef group = repository.AddNode("Group", NodeElement);
    group.AddNode("Name", NodeName).SetValue("");
    group.AddNode("Groups", NodeList);
    NodeRef stream = group.AddNode("Streams", NodeList).AddNode("Stream", NodeElement);
    stream.AddNode("Name", NodeValue).SetValue("Cellar & Attic");
    stream.AddNode("MaxSize", NodeValue).SetValue("100");
    NodeRef host = tree.GetRoot().AddNode("HostNotes", NodeElement);
    host.AddNode("two lines", NodeValue).SetValue("one\ntwo");
    host.AddNode("Bytes", NodeValue).SetValue("C:\\\xff");
    NodeRef counted = host.AddNode("Counted", NodeValue);
    counted.SetValue("2");
    counted.AddNode("Item", NodeElement);
    counted.AddNode("Item", NodeElement);
    host.AddNode("na\xefve", NodeValue).SetValue("x");

    for (const auto& [form, language] :
         {std::pair(textForms[0], "xml"), std::pair(textForms[1], "json")}) {
        EXPECT_EQ(GetBlock(language), Write(form, tree));
        EXPECT_EQ(Dump(Read(form, GetBlock(language)).GetRoot()), Dump(tree.GetRoot()));
    }
}

}  // namespace
}  // namespace velmora::core::serialization
