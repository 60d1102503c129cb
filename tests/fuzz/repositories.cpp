// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/fuzz.h"
#include "serializer/serialization_exception.h"
#include "support/documents.h"
#include "tessaryn/errors.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* bytes, std::size_t size, std::size_t maxSize);

namespace velmora::test {

namespace {

using namespace core::tessaryn;
using core::serialization::NodeRef;
using core::serialization::NodeSerializer;

const NodeSerializer serializer;

// What a maker makes; nothing where it throws what is documented for nodes that are none.
template <class Maker>
auto MadeOrRefused(Maker make) -> decltype(make()) {
    try {
        return make();
    } catch (const BaseException&) {
    } catch (const std::invalid_argument&) {
    } catch (const std::length_error&) {
    }
    return {};
}

// What streams write, without times: a sample with a text takes the time of reading.
std::string WrittenWithoutTimes(const StreamRepository& streams) {
    static const std::string key = "TimeStamp/2=";
    std::string written = Written(streams);
    for (std::size_t i = written.find(key); i != std::string::npos; i = written.find(key, i + 1)) {
        written.erase(i + key.size(), written.find_first_of(" )", i) - i - key.size());
    }
    return written;
}

template <class Object>
NodeTree TreeOf(const Object& object) {
    NodeTree tree;
    NodeRef root = tree.GetRoot();
    object.Serialize(serializer, root);
    return tree;
}

template <class Group>
void ForGroups(const Group& group, const std::function<void(const Group&)>& use) {
    use(group);
    for (const Group* below : group.GetAllGroupPtrs()) {
        ForGroups<Group>(*below, use);
    }
}

// A document may promise samples that are larger than a fuzzer likes.
bool AreSamplesSmall(const StreamTypeRepository& types) {
    bool small = true;
    ForGroups<StreamTypeCollectionGroup>(types.GetGroup(""), [&](const auto& group) {
        for (const StreamTypeCollection* collection : group.GetAllItemPtrs()) {
            EXPECT_NE(types.FindByFullName(collection->GetFullName()), nullptr);
            for (const StreamType* type : collection->GetAll()) {
                small = small && type->GetExactMemSizeInBytes() < 10000;
            }
        }
    });
    return small;
}

void UseStreams(StreamRepository& streams, const NodeRef& node, StreamTypeRepository& types) {
    Poco::Logger& logger = Poco::Logger::root();
    const std::string written = WrittenWithoutTimes(streams);
    const NodeTree tree = TreeOf(streams);
    const StreamRepository again(logger, serializer, tree.GetRoot(), types);
    ASSERT_EQ(WrittenWithoutTimes(again), written)
        << "streams that were written are read differently";
    ForGroups<StreamGroup>(streams.GetRoot(), [&](const StreamGroup& group) {
        for (const Stream* stream : group.GetAllItemPtrs()) {
            EXPECT_TRUE(streams.IsStreamTypeInUse(stream->GetStreamType()));
            stream->GetAll([&](const std::vector<Sample*>& samples) {
                EXPECT_LE(samples.size(), static_cast<std::size_t>(stream->GetMaxSize()));
            });
        }
    });
    // Once more into the same: streams that are there stay.
    streams.Fill(serializer, tree.GetRoot(), types);
    EXPECT_EQ(WrittenWithoutTimes(streams), written);
    MadeOrRefused([&] {
        streams.GetRoot().AddSamplesToExistingStreams(serializer, node["Group"], types);
        return true;
    });
    streams.Clear();
    EXPECT_TRUE(streams.IsEmpty());
}

// \name Trees as values, to be changed
//@{
NodeSpec SpecOf(const NodeRef& node) {
    NodeSpec spec{node.GetName(), std::nullopt, {}};
    if (node.HasValue()) {
        spec.value = node.GetValue();
    }
    for (const NodeRef& child : node.GetNodes()) {
        spec.children.push_back(SpecOf(child));
    }
    return spec;
}

void ListAll(NodeSpec& spec, std::vector<NodeSpec*>& all) {
    all.push_back(&spec);
    for (NodeSpec& child : spec.children) {
        ListAll(child, all);
    }
}

void Mutate(NodeSpec& root, std::minstd_rand& random) {
    static const char* const values[] = {"",           "0",
                                         "-1",         "65535",
                                         "4294967295", "18446744073709551616",
                                         "1;2;3",      "0.0.0",
                                         "2.0.1",      ".",
                                         "/",          "a.b",
                                         "Any",        "Int8",
                                         "String",     "255.255.65535",
                                         "nan",        "1e999",
                                         "\xff"};
    std::vector<NodeSpec*> all;
    ListAll(root, all);
    NodeSpec& some = *all[random() % all.size()];
    const NodeSpec other = *all[random() % all.size()];
    const unsigned action = random() % 6;
    if (action == 0) {
        some.value = values[random() % std::size(values)];
    } else if (action == 1) {
        some.value = other.value;
    } else if (action == 2) {
        some.name = other.name;
    } else if (action == 3 && !some.children.empty()) {
        some.children.erase(some.children.begin() +
                            static_cast<std::ptrdiff_t>(random() % some.children.size()));
    } else if (all.size() < 500) {
        some.children.push_back(other);
    }
}
//@}

}  // namespace

// The bytes are a document that holds a repository of types and one of streams, both under its
// root. They are refused with a documented exception, or become repositories which, written, read
// again and filled once more, are the same.
void Fuzz(std::string_view input) {
    Poco::Logger& logger = Poco::Logger::root();
    const auto tree =
        MadeOrRefused([&] { return std::make_unique<NodeTree>(Read(json, std::string(input))); });
    if (!tree) {
        return;
    }
    const NodeRef root = tree->GetRoot();
    const auto types = MadeOrRefused(
        [&] { return std::make_unique<StreamTypeRepository>(logger, serializer, root["Types"]); });
    if (!types) {
        return;
    }
    const NodeTree written = TreeOf(*types);
    const auto again = MadeOrRefused([&] {
        return std::make_unique<StreamTypeRepository>(logger, serializer, written.GetRoot());
    });
    if (!again) {
        // Version 0.0.0 may be added below others, but not first, which it is when read again.
        ASSERT_NE(Written(*types).find("=0.0.0"), std::string::npos) << "types are refused";
        return;
    }
    ASSERT_EQ(Written(*again), Written(*types)) << "types that were written are read differently";
    if (!AreSamplesSmall(*types)) {
        return;
    }
    const NodeRef node = root["Streams"];
    const auto streams = MadeOrRefused(
        [&] { return std::make_unique<StreamRepository>(logger, serializer, node, *types); });
    if (streams) {
        UseStreams(*streams, node, *types);
    }
}

}  // namespace velmora::test

// NOLINTNEXTLINE(readability-identifier-naming): the fuzzer's name
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* bytes, std::size_t size,
                                               std::size_t maxSize, unsigned seed) {
    using namespace velmora::test;
    std::minstd_rand random(seed);
    const auto tree = MadeOrRefused([&] {
        return std::make_unique<NodeTree>(Read(json, {reinterpret_cast<char*>(bytes), size}));
    });
    if (!tree || random() % 16 == 0) {
        return LLVMFuzzerMutate(bytes, size, maxSize);
    }
    NodeSpec spec = SpecOf(tree->GetRoot());
    for (unsigned i = 1 + random() % 4; i > 0; --i) {
        Mutate(spec, random);
    }
    const BuiltTree built(spec.children);
    const std::string text = Write(json, built.Tree());
    return text.size() > maxSize ? size : text.copy(reinterpret_cast<char*>(bytes), text.size());
}
