// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/sequence_gate.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace velmora::nats {
namespace {

// Offers numbers, `+` between which 21 s pass, and lists what passes at each.
std::string Pass(std::optional<std::uint64_t> last, std::size_t maxHeld, const std::string& offers,
                 std::uint64_t& missing) {
    SequenceGate gate(last, maxHeld);
    SequenceGate::Clock::time_point now;
    std::string passed;
    for (const char offer : offers) {
        if (offer == '+') {
            now += std::chrono::seconds(21);
        } else {
            exchange::FrameHeader header;
            header.sequence = static_cast<std::uint64_t>(offer - '0');
            if (gate.IsNew(header.sequence)) {
                gate.Offer({header, {}, nullptr}, now);
            } else {
                passed += 'x';
            }
        }
        for (const auto& ready : gate.TakeReady(now, missing)) {
            passed += std::to_string(ready.header.sequence);
        }
        passed += ' ';
    }
    return passed;
}

TEST(SequenceGate, PassesEachNumberOnceAndInOrder) {
    struct Row {
        std::optional<std::uint64_t> last;
        std::size_t maxHeld;
        const char* offers;
        const char* passed;
        std::uint64_t missing;
    };
    const Row rows[] = {
        {0, 9, "123", "1 2 3 ", 0},       {0, 9, "1324", "1  23 4 ", 0},
        {0, 9, "4321", "   1234 ", 0},    {std::nullopt, 9, "54678", "5 x 6 7 8 ", 0},
        {3, 9, "12345", "x x x 4 5 ", 0}, {0, 9, "1133344", "1 x  x x  x ", 0},
        {0, 9, "14+5", "1  4 5 ", 2},     {0, 9, "14+2", "1  4 x ", 2},
        {0, 2, "1579", "1   5 ", 3},      {0, 2, "157+98", "1   5  789 ", 4},
    };
    for (const Row& row : rows) {
        std::uint64_t missing = 0;
        EXPECT_EQ(Pass(row.last, row.maxHeld, row.offers, missing), row.passed) << row.offers;
        EXPECT_EQ(missing, row.missing) << row.offers;
    }
}

}  // namespace
}  // namespace velmora::nats
