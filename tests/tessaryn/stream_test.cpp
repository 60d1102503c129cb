// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/allocation_probe.h"
#include "support/ring_model.h"
#include "support/thrown.h"
#include "tessaryn/rules.h"
#include "tessaryn/sample_time.h"
#include "tessaryn/scoped_subscription.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <functional>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

TEST(StreamQueries, OfASpanLookBackFromThePresent) {
    constexpr long long day = 86400000000;
    const long long present = Timestamp().epochMicroseconds();
    TestType layout{{"id", Int32, 1}};
    Stream stream(&layout.type, 9);
    for (const long long time : {LLONG_MIN, -1LL, present, LLONG_MAX}) {
        Sample sample(&layout.type, Timestamp());
        sample.Set(0, 0, stream.GetNumSamples() + 1);
        stream.PushNew(new Sample(Restamped(std::move(sample), Timestamp(time))));
    }
    const struct {
        const char* name;
        long long span;
        std::vector<int> numbers;
    } cases[] = {{"a day", day, {3, 4}},
                 {"from tomorrow on", -day, {4}},
                 {"to a day before the epoch", present + day, {2, 3, 4}},
                 {"to an hour after the epoch", present - day / 24, {3, 4}},
                 {"the largest", LLONG_MAX, {2, 3, 4}},
                 {"the smallest, beyond all times", LLONG_MIN, {}}};
    for (const auto& each : cases) {
        EXPECT_EQ(Ask([&](auto f) { stream.GetLast(Poco::Timespan(each.span), f); }), each.numbers)
            << each.name;
    }
    EXPECT_EQ(Ask([&](auto f) { stream.GetLast(std::chrono::hours(24), f); }),
              (std::vector<int>{3, 4}));
}

TEST(StreamQueries, ForTheNewestSampleMayFindNone) {
    TestType layout{{"id", Int32, 1}};
    Stream stream(&layout.type, 2);
    int calls = 0;
    const auto count = [&](const Sample&) { ++calls; };
    EXPECT_FALSE(stream.TryGetLatest(count));
    EXPECT_FALSE(stream.TryGetLatest({}));
    stream.PushNew([](Sample&) {});
    EXPECT_TRUE(stream.TryGetLatest(count));
    EXPECT_THROW(stream.TryGetLatest({}), std::bad_function_call);
    EXPECT_EQ(calls, 1);
}

TEST(StreamPushes, LeaveASampleThatDoesNotFitWithTheCaller) {
    TestType layout{{"id", Int32, 1}};
    TestType foreign{{"id", Int32, 1}};
    Stream stream(&layout.type, 2);
    auto sample = std::make_unique<Sample>(&foreign.type, Poco::Timestamp(7));
    const Sample* const raw = sample.get();
    EXPECT_FALSE(stream.TryPush(std::move(sample)));
    EXPECT_EQ(sample.get(), raw);
    EXPECT_FALSE(stream.TryPush(nullptr));
    EXPECT_TRUE(stream.IsEmpty());

    sample = std::make_unique<Sample>(&layout.type, Poco::Timestamp(7));
    {
        // The slots cannot grow.
        const AllocationProbe probe(0);
        EXPECT_THROW(stream.TryPush(std::move(sample)), std::bad_alloc);
    }
    ASSERT_NE(sample, nullptr);
    EXPECT_TRUE(stream.TryPush(std::move(sample)));
    EXPECT_EQ(sample, nullptr);
    stream.GetLatest(
        [](const Sample& latest) { EXPECT_EQ(latest.GetTimeStamp(), Poco::Timestamp(7)); });
}

TEST(StreamPops, ReportTheRemovedSample) {
    TestType layout{{"id", Int32, 1}};
    Stream stream(&layout.type, 2);
    Sample copy(&layout.type, Poco::Timestamp(1));
    EXPECT_FALSE(stream.TryPopLatest());
    EXPECT_FALSE(stream.TryPopLatest(&copy));
    EXPECT_EQ(copy.GetTimeStamp(), Poco::Timestamp(1));
    for (const int id : {5, 6}) {
        stream.PushNew([id](Sample& sample) { sample.Set(0, 0, id); });
    }
    int notified = 0;
    stream.Subscribe(SubscriptionOf(1, [&](Stream&, SubscriptionArgs& args) {
        EXPECT_EQ(args.changeType, popped);
        ++notified;
    }));
    EXPECT_TRUE(stream.TryPopLatest(&copy));
    EXPECT_EQ(copy.GetInt32(0, 0), 6);
    EXPECT_TRUE(stream.TryPopLatest());
    EXPECT_FALSE(stream.TryPopLatest());
    EXPECT_EQ(copy.GetInt32(0, 0), 6);
    EXPECT_EQ(notified, 2);
}

TEST(StreamPushes, AreCountedEvenIfTheSamplesAreGone) {
    TestType layout{{"id", Int32, 1}};
    Stream stream(&layout.type, 3);
    const auto push = [&](int count) {
        for (int i = 0; i < count; ++i) {
            stream.PushNew([](Sample&) {});
        }
        return stream.CountPushes();
    };
    EXPECT_EQ(push(5), 5U) << "two were overwritten";
    stream.PopLatest();
    EXPECT_EQ(push(0), 5U) << "one was popped";
    EXPECT_EQ(push(2), 7U);
    stream.Clear(Stream::clearSamples);
    EXPECT_EQ(push(0), 7U) << "three were cleared";
    EXPECT_EQ(push(1), 8U);
    EXPECT_FALSE(stream.TryPush(nullptr));
    EXPECT_EQ(push(0), 8U);
}

