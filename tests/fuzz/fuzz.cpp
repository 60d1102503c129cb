// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/fuzz.h"

#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>

namespace {

// Ends the process at a failed assertion, after GoogleTest has printed it.
class Finding : public testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult& result) override {
        if (result.failed()) {
            std::abort();
        }
    }
};

}  // namespace

// NOLINTBEGIN(readability-identifier-naming): the fuzzer's names
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    testing::UnitTest::GetInstance()->listeners().Append(new Finding);
    Poco::Logger::root().setLevel("none");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    velmora::test::Fuzz({reinterpret_cast<const char*>(bytes), size});
    return 0;
}
// NOLINTEND(readability-identifier-naming)
