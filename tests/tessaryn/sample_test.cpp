// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/comma_locale.h"
#include "support/random.h"
#include "support/sample_model.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using Poco::Timestamp;

const Timestamp longAgo(1);

TEST(SampleUse, BehavesAsAModel) {
    Random random;
    for (int round = 0; round < 60; ++round) {
        TestType layout({});
        std::vector<std::string> entries;
        for (int i = 0; i < 13; ++i) {
            const auto type = static_cast<BaseType>(Int8 + random.Below(12));
            layout.type.Add(std::string(1, static_cast<char>('a' + i)), type, 1);
            entries.emplace_back(SizeOf(type) * random.Below(4), '\2');
        }
        samples::SampleModel modelled(layout.type, BinaryForm(entries), random);
        for (int step = 0; step < 100; ++step) {
            ASSERT_NO_FATAL_FAILURE(modelled.Step());
        }
    }
}

TEST(SampleUse, EndsAt32BitsAndAtTheLastEntry) {
    TestType layout({{"x", Int32, 4}, {"s", String, 4}, {"u", UInt64, 1}});
    Sample sample(&layout.type, longAgo);
    const std::string before = BinaryOf(sample);
    for (const unsigned int tooMany : {0xFFFFFFFFU, 0xFFFFFFF0U}) {
        EXPECT_THROW(sample.Resize(1, tooMany), std::length_error);
        EXPECT_THROW(sample.Resize(2, tooMany), std::length_error);
        EXPECT_NO_THROW(sample.Resize(3, 5));
        EXPECT_NO_THROW(sample.Resize(StreamType::invalidEntryId, 5));
        EXPECT_EQ(BinaryOf(sample), before);
    }
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { Sample(nullptr, longAgo); }),
              "Sample needs a valid stream type.");
}

TEST(SampleUse, NamesTheEntryThatDoesNotExist) {
    TestType layout({{"x", Int32, 1}, {"s", String, 0}});
    const std::string wrongId = "Entry 2 does not exist in stream type 'Root.Pos', which has 2.";
    const std::string noType = "Entry 0 does not exist: the sample has no stream type.";
    const std::pair<unsigned short, std::string> cases[] = {{2, wrongId}, {0, noType}};
    for (const auto& [entry, message] : cases) {
        Sample sample(&layout.type, longAgo);
        if (entry == 0) {
            const Sample taken(std::move(sample));
        }
        const auto refused = [&](auto access) { return MessageOf<std::out_of_range>(access); };
        EXPECT_EQ(refused([&] { sample.GetInt32(entry, 0); }), message);
        EXPECT_EQ(refused([&] { sample.GetString(entry); }), message);
        EXPECT_EQ(refused([&] { ToString(&sample, entry, 0); }), message);
        EXPECT_EQ(refused([&] { sample.Set(entry, 0, 5); }), message);
        EXPECT_EQ(refused([&] { sample.Set(entry, "text"); }), message);
        EXPECT_EQ(sample.GetSize(entry), 0U);
        EXPECT_NO_THROW(sample.Resize(entry, 3));
        EXPECT_EQ(MessageOf<std::runtime_error>([&] { sample.Set(entry, 0, "1"); }),
                  "unknown type in ");
    }
}

template <class... Arguments>
concept CanSet = requires(Sample& sample, Arguments... arguments) {
    sample.Set(arguments...);
};

TEST(SampleUse, TakesTheIntegersOfThePlatformAndRefusesSlips) {
    static_assert(CanSet<unsigned short, const char*> && CanSet<unsigned short, std::string>);
    static_assert(CanSet<unsigned short, int, char*> && CanSet<unsigned short, int, bool>);
    static_assert(!CanSet<unsigned short, int> && !CanSet<unsigned short, double>);
    static_assert(!CanSet<unsigned short, char> && !CanSet<unsigned short, std::nullptr_t>);
    static_assert(!CanSet<unsigned short, int, int*> && !CanSet<unsigned short, int, void*>);
    static_assert(!CanSet<unsigned short, int, const Sample*>);
    static_assert(!CanSet<unsigned short, int, std::nullptr_t>);
    static_assert(!CanSet<unsigned short, int, void (*)()>);
    TestType layout({{"a", Int64, 1}, {"b", UInt64, 1}, {"c", Int8, 1}});
    Sample sample(&layout.type, longAgo);
    sample.Set(0, 0, std::int64_t{-5});
    sample.Set(1, 0, std::size_t{5});
    sample.Set(2, 0, std::int8_t{-6});
    EXPECT_EQ(BinaryOf(sample), BinaryForm({BytesOf(-5LL), BytesOf(5ULL), BytesOf(char{-6})}));
    EXPECT_NE(sample.GetTimeStamp(), longAgo);
}

TEST(SampleCopies, AreValues) {
    TestType layout({{"x", Int32, 1}, {"s", String, 0}});
    const Sample empty;
    Sample source(&layout.type, longAgo);
    const std::string binary = BinaryForm({BytesOf(17), "abc"});
    ReadBinary(source, binary);
    Sample copy(source);
    Sample assigned(empty);
    assigned = source;
    Sample& self = assigned;
    assigned = self;
    for (Sample* same : {&copy, &assigned}) {
        EXPECT_EQ(BinaryOf(*same), binary);
        EXPECT_EQ(same->GetTimeStamp(), longAgo);
        same->Set(1, "changed");
        EXPECT_EQ(BinaryOf(source), binary);
    }
    copy = empty;
    assigned = Sample(std::move(source));
    EXPECT_EQ(BinaryOf(assigned), binary);
    for (const Sample& none : {Sample(), Sample(empty), Sample(source), Sample(copy)}) {
        EXPECT_EQ(none.GetStreamType(), nullptr);
        EXPECT_EQ(none.GetSerializedSizeInBytes(), 0U);
        EXPECT_EQ(BinaryOf(none), "");
    }
}

