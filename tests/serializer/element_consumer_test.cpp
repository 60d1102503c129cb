// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/element_consumer.h"

#include "serializer/node_arena.h"
#include "serializer/serialization_exception.h"
#include "support/documents.h"
#include "support/thrown.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace velmora::core::serialization {
namespace {

using namespace test;

// Keeps what it was given, and takes it unless it has a child "keep".
struct Recorder : ElementConsumer {
    bool Consume(const NodeRef& element) override {
        seen.push_back(element.GetPosition() + ": " + Sorted(element["v"]));
        return !element["keep"].Exists();
    }
    std::vector<std::string> seen;
};

TEST(ElementConsumer, TakesElementsOutOfTheTreeInBothForms) {
    const BuiltTree built(
        {List("Samples", {List("a", {Value("v", "1")}), List("b", {})}), Value("between", "kept"),
         List("Other",
              {List("Samples", {List("c", {Value("v", "2")}), List("c", {List("keep", {})}),
                                List("c", {Value("v", "3")})}),
               List("after", {})})});
    for (const TextForm& form : {xml, json}) {
        Recorder recorder;
        std::istringstream in(Write(form, built.Tree()));
        const ConsumedLists lists{"Samples", recorder};
        const NodeTree tree =
            form.name == xml.name ? ReadXml(in, {}, lists) : ReadJson(in, {}, lists);
        EXPECT_EQ(recorder.seen,
                  (std::vector<std::string>{
                      "/Samples/a[1]: v/1=1", "/Samples/b[2]: v/1", "/Other/Samples/c[1]: v/1=2",
                      "/Other/Samples/c[2]: v/1", "/Other/Samples/c[3]: v/1=3"}))
            << form.name;
        const NodeRef kept = tree.GetRoot()["Other"]["Samples"]["c"];
        EXPECT_TRUE(kept["keep"].Exists());
        EXPECT_EQ(kept.GetParent().GetNumber(), tree.GetRoot()["Other"]["Samples"].GetNumber());
        EXPECT_EQ(tree.GetRoot()["Other"]["Samples"].GetNodes().size(), 1U);
        EXPECT_TRUE(tree.GetRoot()["Samples"].GetNodes().empty());
        EXPECT_EQ(tree.GetRoot()["between"].GetValueView(), "kept");
        EXPECT_TRUE(tree.GetRoot()["Other"]["after"].Exists());
    }
}

TEST(ElementConsumer, LeavesNoMemoryTaken) {
    NodeTree tree;
    NodeRef list = tree.GetRoot().AddNode("Samples", NodeList);
    for (int i = 0; i < 10'000; ++i) {
        list.AddNode("a", NodeElement).AddNode("v", NodeValue).SetValue(std::string(100, 'x'));
    }
    ReadLimits limits;
    limits.maxMemory = 2'000;
    for (const TextForm& form : {xml, json}) {
        Recorder recorder;
        std::istringstream in(Write(form, tree));
        const ConsumedLists lists{"Samples", recorder};
        const NodeTree rest =
            form.name == xml.name ? ReadXml(in, limits, lists) : ReadJson(in, limits, lists);
        EXPECT_EQ(recorder.seen.size(), 10'000U) << form.name;
    }
}

TEST(NodeArena, RefusesMoreNodesThanItsIndexesReach) {
    detail::NodeArena arena(3);
    arena.Add(arena.Add(detail::rootIndex, "a", NodeElement), "b", NodeElement);
    EXPECT_EQ(MessageOf<SerializationException>([&] { arena.Add(0, "c", NodeElement); }),
              "A tree cannot have more than 3 nodes.");
}

TEST(NodeArena, TakesFortyBytesANodeAndNothingForValuesThatAreReplaced) {
    detail::NodeArena arena;
    const std::uint64_t bare = arena.GetMemory();
    for (int i = 0; i < 10'000; ++i) {
        arena.SetValue(arena.Add(detail::rootIndex, "node", NodeValue), "12345678");
    }
    EXPECT_LE(arena.GetMemory() - bare, 10'000U * (40 + 8) + 100);
    const std::uint64_t full = arena.GetMemory();
    const std::string& text = arena.GetString(1);
    for (std::size_t i = 0; i < 1'000; ++i) {
        arena.SetValue(1, std::string(i, 'x'));
        EXPECT_EQ(text, arena.GetValue(1));
    }
    EXPECT_EQ(arena.GetMemory(), full);
}

}  // namespace
}  // namespace velmora::core::serialization
