// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/fuzz.h"
#include "support/node_builder.h"
#include "support/rules.h"
#include "support/samples.h"
#include "support/subscribers.h"
#include "tessaryn/errors.h"
#include "tessaryn/sample_check.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace velmora::test {

namespace {

using namespace core::tessaryn;
using core::serialization::NodeRef;
using core::serialization::Serializer;

/// The entries' bytes as the binary form tells them; the first are those before any entry.
std::vector<std::string> PartsOf(const std::string& binary, const StreamType& type) {
    const std::size_t table = (std::size_t{type.GetNumEntries()} + 1) * sizeof(unsigned int);
    EXPECT_GE(binary.size(), table) << "there is no whole table of offsets";
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t i = 0; i < table; i += sizeof(unsigned int)) {
        unsigned int end = 0;
        std::memcpy(&end, binary.data() + i, sizeof end);
        EXPECT_TRUE(begin <= end && table + end <= binary.size()) << "an offset descends or leaves";
        parts.push_back(binary.substr(table + begin, end - begin));
        begin = end;
    }
    EXPECT_EQ(table + begin, binary.size()) << "the last offset isn't the end";
    return parts;
}

/// Reads and writes one element through the accessors of one type.
template <class T>
void Access(Sample& sample, unsigned short entry, unsigned int index,
            T (Sample::*get)(unsigned short, unsigned int) const, std::string& bytes) {
    const BaseType declared = sample.GetStreamType()->GetType(entry);
    const bool allowed = TypesAreCompatible(declared, GetBaseType<T>());
    if (!allowed || index >= bytes.size() / SizeOf(declared)) {
        EXPECT_ANY_THROW((sample.*get)(entry, index));
        EXPECT_ANY_THROW(sample.Set(entry, index, T{1}));
        return;
    }
    T stored{};
    if constexpr (!std::is_same_v<T, bool>) {
        std::memcpy(&stored, bytes.data() + index * sizeof(T), sizeof(T));
        EXPECT_EQ(BytesOf((sample.*get)(entry, index)), BytesOf(stored));
    }
    sample.Set(entry, index, T{1});
    EXPECT_EQ((sample.*get)(entry, index), T{1});
    bytes.replace(index * sizeof(T), sizeof(T), BytesOf(T{1}));
}

/// Everything that text comes of: none of it throws, and the node form is stable once read.
void ExpectTexts(const Sample& sample) {
    const auto written = [](const Sample& source) {
        const BuiltTree tree{{}};
        NodeRef root = tree.Root();
        source.Serialize(Serializer<NodeRef>(), root);
        return std::pair(Sorted(root["Entries"]),
                         Sample(source.GetStreamType(), Serializer<NodeRef>(), root));
    };
    for (unsigned short entry = 0; entry < sample.GetStreamType()->GetNumEntries(); ++entry) {
        for (unsigned int i = 0; i < std::min(sample.GetSize(entry), 9U); ++i)
            ToString(&sample, entry, i);
    }
    const Sample once = written(sample).second;
    EXPECT_EQ(written(written(once).second).first, written(once).first);
}

/// A rule and its tree, parsed once.
struct ParsedRule {
    explicit ParsedRule(const std::string& text) : rule(text), tree(Parse(text)) {}
    ExpressionRule rule;
    std::shared_ptr<RLExpr> tree;
};

void ExpectRules(Sample& sample, const std::string& entry) {
    static std::map<std::string, ParsedRule> parsed;
    SubscriptionArgs args{changed, &sample, nullptr};
    for (const char* end : {"", ".size > 2", ".front == 1", ".back != 1", "[1] == 1", "[1:2] < 9",
                            " == 1", " != \"xx\"", ".type != \"\"", "[:]", "[39]"}) {
        const std::string text = entry + end;
        const ParsedRule& asked = parsed.try_emplace(text, text).first->second;
        EXPECT_EQ(OutcomeOf([&] { return asked.rule.Applies(args); }),
                  OutcomeOf([&] { return valueOf(asked.tree.get(), args).convert<bool>(); }))
            << text;
    }
}

