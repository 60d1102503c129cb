// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/random.h"
#include "support/ring_model.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace velmora::test
