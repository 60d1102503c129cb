// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "support/choices.h"
#include "support/node_builder.h"
#include "support/rules.h"
#include "support/samples.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace velmora::test::samples {

using namespace core::tessaryn;

/// The bytes of each entry in a binary form. The first element is what precedes the entries.
inline std::vector<std::string> PartsOf(const std::string& binary, const StreamType& type) {
    const std::size_t table = (std::size_t{type.GetNumEntries()} + 1) * sizeof(unsigned int);
    EXPECT_GE(binary.size(), table) << "the table of offsets is incomplete";
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t i = 0; i < table; i += sizeof(unsigned int)) {
        unsigned int end = 0;
        std::memcpy(&end, binary.data() + i, sizeof end);
        EXPECT_TRUE(begin <= end && table + end <= binary.size())
            << "the offsets descend or exceed the bytes";
        parts.push_back(binary.substr(table + begin, end - begin));
        begin = end;
    }
    EXPECT_EQ(table + begin, binary.size()) << "the last offset is not the end";
    return parts;
}

/// A sample and the bytes of its entries, which go through the same uses.
class SampleModel {
  public:
    SampleModel(StreamType& streamType, const std::string& binary, Choices& source)
        : choices(source), type(streamType) {
        Read(binary);
    }

    /// Uses the sample in one way, and compares.
    void Step() {
        const bool stamped = Use();
        const std::string binary = BinaryOf(sample);
        ASSERT_EQ(PartsOf(binary, type), parts);
        EXPECT_EQ(sample.GetTimeStamp() != longAgo, stamped);
        Read(binary);
    }

  private:
    void Read(const std::string& binary) {
        sample = Sample(&type, longAgo);
        ReadBinary(sample, binary);
        EXPECT_EQ(sample.GetTimeStamp(), longAgo);
        parts = PartsOf(BinaryOf(sample), type);
    }

    /// The outcome of an access, as `OutcomeOf` formats it.
    std::string Allowed(BaseType requested, unsigned int index = 0, unsigned int size = 1) const {
        if (!TypesAreCompatible(declared, requested)) {
            return "std: Type '" + ToString(declared) + "' is not compatible with type '" +
                   ToString(requested) + "'.\n";
        }
        return index < size ? "true" : "std: Index out of range.";
    }

    /// Reads and writes one element through the accessors of one type.
    template <class T>
    bool Access(unsigned int index, T (Sample::*get)(unsigned short, unsigned int) const) {
        std::string& bytes = parts[entry + std::size_t{1}];
        const std::string allowed = Allowed(GetBaseType<T>(), index, sample.GetSize(entry));
        T value{};
        EXPECT_EQ(OutcomeOf([&] { return value = (sample.*get)(entry, index), true; }), allowed);
        EXPECT_EQ(OutcomeOf([&] { return sample.Set(entry, index, T{1}), true; }), allowed);
        if (allowed != "true") {
            return false;
        }
        const std::string stored = bytes.substr(index * sizeof(T), sizeof(T));
        if (std::is_same_v<T, bool>) {
            EXPECT_EQ(value, stored != std::string(1, '\0'));
        } else {
            EXPECT_EQ(BytesOf(value), stored);
        }
        bytes.replace(index * sizeof(T), sizeof(T), BytesOf(T{1}));
        return true;
    }

    bool AccessAsEachType(unsigned int index) {
        const auto access = [&](auto... get) { return (0 + ... + Access(index, get)) != 0; };
        return access(&Sample::GetInt8, &Sample::GetInt16, &Sample::GetInt32, &Sample::GetInt64,
                      &Sample::GetUInt8, &Sample::GetUInt16, &Sample::GetUInt32, &Sample::GetUInt64,
                      &Sample::GetFloat, &Sample::GetDouble, &Sample::GetBool);
    }

    /// Everything that text comes of: none of it throws, and the node form is stable once read.
    void ExpectTexts() {
        const std::string text = parts[entry + std::size_t{1}].substr(0, sample.GetSize(entry));
        EXPECT_EQ(OutcomeOf([&] { return sample.GetString(entry) == text; }), Allowed(Int8));
        const auto reread = [](const Sample& source) {
            const BuiltTree tree{{}};
            core::serialization::NodeRef root = tree.Root();
            const core::serialization::Serializer<core::serialization::NodeRef> serializer;
            source.Serialize(serializer, root);
            return std::pair(Sorted(root["Entries"]),
                             Sample(source.GetStreamType(), serializer, root));
        };
        for (unsigned int i = 0; i < std::min(sample.GetSize(entry), 9U); ++i) {
            ToString(&sample, entry, i);
        }
        const Sample once = reread(sample).second;
        EXPECT_EQ(reread(reread(once).second).first, reread(once).first);
    }

    /// Rules about one entry answer as their trees do.
    void ExpectRules() {
        static std::map<std::string, std::pair<ExpressionRule, std::shared_ptr<RLExpr>>> parsed;
        SubscriptionArgs args{changed, &sample, nullptr};
        for (const char* end :
             {"", ".size > 2", ".front == 1", ".back != 1", "[1] == 1", "[1:2] < 9", " == 1",
              " != \"xx\"", ".type != \"\"", "[:]", "[39]"}) {
            const std::string text = type.GetEntry(entry).key + end;
            if (!parsed.contains(text)) {
                parsed.emplace(text, std::pair(ExpressionRule(text), Parse(text)));
            }
            // Named one by one: Clang 14 takes no structured binding into a lambda.
            auto& rule = parsed.at(text).first;
            auto& tree = parsed.at(text).second;
            EXPECT_EQ(OutcomeOf([&] { return rule.Applies(args); }),
                      OutcomeOf([&] { return valueOf(tree.get(), args).convert<bool>(); }))
                << text;
        }
    }

    /// \return whether the sample gets the time of now by this
    bool Use() {
        entry = static_cast<unsigned short>(choices.Below(type.GetNumEntries()));
        declared = type.GetType(entry);
        const unsigned int number = choices.Below(40);
        std::string& bytes = parts[entry + std::size_t{1}];
        const std::size_t width = SizeOf(declared);
        EXPECT_EQ(sample.GetSize(entry), bytes.size() / width);
        const unsigned way = choices.Below(7);
        if (way == 0) {
            bytes.resize(number * width);
            sample.Resize(entry, number);
        } else if (way == 1) {
            const std::string allowed = Allowed(String);
            const std::string text(number, 'x');
            EXPECT_EQ(OutcomeOf([&] { return sample.Set(entry, text), true; }), allowed);
            if (allowed == "true") {
                bytes = text;
            }
            return allowed == "true";
        } else if (way == 2 && number < bytes.size() / width) {
            const std::string text = std::to_string(choices.Below(256));
            sample.Set(entry, number, text);
            SetFromString(declared, text, bytes.data() + number * width);
        } else if (way == 3) {
            return AccessAsEachType(number);
        } else if (way == 4) {
            Sample copy(sample);
            Sample moved(std::move(copy));
            copy = moved;
            sample = std::move(copy);
        } else if (way == 5) {
            ExpectTexts();
        } else if (way == 6) {
            ExpectRules();
        }
        return false;
    }

    static inline const Poco::Timestamp longAgo = 1;
    Choices& choices;
    StreamType& type;
    Sample sample;
    std::vector<std::string> parts;
    unsigned short entry = 0;
    BaseType declared = UnknownType;
};

}  // namespace velmora::test::samples
