// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/node.h"

#include "serializer/node_tree.h"
#include "serializer/serialization_exception.h"
#include "support/node_builder.h"
#include "support/thrown.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velmora::core::serialization {
namespace {

using std::string_literals::operator""s;
using namespace test;

TEST(NodeTree, KeepsOrderFlagsValuesAndSameNamedSiblings) {
    const NodeTree tree;
    NodeRef root = tree.GetRoot();
    root.AddNode("b", NodeList);
    root.AddNode("a", NodeName).SetValue("");
    root.AddNode("b", static_cast<NodeFlags>(4711)).SetValue("\0\xff\n"s);
    EXPECT_EQ(Sorted(root), "/1(b/17 a/10= b/4711=\0\xff\n)"s);
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

TEST(NodeTree, HasNoLimitOfDepth) {
    constexpr int levels = 100000;
    const NodeTree tree;
    NodeRef node = tree.GetRoot();
    for (int i = 0; i < levels; ++i) {
        node = node.AddNode("n", NodeElement);
    }
    EXPECT_EQ(node.GetPosition().size(), 2U * levels);
}

TEST(NodeTree, IsReadByManyThreadsAtOnce) {
    const NodeTree tree;
    NodeRef root = tree.GetRoot();
    for (int i = 0; i < 1000; ++i) {
        root.AddNode("n", NodeValue).SetValue(std::to_string(i));
    }
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            int i = 0;
            for (const NodeRef& node : root.GetNodes()) {
                wrong += node.GetValue() == std::to_string(i) ? 0 : 1;
                ++i;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

TEST(AbsentNode, HasAbsentChildrenAndCannotBeWrittenTo) {
    const NodeTree tree;
    NodeRef absent = tree.GetRoot().AddNode("Group", NodeElement)["Streams"]["Stream"];
    EXPECT_FALSE(absent.Exists() || absent["Name"].Exists() || absent.HasValue());
    EXPECT_EQ(MessageOf<SerializationException>([&] { absent.AddNode("Name", NodeValue); }),
              "Node '/Group/Streams/Stream' does not exist, so node 'Name' cannot be added to it.");
    EXPECT_EQ(MessageOf<SerializationException>([&] { absent.SetValue("x"); }),
              "Node '/Group/Streams/Stream' does not exist, so it cannot hold a value.");
}

TEST(NodeTree, KeepsHandlesValidWhenMoved) {
    NodeTree first;
    NodeRef node = first.GetRoot().AddNode("n", NodeValue);
    NodeTree third;
    third = NodeTree(std::move(first));
    node.AddNode("child", NodeValue);
    EXPECT_EQ(third.GetRoot()["n"]["child"].GetPosition(), "/n/child");
}

}  // namespace
}  // namespace velmora::core::serialization