TEST(StreamMaking, TakesACapacityFromOneTo31Bits) {
    TestType layout{{"id", Int32, 1}};
    for (const long size : {0L, -1L, LONG_MIN, 2147483648L, 4294967297L}) {
        const std::string message =
            MessageOf<std::invalid_argument>([&] { Stream(&layout.type, size); });
        EXPECT_NE(message.find(std::to_string(size)), std::string::npos) << message;
    }
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { Stream(nullptr, 5); }),
              "Stream needs a valid stream type.");
    Stream stream(&layout.type, INT_MAX);
    for (int i = 0; i < 3; ++i) {
        stream.PushNew([&](Sample& sample) { sample.Set(0, 0, i); });
        EXPECT_EQ(AllOf(stream), std::vector<int>{i});
        // The index steps down to the last slot, far beyond those there are.
        stream.PopLatest();
        EXPECT_EQ(LatestOf(stream), none);
    }
}

TEST(StreamPushes, AllocateForTheirSamplesOnly) {
    TestType layout{{"id", Int32, 1}};
    Stream stream(&layout.type, 2);
    stream.PushNew(new Sample(&layout.type, Timestamp()));
    const std::function<void(Sample&)> fill = [](Sample& sample) { sample.Set(0, 0, 2); };
    const AllocationProbe probe;
    stream.PushNew(fill);
    stream.ChangeLatest(fill, true);
    EXPECT_EQ(AllocationProbe::Count(), 4);
    stream.PushNew(fill);
    EXPECT_EQ(AllocationProbe::Count(), 4 + 3);
    // In the memory of the one that it has overwritten.
    stream.PushNew(fill);
    EXPECT_EQ(AllocationProbe::Count(), 4 + 3);
}

TEST(StreamPushes, NotifyInTheMemoryOfTheNotificationBefore) {
    TestType layout{{"id", Int32, 1}, {"label", String, 2}};
    Stream stream(&layout.type, 2);
    std::string labels;
    const ScopedSubscription subscription(stream, rules::Always(), [&](SubscriptionArgs& args) {
        labels += args.sample->GetString(1) + ' ';
        switch (args.sample->GetInt32(0, 0)) {
            case 1:
                args.sample->Set(1, "of another length");
                break;
            case 2:
                args.sample->Set(1, "zz");
                break;
            case 3:
                static_cast<void>(Sample(std::move(*args.sample)));
                break;
            default:
                break;
        }
    });
    const auto push = [&](int id, const char* label) {
        stream.PushNew([&](Sample& sample) {
            sample.Set(0, 0, id);
            sample.Set(1, label);
        });
    };
    push(1, "aa");
    push(2, "bb");
    push(3, "cc");
    push(0, "dd");
    push(0, "ee");
    EXPECT_EQ(labels, "aa bb cc dd ee ");
    labels.clear();
    labels.reserve(100);
    const std::function<void(Sample&)> fill = [](Sample& sample) { sample.Set(0, 0, 0); };
    const AllocationProbe probe;
    stream.PushNew(fill);
    EXPECT_EQ(AllocationProbe::Count(), 0);
}

TEST(StreamPushes, BeginWithANewSampleAlsoInReusedMemory) {
    TestType layout{{"first", String, 2}, {"second", String, 3}, {"number", Int32, 2}};
    Stream stream(&layout.type, 1);
    const Timestamp begin;
    const struct {
        const char* name;
        std::function<void(Sample&)> fill;
    } cases[] = {
        {"same sizes", [](Sample& sample) { sample.Set(0, "ab"); }},
        {"same sum of sizes",
         [](Sample& sample) {
             sample.Set(0, "abc");
             sample.Set(1, "de");
         }},
        {"longer", [](Sample& sample) { sample.Set(1, std::string(90, 'x')); }},
        {"shorter", [](Sample& sample) { sample.Resize(2, 0); }},
        {"another time", [](Sample& sample) { SetTimeStamp(sample, Timestamp(5)); }},
        {"moved from", [](Sample& sample) { sample = Sample(sample); }},
    };
    for (const auto& each : cases) {
        const auto fill = [&](Sample& sample) {
            sample.Set(2, 1, 77);
            each.fill(sample);
        };
        for (int i = 0; i < 3; ++i) {
            // The memory of the first is that of the third.
            stream.PushNew(fill);
            stream.PushNew(fill);
            stream.PushNew([&](Sample& sample) {
                std::ostringstream bytes;
                std::ostringstream expected;
                sample.Serialize(bytes);
                Sample(&layout.type, begin).Serialize(expected);
                EXPECT_EQ(bytes.str(), expected.str()) << each.name;
                EXPECT_GE(sample.GetTimeStamp(), begin) << each.name;
                EXPECT_EQ(sample.GetStreamType(), &layout.type) << each.name;
            });
        }
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
