// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// \file
/// The processes that are killed: a publisher of numbered samples that goes on where the one before
/// ended, and a follower that keeps what it was told in a file.

namespace velmora::test {

inline constexpr std::uint32_t numTanks = 3;

/// What a follower keeps of a sample.
struct Record {
    std::uint32_t tank = 0;
    std::uint32_t numbering = 0;
    std::uint64_t sequence = 0;
    std::int64_t time = 0;
    std::int64_t level = 0;
};

/// Sample number `level` of all, from 1; they are dealt out to the tanks in turn.
inline std::uint32_t TankOf(std::int64_t level) {
    return static_cast<std::uint32_t>(level % numTanks);
}
/// Its number among those of its tank, from 1.
inline std::uint64_t SequenceOf(std::int64_t level) {
    return static_cast<std::uint64_t>(level + numTanks - 1) / numTanks;
}
/// Its time, in microseconds since the Unix epoch: ascending in uneven steps.
inline std::int64_t TimeOf(std::int64_t level) {
    constexpr std::int64_t begin = 1700000000000000;
    return begin + level * 1000 + level * 7919 % 500;
}

/// The records of a file, without a last one that is not complete.
std::vector<Record> ReadRecords(const std::string& file);

/// Publishes samples up to a number, from where the server has them on; returns when the server
/// has acknowledged all, and writes its counts to a file.
void Publish(const std::string& urls, std::int64_t count, int replicas, const std::string& report);

/// Follows until the file has as many records as there are samples.
void Follow(const std::string& urls, std::int64_t count, const std::string& name,
            const std::string& file);

}  // namespace velmora::test
