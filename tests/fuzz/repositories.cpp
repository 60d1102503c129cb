// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/cost_limit.h"
#include "fuzz/fuzz.h"
#include "serializer/serialization_exception.h"
#include "support/documents.h"
#include "tessaryn/errors.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* bytes, std::size_t size, std::size_t maxSize);

namespace velmora::test {

namespace {

using namespace core::tessaryn;
using core::serialization::NodeRef;
using core::serialization::NodeSerializer;

const NodeSerializer serializer;

// The result of a maker, or nothing if it throws what is documented for malformed nodes.
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

// The nodes of streams without times: a sample with a `String` gets the time of reading.
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

// The size of the largest sample of any type.
std::size_t GetMaxSampleSize(const StreamTypeRepository& types, std::size_t inputSize) {
    std::size_t maxSize = 0;
    ForGroups<StreamTypeCollectionGroup>(types.GetGroup(""), [&](const auto& group) {
        for (const StreamTypeCollection* collection : group.GetAllItemPtrs()) {
            const std::string fullName = collection->GetFullName();
            const CostLimit limit("Finding a type by its full name", inputSize, 30);
            EXPECT_NE(types.FindByFullName(fullName), nullptr);
            for (const StreamType* type : collection->GetAll()) {
                maxSize = std::max<std::size_t>(maxSize, type->GetExactMemSizeInBytes());
            }
        }
    });
    return maxSize;
}

// The samples in the lists below a node.
std::size_t CountSamples(const NodeRef& node) {
    std::size_t count = 0;
    for (const NodeRef& child : node.GetNodes()) {
        count += node.GetName() == "Samples" ? 1 : 0;
        count += CountSamples(child);
    }
    return count;
}

void UseStreams(StreamRepository& streams, const NodeRef& node, StreamTypeRepository& types) {
    Poco::Logger& logger = Poco::Logger::root();
    const std::string written = WrittenWithoutTimes(streams);
    const NodeTree tree = TreeOf(streams);
    const StreamRepository again(logger, serializer, tree.GetRoot(), types);
    ASSERT_EQ(WrittenWithoutTimes(again), written) << "written streams are read differently";
    ForGroups<StreamGroup>(streams.GetRoot(), [&](const StreamGroup& group) {
        for (const Stream* stream : group.GetAllItemPtrs()) {
            EXPECT_TRUE(streams.IsStreamTypeInUse(stream->GetStreamType()));
            stream->GetAll([&](const std::vector<Sample*>& samples) {
                EXPECT_LE(samples.size(), static_cast<std::size_t>(stream->GetMaxSize()));
            });
        }
    });
    // Filled again, existing streams stay.
    streams.Fill(serializer, tree.GetRoot(), types);
    EXPECT_EQ(WrittenWithoutTimes(streams), written);
    MadeOrRefused([&] {
        streams.GetRoot().AddSamplesToExistingStreams(serializer, node["Group"], types);
        return true;
    });
    streams.Clear();
    EXPECT_TRUE(streams.IsEmpty());
}

// Trees as values, which the mutator changes.
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

// The pairs of a list and a list of the same name somewhere inside it.
void ListNested(NodeSpec& node, std::vector<NodeSpec*>& ancestors,
                std::vector<std::pair<NodeSpec*, NodeSpec*>>& nested) {
    for (NodeSpec* ancestor : ancestors) {
        if (ancestor->name == node.name) {
            nested.emplace_back(ancestor, &node);
        }
    }
    ancestors.push_back(&node);
    for (NodeSpec& child : node.children) {
        ListNested(child, ancestors, nested);
    }
    ancestors.pop_back();
}

// Copies an element of a list into a list that it contains, such as a group into its own groups.
void Nest(NodeSpec& root, std::minstd_rand& random) {
    std::vector<NodeSpec*> ancestors;
    std::vector<std::pair<NodeSpec*, NodeSpec*>> nested;
    ListNested(root, ancestors, nested);
    if (!nested.empty()) {
        const auto [outer, inner] = nested[random() % nested.size()];
        const NodeSpec element = outer->children[random() % outer->children.size()];
        inner->children.push_back(element);
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
    const unsigned action = random() % 8;
    if (action == 0) {
        some.value = values[random() % std::size(values)];
    } else if (action == 1) {
        some.value = other.value;
    } else if (action == 2) {
        some.name = other.name;
    } else if (action == 3 && !some.children.empty()) {
        some.children.erase(some.children.begin() +
                            static_cast<std::ptrdiff_t>(random() % some.children.size()));
    } else if (all.size() < 250 && action < 6) {
        some.children.push_back(other);
    } else if (all.size() < 250) {
        Nest(root, random);
    }
}
}  // namespace

// The bytes are a document with a repository of types and one of streams. They are refused with a
// documented exception, or give repositories that stay the same when they are written, read and
// filled again. Reading costs in proportion to the document and the samples that it asks for.
void Fuzz(std::string_view input) {
    Poco::Logger& logger = Poco::Logger::root();
    const auto tree = MadeOrRefused([&] {
        const std::string text(input);
        const CostLimit limit("Reading a document", text.size(), 30);
        return std::make_unique<NodeTree>(Read(json, text));
    });
    if (!tree) {
        return;
    }
    const NodeRef root = tree->GetRoot();
    const auto types = MadeOrRefused([&] {
        const CostLimit limit("Reading types", input.size(), 30);
        return std::make_unique<StreamTypeRepository>(logger, serializer, root["Types"]);
    });
    if (!types) {
        return;
    }
    const NodeTree written = TreeOf(*types);
    const auto again = MadeOrRefused([&] {
        return std::make_unique<StreamTypeRepository>(logger, serializer, written.GetRoot());
    });
    if (!again) {
        // Version 0.0.0 can be added to others, but not as the first, which it is when read again.
        ASSERT_NE(Written(*types).find("=0.0.0"), std::string::npos) << "types are refused";
        return;
    }
    ASSERT_EQ(Written(*again), Written(*types)) << "written types are read differently";
    // A type may ask for samples that are larger than a fuzzer can handle.
    constexpr std::size_t sampleSizeLimit = 10'000;
    const std::size_t maxSampleSize = GetMaxSampleSize(*types, input.size());
    if (maxSampleSize >= sampleSizeLimit) {
        return;
    }
    const NodeRef node = root["Streams"];
    const std::size_t size = input.size() + CountSamples(node) * maxSampleSize;
    const auto streams = MadeOrRefused([&] {
        const CostLimit limit("Reading streams", size, 30);
        return std::make_unique<StreamRepository>(logger, serializer, node, *types);
    });
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
