// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/fuzz.h"
#include "support/ring_model.h"

// The bytes are operations on a stream, those of its callbacks included. After each operation the
// stream has the samples, answers and notifications of the model.
void velmora::test::Fuzz(std::string_view input) {
    ByteChoices choices(input);
    {
        const int maxSize = static_cast<int>(1 + choices.Below(9));
        ModelledStream modelled(
            maxSize,
            choices.Below(2) == 0 ? ModelledStream::FillingMix() : ModelledStream::DrainingMix(),
            choices);
        while (!choices.Done()) {
            modelled.Step();
        }
    }
    ASSERT_EQ(CountedSample::live, 0) << "samples are left";
}
