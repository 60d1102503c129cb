// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/random.h"
#include "support/ring_model.h"
#include "tessaryn/run_list.h"
#include "tessaryn/sample_numbers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace velmora::test {
namespace {

using core::tessaryn::RunList;

TEST(SampleRing, BehavesAsAModelUnderRandomOperations) {
    Random random;
    // The largest has more breaks in the order of time than are kept.
    for (const int maxSize : {1, 2, 3, 4, 5, 7, 8, 15, 17, 60}) {
        for (const auto& mix : {ModelledStream::FillingMix(), ModelledStream::DrainingMix()}) {
            ModelledStream modelled(maxSize, mix, random);
            for (int step = 0; step < 150; ++step) {
                ASSERT_NO_FATAL_FAILURE(modelled.Step());
            }
        }
    }
    EXPECT_EQ(CountedSample::live, 0);
}

// A fill pushes twice into a full ring and then stamps its own sample, by then the oldest, late.
TEST(SampleRing, LooksForTheOrderAnewAfterACallbackThatPushed) {
    TestType layout{{"id", core::tessaryn::Int32, 1}};
    Stream stream(&layout.type, 3);
    const auto push = [&](int number) {
        stream.PushNew([number](Sample& sample) { sample.Set(0, 0, number); });
    };
    push(1);
    push(2);
    const Timestamp late = Timestamp::TIMEVAL_MAX;
    stream.PushNew([&](Sample& live) {
        live.Set(0, 0, 3);
        push(4);
        push(5);
        EXPECT_EQ(AllOf(stream).size(), 3U);
        live = Restamped(live, late);
    });
    EXPECT_EQ(Ask([&](auto f) { stream.GetSince(late, f); }), std::vector<int>{3});
}

TEST(SampleRing, NoticesEachWayOfStampingALiveSample) {
    const struct {
        const char* name;
        std::function<void(Sample&)> stamp;
    } ways[] = {{"setter", [](Sample& live) { live.Set(0, 0, 2); }},
                {"text setter", [](Sample& live) { live.Set(1, std::string("abc")); }},
                {"numbers", [](Sample& live) { core::tessaryn::SetNumber(live, 0, 0, 2); }},
                {"assigned", [](Sample& live) { live = Restamped(live, Timestamp(5)); }},
                {"copied to",
                 [](Sample& live) {
                     const Sample earlier = Restamped(live, Timestamp(5));
                     live = earlier;
                 }},
                {"exchanged", [](Sample& live) {
                     Sample earlier = Restamped(live, Timestamp(5));
                     earlier = std::move(live);
                 }}};
    const Timestamp late = Timestamp::TIMEVAL_MAX;
    TestType layout{{"id", core::tessaryn::Int32, 1}, {"text", core::tessaryn::String, 0}};
    for (const auto& way : ways) {
        Stream stream(&layout.type, 4);
        for (int number = 1; number <= 3; ++number) {
            Sample sample(&layout.type, Timestamp());
            sample.Set(0, 0, number);
            stream.PushNew(new Sample(Restamped(std::move(sample), late)));
        }
        const auto lateOnes = [&] { return Ask([&](auto f) { stream.GetSince(late, f); }); };
        stream.GetAll([&](const std::vector<Sample*>& samples) {
            way.stamp(*samples[1]);
            EXPECT_EQ(lateOnes(), (std::vector<int>{1, 3})) << way.name;
        });
        EXPECT_EQ(lateOnes(), (std::vector<int>{1, 3})) << way.name;
    }
}

// Times in no order have a break at every other sample.
TEST(RunList, KeepsABoundedNumberOfBreaksAndLosesThemWithTheSamples) {
    constexpr RunList::Position count = 3200;
    Random random;
    RunList runs;
    std::vector<std::uint64_t> times{random.Bits()};
    const auto isBreak = [&](RunList::Position position) {
        return times[position] < times[position - 1];
    };
    for (RunList::Position end = 1; end < 3 * count; ++end) {
        times.push_back(end < 2 * count ? random.Bits() >> 1 : end << 50);
        const RunList::Position first = end < count ? 0 : end - count;
        runs.DropBefore(first);
        runs.Update(end, end, count, isBreak);
        ASSERT_LE(runs.GetBreaks(first, end + 1).size(), 16 + count / 16);
        for (const RunList::Position each : runs.GetBreaks(first, end + 1)) {
            ASSERT_TRUE(isBreak(each)) << each;
        }
    }
    EXPECT_TRUE(runs.IsRun(2 * count));
}

}  // namespace
}  // namespace velmora::test
