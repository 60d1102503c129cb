// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "support/node_builder.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmora::test {

inline const core::serialization::NodeSerializer serializer;

/// Levels of groups for a test that locks them all at once: GCC's thread sanitizer keeps account of
/// 64 locks of a thread.
constexpr int LockedLevels([[maybe_unused]] int levels) {
#ifdef __SANITIZE_THREAD__
    return 40;
#else
    return levels;
#endif
}

/// A repository of types that holds versions 1.0.0 and 2.0.0 of "a/Pos".
class StreamTypesTest : public testing::Test {
  protected:
    Poco::Logger& logger = Poco::Logger::get("repositories");
    core::tessaryn::StreamTypeRepository types{logger, '/'};
    core::tessaryn::StreamType* const oldPos = &types.Add("a/Pos")->Add({1, 0, 0});
    core::tessaryn::StreamType* const pos =
        &types["a/Pos"].Add({2, 0, 0}).Add("x", core::tessaryn::Int32, 1);
};

/// \name Nodes of streams
///@{
inline NodeSpec SampleSpec(const std::string& time, const std::vector<NodeSpec>& entries = {}) {
    return List("Sample", {Value("TimeStamp", time), List("Entries", entries)});
}

/// A stream of the type "a/Pos" in a group.
inline NodeSpec StreamSpec(const std::string& name, const std::vector<std::string>& times,
                           const std::string& maxSize = "9") {
    std::vector<NodeSpec> samples;
    for (const std::string& time : times) {
        samples.push_back(SampleSpec(time));
    }
    return List("Stream", {Value("Name", name), Value("Type", "a/Pos"), Value("MaxSize", maxSize),
                           List("Samples", samples)});
}
///@}

/// The times of all samples in storage order.
inline std::string TimesOf(const core::tessaryn::Stream& stream) {
    std::string times;
    stream.GetAll([&](const std::vector<core::tessaryn::Sample*>& samples) {
        for (const core::tessaryn::Sample* sample : samples) {
            times += std::to_string(sample->GetTimeStamp().epochMicroseconds()) + " ";
        }
    });
    return times;
}

}  // namespace velmora::test
