// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/fuzz.h"
#include "support/sample_model.h"
#include "support/subscribers.h"
#include "tessaryn/sample_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace velmora::test {

namespace {

using namespace core::tessaryn;
// A stream takes the bytes as a sample by itself does.
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
    for (const StreamSubscription& subscription : subscriptions) {
        stream.Subscribe(subscription);
    }
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
    static TestType small{{"a", Int32, 2}, {"s", String, 0}};
    static TestType all{{"a", Int8, 2},  {"b", Int16, 1},  {"c", Int32, 2},  {"d", Int64, 1},
                        {"e", UInt8, 1}, {"f", UInt16, 1}, {"g", UInt32, 1}, {"h", UInt64, 1},
                        {"i", Float, 1}, {"j", Double, 1}, {"k", Bool, 2},   {"s", String, 3}};
    static TestType text{{"s", String, 5}};
    static TestType* const types[] = {&small, &all, &text};
    ByteChoices choices(input);
    StreamType& type = types[choices.Below(3)]->type;
    ByteChoices uses(choices.Take(3 * choices.Below(30)));
    std::vector<std::string> entries;
    for (unsigned short i = 0; i < type.GetNumEntries(); ++i) {
        entries.emplace_back(SizeOf(type.GetType(i)) * choices.Below(4), '\7');
    }
    const std::string before = BinaryForm(entries);
    const std::string bytes(choices.Take(input.size()));

    Sample sample(&type, Poco::Timestamp());
    ReadBinary(sample, before);
    ASSERT_EQ(BinaryOf(sample), before);
    ReadBinary(sample, bytes);
    const std::string after = BinaryOf(sample);
    ASSERT_LE(after.size(), std::max(before.size(), bytes.size())) << "longer than what came";
    ASSERT_EQ(sample.GetSerializedSizeInBytes(), after.size());
    if (CheckSample(bytes, type).empty()) {
        ASSERT_EQ(after, bytes) << "checked bytes are not those of the sample";
    }
    Sample again(&type, Poco::Timestamp());
    ReadBinary(again, after);
    ASSERT_EQ(BinaryOf(again), after) << "what was written is not read";
    ExpectSameInStream(type, before, bytes);

    samples::SampleModel modelled(type, after, uses);
    while (!uses.Done()) {
        modelled.Step();
    }
}

}  // namespace velmora::test
