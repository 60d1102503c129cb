// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/random.h"
#include "support/ring_model.h"

#include <gtest/gtest.h>

#include <vector>

namespace velmora::test {
namespace {

TEST(SampleRing, BehavesAsAModelUnderRandomOperations) {
    Random random;
    for (int maxSize = 1; maxSize <= 17; ++maxSize) {
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

}  // namespace
}  // namespace velmora::test
