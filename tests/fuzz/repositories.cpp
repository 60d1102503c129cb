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
#include <sstream>
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
    const CostLimit limit("Missing a type by a name of dots", inputSize, 30);
    EXPECT_EQ(types.FindByFullName(std::string(30, '.') + '?'), nullptr);
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

std::size_t CountNodes(const std::vector<NodeSpec>& specs) {
    std::size_t count = specs.size();
    for (const NodeSpec& spec : specs) {
        count += CountNodes(spec.children);
    }
    return count;
}

// More do not fit into an input.
constexpr std::size_t maxNodes = 1'500;

void ListAll(NodeSpec& spec, std::vector<NodeSpec*>& all) {
    all.push_back(&spec);
    for (NodeSpec& child : spec.children) {
        ListAll(child, all);
    }
}

// A list, and where a list of the same name is inside it: the indexes on the way down.
struct Nesting {
    NodeSpec* outer;
    std::vector<std::size_t> way;
};

void ListNestings(NodeSpec& node, std::vector<Nesting>& open, std::vector<Nesting>& found) {
    for (const Nesting& nesting : open) {
        if (nesting.outer->name == node.name && !nesting.outer->children.empty() &&
            node.children.empty()) {
            found.push_back(nesting);
        }
    }
    open.push_back({&node, {}});
    for (std::size_t i = 0; i < node.children.size(); ++i) {
        for (Nesting& nesting : open) {
            nesting.way.push_back(i);
        }
        ListNestings(node.children[i], open, found);
        for (Nesting& nesting : open) {
            nesting.way.pop_back();
        }
    }
    open.pop_back();
}

// Puts the elements of a list into a list inside it, such as the groups of a group into the groups
// of one of them, and does the same with the result again and again.
void Nest(NodeSpec& root, std::minstd_rand& random) {
    std::vector<Nesting> open;
    std::vector<Nesting> found;
    ListNestings(root, open, found);
    if (found.empty()) {
        return;
    }
    const auto& [outer, way] = found[random() % found.size()];
    const std::vector<NodeSpec> elements = outer->children;
    const std::size_t mostLevels = 1 + maxNodes / (1 + CountNodes(elements));
    for (auto levels = std::min(std::size_t{1} << random() % 6, mostLevels); levels > 0; --levels) {
        std::vector<NodeSpec> nested = elements;
        NodeSpec* inner = &nested[way.front()];
        for (std::size_t i = 1; i < way.size(); ++i) {
            inner = &inner->children[way[i]];
        }
        inner->children = std::exchange(outer->children, {});
        outer->children = std::move(nested);
    }
}

// Gives the innermost lists with elements of one name more of them, each with a name or key of its
// own. Returns whether there were any.
bool Repeat(NodeSpec& list, const std::string& name, unsigned count) {
    bool isRepeated = false;
    for (NodeSpec& child : list.children) {
        isRepeated = Repeat(child, name, count) || isRepeated;
    }
    if (isRepeated || list.children.empty() || list.children.front().name != name) {
        return isRepeated;
    }
    const std::size_t most = maxNodes / (1 + CountNodes(list.children.front().children));
    for (std::size_t i = 0; i < std::min<std::size_t>(count, most); ++i) {
        NodeSpec copy = list.children.front();
        if (!copy.children.empty() && copy.children.front().value) {
            *copy.children.front().value += std::to_string(i);
        }
        list.children.push_back(std::move(copy));
    }
    return true;
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
    const unsigned action = random() % 7;
    if (action == 0) {
        some.value = values[random() % std::size(values)];
    } else if (action == 1) {
        some.value = other.value;
    } else if (action == 2) {
        some.name = other.name;
    } else if (action == 3 && !some.children.empty()) {
        some.children.erase(some.children.begin() +
                            static_cast<std::ptrdiff_t>(random() % some.children.size()));
    } else if (action == 4 && some.value && some.value->size() < 100) {
        for (unsigned i = random() % 6; i > 0; --i) {
            *some.value += (random() % 2 == 0 ? ";" : "") + *some.value;
        }
    } else if (all.size() < maxNodes) {
        some.children.push_back(other);
    }
}

// Makes a document long or deep in one step, which shows what it costs.
void Grow(NodeSpec& root, std::minstd_rand& random) {
    std::vector<NodeSpec*> all;
    ListAll(root, all);
    const std::string name = all[random() % all.size()]->name;
    if (random() % 2 == 0) {
        Nest(root, random);
    } else {
        Repeat(root, name, 1U << random() % 8);
    }
}

// Without the blanks that make a document easy to read.
std::string CompactText(const NodeTree& tree) {
    std::istringstream lines(Write(json, tree));
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        text += line.substr(std::min(line.find_first_not_of(' '), line.size()));
    }
    return text;
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
    if (random() % 3 == 0) {
        Grow(spec, random);
    } else {
        for (unsigned i = 1 + random() % 4; i > 0; --i) {
            Mutate(spec, random);
        }
    }
    const BuiltTree built(spec.children);
    const std::string text = MadeOrRefused([&] { return CompactText(built.Tree()); });
    return text.empty() || text.size() > maxSize
               ? size
               : text.copy(reinterpret_cast<char*>(bytes), text.size());
}
