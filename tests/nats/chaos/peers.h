// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// \file The processes that are killed: a publisher of numbered samples that continues where its
/// predecessor ended, and a follower that writes received samples to a file.

namespace velmora::test {

inline constexpr std::uint32_t numTanks = 3;

/// A received sample in a follower's file.
struct Record {
    std::uint32_t tank = 0;
    std::uint32_t numbering = 0;
    std::uint64_t sequence = 0;
    std::int64_t time = 0;
    std::int64_t level = 0;
};

/// The tank of sample number `level`, from 1: samples are distributed to the tanks in turn.
inline std::uint32_t TankOf(std::int64_t level) {
    return static_cast<std::uint32_t>(level % numTanks);
}
/// The number of sample `level` among those of its tank, from 1.
inline std::uint64_t SequenceOf(std::int64_t level) {
    return static_cast<std::uint64_t>(level + numTanks - 1) / numTanks;
}
/// The time of sample `level`, in microseconds since the Unix epoch: ascending in uneven steps.
inline std::int64_t TimeOf(std::int64_t level) {
    constexpr std::int64_t begin = 1700000000000000;
    return begin + level * 1000 + level * 7919 % 500;
}

/// The complete records of a file.
std::vector<Record> ReadRecords(const std::string& file);

/// Publishes the samples up to number `count` that the server lacks. Returns when the server has
/// acknowledged all of them, and writes the publisher's counts to a file.
void Publish(const std::string& urls, std::int64_t count, int replicas, const std::string& report);

/// Follows until the file has as many records as there are samples.
void Follow(const std::string& urls, std::int64_t count, const std::string& name,
            const std::string& file);

}  // namespace velmora::test
