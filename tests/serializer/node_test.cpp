// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/node.h"

#include "serializer/node_tree.h"
#include "serializer/serialization_exception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace velmora::core::serialization {
namespace {

std::vector<std::string> GetNames(const INode& node) {
    std::vector<std::string> names;
    for (const NodeRef& child : node.GetNodes()) {
        names.push_back(child.GetName());
    }
    return names;
}

TEST(NodeTree, StartsWithAnEmptyRoot) {
    const NodeTree tree;
    const NodeRef root = tree.GetRoot();
    EXPECT_TRUE(root.Exists());
    EXPECT_EQ(root.GetPosition(), "/");
    EXPECT_EQ(root.GetName(), "");
    EXPECT_EQ(root.GetFlags(), NodeElement);
    EXPECT_FALSE(root.HasValue());
    EXPECT_TRUE(root.GetNodes().empty());
}

TEST(NodeTree, KeepsOrderFlagsAndSameNamedSiblings) {
    NodeTree tree;
    NodeRef root = tree.GetRoot();
    root.AddNode("b", NodeList);
    root.AddNode("a", NodeName).SetValue("1");
    root.AddNode("b", static_cast<NodeFlags>(4711));
    root.AddNode("", NodeValue);
    EXPECT_THAT(GetNames(root), testing::ElementsAre("b", "a", "b", ""));
    EXPECT_EQ(root["b"].GetFlags(), 17U) << "the first of that name";
    EXPECT_EQ(root["a"].GetFlags(), 10U);
    EXPECT_EQ(root.GetNodes()[2].GetFlags(), 4711U);
    EXPECT_EQ(root[""].GetFlags(), 2U);
}

TEST(NodeTree, TellsAnEmptyValueFromNone) {
    NodeTree tree;
    NodeRef node = tree.GetRoot().AddNode("n", NodeValue);
    EXPECT_FALSE(node.HasValue());
    node.SetValue("");
    EXPECT_TRUE(tree.GetRoot()["n"].HasValue());
    const std::string bytes("\0\xff\n", 3);
    node.SetValue(bytes);
    node.AddNode("child", NodeValue);
    EXPECT_EQ(tree.GetRoot()["n"].GetValue(), bytes);
}

TEST(NodePosition, NumbersSiblingsOnlyWhereTheyShareAName) {
    NodeTree tree;
    NodeRef group = tree.GetRoot().AddNode("Group", NodeElement);
    NodeRef streams = group.AddNode("Streams", NodeList);
    NodeRef first = streams.AddNode("Stream", NodeElement);
    EXPECT_EQ(first.GetPosition(), "/Group/Streams/Stream");
    NodeRef other = streams.AddNode("Other", NodeElement);
    NodeRef second = streams.AddNode("Stream", NodeElement);
    EXPECT_EQ(first.GetPosition(), "/Group/Streams/Stream[1]");
    EXPECT_EQ(other.GetPosition(), "/Group/Streams/Other");
    EXPECT_EQ(second.AddNode("Name", NodeValue).GetPosition(), "/Group/Streams/Stream[2]/Name");
    EXPECT_EQ(second["Absent"]["Name"].GetPosition(), "/Group/Streams/Stream[2]/Absent/Name");
    EXPECT_EQ(tree.GetRoot()[""].GetPosition(), "/");
}

TEST(AbsentNode, AnswersAbsentChildrenAndRefusesToBeWritten) {
    NodeTree tree;
    NodeRef node = tree.GetRoot().AddNode("Group", NodeElement);
    NodeRef absent = node["Streams"]["Stream"];
    EXPECT_FALSE(absent.Exists());
    EXPECT_FALSE(absent["Name"].Exists());
    EXPECT_TRUE(absent.GetNodes().empty());
    EXPECT_FALSE(absent.HasValue());
    EXPECT_EQ(absent.GetValue(), "");
    EXPECT_EQ(absent.GetName(), "Stream");
    EXPECT_EQ(absent.GetFlags(), NodeElement);

    const auto messageOf = [](auto action) -> std::string {
        try {
            action();
        } catch (const SerializationException& exception) {
            return exception.what();
        }
        return "nothing was thrown";
    };
    EXPECT_EQ(
        messageOf([&] { absent.AddNode("Name", NodeValue); }),
        "Node '/Group/Streams/Stream' does not exist, so node 'Name' can not be added to it.");
    EXPECT_EQ(messageOf([&] { absent.SetValue("x"); }),
              "Node '/Group/Streams/Stream' does not exist, so it can not hold a value.");
    EXPECT_TRUE(node.GetNodes().empty());
}

TEST(NodeTree, KeepsHandlesValidWhenMoved) {
    NodeTree first;
    NodeRef root = first.GetRoot();
    NodeRef node = root.AddNode("n", NodeValue);
    NodeTree second(std::move(first));
    node.SetValue("1");
    NodeTree third;
    third.GetRoot().AddNode("gone", NodeValue);
    third = std::move(second);
    node.AddNode("child", NodeValue);
    root.AddNode("m", NodeValue);
    EXPECT_THAT(GetNames(third.GetRoot()), testing::ElementsAre("n", "m"));
    EXPECT_EQ(third.GetRoot()["n"].GetValue(), "1");
    EXPECT_TRUE(third.GetRoot()["n"]["child"].Exists());
    EXPECT_EQ(node["child"].GetPosition(), "/n/child");
}

TEST(NodeTree, HoldsAHundredThousandLevels) {
    constexpr std::size_t levels = 100'000;
    NodeTree tree;
    NodeRef node = tree.GetRoot();
    for (std::size_t level = 0; level < levels; ++level) {
        node = node.AddNode("n", NodeElement);
    }
    EXPECT_EQ(node.GetPosition().size(), 2 * levels);
    EXPECT_EQ(node["absent"].GetPosition().size(), 2 * levels + 7);
}

}  // namespace
}  // namespace velmora::core::serialization
