// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/node_tree.h"
#include "serializer/serialization_exception.h"
#include "support/thrown.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace velmora::core::serialization {
namespace {

using test::MessageOf;

TEST(NodeTree, KeepsOrderFlagsValuesAndSameNamedSiblings) {
    const NodeTree tree;
    NodeRef root = tree.GetRoot();
    EXPECT_TRUE(root.GetFlags() == NodeElement && !root.HasValue() && root.GetNodes().empty());
    root.AddNode("b", NodeList);
    root.AddNode("a", NodeName).SetValue("");
    root.AddNode("b", static_cast<NodeFlags>(4711)).SetValue(std::string("\0\xff\n", 3));
    std::string children;
    for (const NodeRef& child : root.GetNodes()) {
        children += child.GetName() + std::to_string(child.GetFlags());
        children += child.HasValue() ? "=" + child.GetValue() : ";";
    }
    EXPECT_EQ(children, std::string("b17;a10=b4711=\0\xff\n", 17));
    EXPECT_EQ(root["b"].GetFlags(), NodeList) << "the first of that name";
}

TEST(NodePosition, NumbersSiblingsOnlyWhereTheyShareAName) {
    const NodeTree tree;
    NodeRef streams = tree.GetRoot().AddNode("Group", NodeElement).AddNode("a\nb", NodeList);
    const NodeRef first = streams.AddNode("Stream", NodeElement);
    streams.AddNode("Other", NodeElement);
    EXPECT_EQ(first.GetPosition(), "/Group/a\\nb/Stream");
    const NodeRef second = streams.AddNode("Stream", NodeElement);
    EXPECT_EQ(first.GetPosition(), "/Group/a\\nb/Stream[1]");
    EXPECT_EQ(second["Absent"]["Name"].GetPosition(), "/Group/a\\nb/Stream[2]/Absent/Name");
}

TEST(AbsentNode, AnswersAbsentChildrenAndRefusesToBeWritten) {
    const NodeTree tree;
    NodeRef absent = tree.GetRoot().AddNode("Group", NodeElement)["Streams"]["Stream"];
    EXPECT_FALSE(absent.Exists() || absent["Name"].Exists() || absent.HasValue());
    EXPECT_EQ(absent.GetName() + absent.GetValue(), "Stream");
    EXPECT_EQ(
        MessageOf<SerializationException>([&] { absent.AddNode("Name", NodeValue); }),
        "Node '/Group/Streams/Stream' does not exist, so node 'Name' can not be added to it.");
    EXPECT_EQ(MessageOf<SerializationException>([&] { absent.SetValue("x"); }),
              "Node '/Group/Streams/Stream' does not exist, so it can not hold a value.");
    EXPECT_TRUE(tree.GetRoot()["Group"].GetNodes().empty());
}

TEST(NodeTree, KeepsHandlesValidWhenMoved) {
    NodeTree first;
    NodeRef node = first.GetRoot().AddNode("n", NodeValue);
    NodeTree second(std::move(first));
    node.SetValue("1");
    NodeTree third;
    third = std::move(second);
    node.AddNode("child", NodeValue);
    EXPECT_EQ(third.GetRoot()["n"].GetValue(), "1");
    EXPECT_EQ(third.GetRoot()["n"]["child"].GetPosition(), "/n/child");
}

TEST(NodeTree, HoldsAHundredThousandLevels) {
    const NodeTree tree;
    NodeRef node = tree.GetRoot();
    for (int level = 0; level < 100'000; ++level)
        node = node.AddNode("n", NodeElement);
    EXPECT_EQ(node["absent"].GetPosition().size(), 200'007U);
}

}  // namespace
}  // namespace velmora::core::serialization
