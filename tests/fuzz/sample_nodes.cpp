// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/cost_limit.h"
#include "fuzz/fuzz.h"
#include "serializer/node_tree.h"
#include "support/documents.h"
#include "tessaryn/errors.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>

namespace velmora::test {

namespace {

using namespace core::tessaryn;
using core::serialization::NodeFlags;
using core::serialization::NodeRef;
using core::serialization::NodeSerializer;

// A tree, and the bytes of its names and values.
class Tree {
  public:
    void ChooseFlags(ByteChoices& choices) { otherFlag = choices.Below(64); }

    NodeRef Root() const { return tree.GetRoot(); }
    std::size_t Size() const { return size; }

    // Adds a node with a flag that fits, or where it was chosen so with another one.
    NodeRef Add(NodeRef parent, const std::string& name, NodeFlags flag) {
        constexpr NodeFlags flags[] = {NodeFlags::NodeElement, NodeFlags::NodeValue,
                                       NodeFlags::NodeList};
        constexpr std::size_t nodeSize = 40;
        size += name.size() + nodeSize;
        return parent.AddNode(name, otherFlag < std::size(flags) ? flags[otherFlag] : flag);
    }
    void AddValue(NodeRef parent, const std::string& name, const std::string& value) {
        Add(parent, name, NodeFlags::NodeValue).SetValue(value);
        size += value.size();
    }

  private:
    NodeTree tree;
    unsigned otherFlag = 3;
    std::size_t size = 0;
};

// Many entries, of four types that take turns.
void AddEntries(StreamType& type, ByteChoices& choices) {
    BaseType types[4];
    for (BaseType& each : types) {
        each = choices.Below(2) != 0 ? String : static_cast<BaseType>(1 + choices.Below(12));
    }
    const unsigned size = choices.Below(4);
    const unsigned count = 1 + choices.Below(200);
    for (unsigned i = 0; i < count; ++i) {
        type.Add("e" + std::to_string(i), types[i % 4], size);
    }
}

std::string ValueOf(ByteChoices& choices) {
    static const char* const elements[] = {"1", "-5", "2.5", "abc", "", ";", "\xff", "300"};
    const std::string element = elements[choices.Below(8)];
    const std::string separator = choices.Below(2) == 0 ? ";" : "";
    std::string value;
    for (unsigned count = choices.Below(200) * (choices.Below(4) == 0 ? 8U : 1U); count > 0;
         --count) {
        value += element + separator;
    }
    return value;
}

std::string Written(const Sample& sample) {
    const NodeTree tree;
    NodeRef root = tree.GetRoot();
    sample.Serialize(NodeSerializer(), root);
    std::string written;
    for (const NodeRef& entry : root["Entries"].GetNodes()) {
        written += entry["Key"].GetValue() + '=' + entry["Value"].GetValue() + '\n';
    }
    return written;
}

}  // namespace

// The bytes are a type and the node of a sample, in whose lists entries may be missing, unknown or
// there several times. It is refused, or gives a sample that stays the same when it is written and
// read. Reading costs in proportion to the node and to a new sample.
void Fuzz(std::string_view input) {
    ByteChoices choices(input);
    StreamType type;
    AddEntries(type, choices);
    Tree tree;
    tree.AddValue(tree.Root(), "TimeStamp", choices.Below(2) == 0 ? "1000" : "no time");
    NodeRef list = tree.Add(tree.Root(), "Entries", NodeFlags::NodeList);
    constexpr std::size_t maxSize = 200'000;
    while (!choices.Done() && tree.Size() < maxSize) {
        // Entries that follow each other, or one again and again.
        unsigned key = choices.Below(202);
        const unsigned step = choices.Below(2);
        const std::string value = ValueOf(choices);
        tree.ChooseFlags(choices);
        for (unsigned count = 1 + choices.Below(64); count > 0; --count) {
            NodeRef entry = tree.Add(list, "Entry", NodeFlags::NodeElement);
            tree.AddValue(entry, "Key", "e" + std::to_string(key));
            tree.AddValue(entry, "Value", value);
            key += step;
        }
    }

    std::unique_ptr<Sample> sample;
    try {
        // An element that is no plain number is read by an input stream, which takes a buffer of 57
        // bytes, and there may be one for every two bytes of a value.
        const CostLimit limit("Reading a sample", tree.Size() + type.GetExactMemSizeInBytes(), 40);
        sample = std::make_unique<Sample>(&type, NodeSerializer(), tree.Root());
    } catch (const BaseException&) {
        return;
    } catch (const std::invalid_argument&) {
        return;
    }
    const NodeTree again;
    NodeRef root = again.GetRoot();
    sample->Serialize(NodeSerializer(), root);
    EXPECT_EQ(Written(Sample(&type, NodeSerializer(), root)), Written(*sample));
}

}  // namespace velmora::test