TEST(SampleMemory, IsNotLeftWhenTheTypeChangesAfterwards) {
    // Whatever can be done, for a sanitizer to look at.
    const auto touchAll = [](Sample& sample, unsigned short entry) {
        const auto touch = [](auto&& action) { MessageOf<std::runtime_error>(action); };
        touch([&] { sample.GetInt64(entry, 0); });
        touch([&] { sample.GetString(entry); });
        touch([&] { sample.Set(entry, 1, 5LL); });
        touch([&] { sample.Set(entry, 3, "77"); });
        touch([&] { sample.Set(entry, "some text"); });
        touch([&] { sample.Resize(entry, 3); });
        sample = Sample(sample);
    };
    for (const BaseType added : {Int64, Double, String}) {
        TestType layout({{"x", Int16, 1}, {"s", String, 3}});
        Sample sample(&layout.type, longAgo);
        const std::string before = BinaryOf(sample);
        layout.type.Add("new", added, 2);
        EXPECT_EQ(sample.GetSize(2), 0U);
        touchAll(sample, 2);
        EXPECT_EQ(BinaryOf(sample), before);

        Sample longer(&layout.type, longAgo);
        const std::string initial = BinaryOf(longer);
        layout.type.Remove(1);
        longer.Resize(2, 2);
        EXPECT_EQ(BinaryOf(longer), initial) << "the entry is gone";
        for (unsigned short entry = 0; entry < 2; ++entry) {
            touchAll(longer, entry);
        }
        EXPECT_EQ(BinaryOf(longer).size(), longer.GetSerializedSizeInBytes());
    }
}

// Overrides operations that the sample itself calls.
struct Overriding : Sample {
    using Sample::Sample;
    unsigned int GetSize(unsigned short) const override { return 1; }
    void Resize(unsigned short entry, unsigned int) override { Sample::Resize(entry, 2); }
    StreamType* GetStreamType() const override { return other; }
    StreamType* other = nullptr;
};

TEST(SampleOverrides, AreCalledByTheSample) {
    TestType layout({{"x", Int32, 2}, {"s", String, 4}});
    TestType other({{"y", Float, 2}, {"x", String, 4}});
    Overriding sample(&layout.type, longAgo);
    sample.other = &other.type;
    EXPECT_THROW(sample.GetInt32(0, 0), TypeMismatchException);
    EXPECT_EQ(sample.GetFloat(0, 0), 0.0F);
    EXPECT_THROW(sample.GetFloat(0, 1), std::out_of_range);
    sample.Set(1, "abcdef");
    EXPECT_EQ(sample.GetString(1), "a");
    EXPECT_EQ(BinaryOf(sample), BinaryForm({std::string(8, '\0'), "ab"}));
    EXPECT_EQ(sample.EntryId("x"), 1);
}

// Reports more elements than its memory holds.
struct Oversized : Sample {
    using Sample::Sample;
    unsigned int GetSize(unsigned short) const override { return 1000; }
};

TEST(SampleOverrides, DoNotLeadOutOfMemory) {
    TestType layout({{"x", Int32, 2}, {"b", Int8, 4}});
    Oversized sample(&layout.type, longAgo);
    layout.type.Add("later", Int32, 1);
    sample.Set(0, 2, 7);
    EXPECT_EQ(sample.GetInt32(0, 1), 0);
    const std::string before = BinaryOf(sample);
    const std::pair<unsigned short, unsigned int> outside[] = {
        {0, 3}, {0, 999}, {1, 3}, {2, 0}, {2, 999}};
    for (const auto& [entry, index] : outside) {
        const auto refused = [&](auto access) { return MessageOf<std::out_of_range>(access); };
        EXPECT_EQ(refused([&] { sample.GetInt8(entry, 4 * index); }), "Index out of range.");
        EXPECT_EQ(refused([&] { sample.Set(entry, 4 * index, 'x'); }), "Index out of range.");
        EXPECT_EQ(refused([&] { sample.GetString(entry); }), "Index out of range.");
    }
    EXPECT_EQ(BinaryOf(sample), before);
}

TEST(SampleText, OfFloatingPointIsThatOfAnOutputStream) {
    TestType layout({{"f", Float, 1}, {"d", Double, 1}});
    Sample sample(&layout.type, longAgo);
    Random random;
    const CommaLocale comma;
    const auto written = [](auto value) {
        std::ostringstream out;
        out.imbue(std::locale::classic());
        out.precision(std::numeric_limits<decltype(value)>::digits10);
        out << value;
        return out.str();
    };
    std::vector<double> values = {999999.5, 999999999999999.5, 0.0001, -0.0,
                                  INFINITY, -INFINITY,         NAN,    -NAN};
    for (int i = 0; i < 20000; ++i) {
        values.push_back(i % 2 == 0 ? random.Below(100000) / 1000.0
                                    : std::bit_cast<double>(random.Bits()));
    }
    for (const double value : values) {
        const auto small =
            std::bit_cast<float>(static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(value)));
        for (const float single : {static_cast<float>(value), small}) {
            sample.Set(0, 0, single);
            ASSERT_EQ(ToString(&sample, 0, 0), written(single));
        }
        sample.Set(1, 0, value);
        ASSERT_EQ(ToString(&sample, 1, 0), written(value));
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