/// One use of the sample; the parts go along.
void Use(Sample& sample, std::vector<std::string>& parts, ByteChoices& choices) {
    const StreamType& type = *sample.GetStreamType();
    const auto entry = static_cast<unsigned short>(choices.Below(type.GetNumEntries()));
    const unsigned int number = choices.Below(40);
    std::string& bytes = parts[entry + std::size_t{1}];
    const std::size_t width = SizeOf(type.GetType(entry));
    ASSERT_EQ(sample.GetSize(entry), bytes.size() / width);
    switch (choices.Below(7)) {
        case 0:
            bytes.resize(number * width);
            return sample.Resize(entry, number);
        case 1:
            if (TypesAreCompatible(type.GetType(entry), String))
                sample.Set(entry, bytes = std::string(number, 'x'));
            return;
        case 2:
            if (number < bytes.size() / width) {
                sample.Set(entry, number, "1");
                bytes = PartsOf(BinaryOf(sample), type)[entry + std::size_t{1}];
            }
            return;
        case 3: {
            const auto access = [&](auto... get) {
                (Access(sample, entry, number, get, bytes), ...);
            };
            return access(&Sample::GetInt8, &Sample::GetInt16, &Sample::GetInt32, &Sample::GetInt64,
                          &Sample::GetUInt8, &Sample::GetUInt16, &Sample::GetUInt32,
                          &Sample::GetUInt64, &Sample::GetFloat, &Sample::GetDouble,
                          &Sample::GetBool);
        }
        case 4: {
            Sample copy(sample);
            Sample moved(std::move(copy));
            copy = moved;
            sample = std::move(copy);
            return;
        }
        case 5:
            if (TypesAreCompatible(type.GetType(entry), Int8))
                EXPECT_EQ(sample.GetString(entry), bytes.substr(0, sample.GetSize(entry)));
            return ExpectTexts(sample);
        default:
            return ExpectRules(sample, type.GetEntry(entry).key);
    }
}

/// A stream takes the bytes as a sample by itself does.
void ExpectSameInStream(StreamType& type, const std::string& before, const std::string& bytes) {
    static const auto deaf = TestDelegate(1, [](Stream&, SubscriptionArgs&) {});
    static const StreamSubscription subscriptions[] = {{Expression("a > 0 || s.size == 3"), deaf},
                                                       {Expression("s == \"abc\""), deaf},
                                                       {Expression("!a.front || k"), deaf}};
    const auto binaryOfLatest = [](const Stream& stream) {
        std::string binary;
        stream.GetLatest([&](const Sample& latest) { binary = BinaryOf(latest); });
        return binary;
    };
    const auto attempt = [](auto push) {
        try {
            push();
        } catch (const Poco::Exception&) {  // of a rule
        } catch (const std::out_of_range&) {
        }
    };
    Stream stream(&type, 3);
    for (const StreamSubscription& subscription : subscriptions)
        stream.Subscribe(subscription);
    std::istringstream first(before);
    attempt([&] { stream.PushNew(first, nullptr); });
    Sample single(&type, Poco::Timestamp());
    ReadBinary(single, before);
    ASSERT_EQ(binaryOfLatest(stream), BinaryOf(single));
    std::istringstream in(bytes);
    attempt([&] { stream.DeserializeLatest(in, nullptr); });
    ReadBinary(single, bytes);
    ASSERT_EQ(binaryOfLatest(stream), BinaryOf(single));
}

}  // namespace

// A type, uses of a sample of it, and the bytes that it is read from. What was read stays within
// its memory through every use, and is no longer than it was or what came; what passes the check
// is written again byte for byte.
void Fuzz(std::string_view input) {
    static TestType plain{{"a", Int32, 2}, {"s", String, 0}};
    static TestType all{{"a", Int8, 2},  {"b", Int16, 1},  {"c", Int32, 2},  {"d", Int64, 1},
                        {"e", UInt8, 1}, {"f", UInt16, 1}, {"g", UInt32, 1}, {"h", UInt64, 1},
                        {"i", Float, 1}, {"j", Double, 1}, {"k", Bool, 2},   {"s", String, 3}};
    static TestType text{{"s", String, 5}};
    static TestType* const types[] = {&plain, &all, &text};
    ByteChoices choices(input);
    StreamType& type = types[choices.Below(3)]->type;
    ByteChoices uses(choices.Take(3 * choices.Below(30)));
    std::vector<std::string> entries;
    for (unsigned short i = 0; i < type.GetNumEntries(); ++i)
        entries.emplace_back(SizeOf(type.GetType(i)) * choices.Below(4), '\7');
    const std::string before = BinaryForm(entries);
    const std::string bytes(choices.Take(input.size()));

    Sample sample(&type, Poco::Timestamp());
    ReadBinary(sample, before);
    ASSERT_EQ(BinaryOf(sample), before);
    ReadBinary(sample, bytes);
    const std::string after = BinaryOf(sample);
    ASSERT_LE(after.size(), std::max(before.size(), bytes.size())) << "longer than what came";
    ASSERT_EQ(sample.GetSerializedSizeInBytes(), after.size());
    if (CheckSample(bytes, type).empty())
        ASSERT_EQ(after, bytes) << "checked bytes are not those of the sample";
    Sample again(&type, Poco::Timestamp());
    ReadBinary(again, after);
    ASSERT_EQ(BinaryOf(again), after) << "what was written is not read";
    ExpectSameInStream(type, before, bytes);

    std::vector<std::string> parts = PartsOf(after, type);
    while (!uses.Done()) {
        Use(sample, parts, uses);
        ASSERT_EQ(PartsOf(BinaryOf(sample), type), parts);
    }
}

}  // namespace velmora::test
