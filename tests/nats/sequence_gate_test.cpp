// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/sequence_gate.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::nats {
namespace {

// Offers numbers, and lists those that pass at each step. `+` lets 21 s pass; `!` and a number
// declares that nothing up to it will come.
std::string Pass(std::optional<std::uint64_t> last, std::size_t maxHeld, std::string_view offers,
                 std::uint64_t& missing) {
    SequenceGate gate(last, maxHeld, std::chrono::seconds(20));
    SequenceGate::Clock::time_point now;
    std::string text;
    for (; !offers.empty(); offers.remove_prefix(1)) {
        std::vector<Numbered> passed;
        if (offers.front() == '+') {
            now += std::chrono::seconds(21);
            missing += gate.TakeReady(now, passed);
        } else if (offers.front() == '!') {
            offers.remove_prefix(1);
            gate.SetComplete(static_cast<std::uint64_t>(offers.front() - '0'));
            continue;
        } else {
            exchange::FrameHeader header;
            header.sequence = static_cast<std::uint64_t>(offers.front() - '0');
            if (gate.IsNew(header.sequence)) {
                missing += gate.Offer({header, nullptr}, now, passed);
            } else {
                text += 'x';
            }
        }
        for (const Numbered& ready : passed) {
            text += std::to_string(ready.header.sequence);
        }
        text += ' ';
    }
    return text;
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
        {0, 9, "1!34", "1 4 ", 2},        {0, 9, "1!25", "1  ", 0},
        {0, 9, "15!46", "1  56 ", 3},     {0, 9, "137!28", "1   3 ", 1},
    };
    for (const Row& row : rows) {
        std::uint64_t missing = 0;
        EXPECT_EQ(Pass(row.last, row.maxHeld, row.offers, missing), row.passed) << row.offers;
        EXPECT_EQ(missing, row.missing) << row.offers;
    }
}

}  // namespace
}  // namespace velmora::nats
