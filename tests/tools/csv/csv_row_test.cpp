// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "csv/csv_row.h"

#include "support/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace velmora::tool {
namespace {

TEST(CsvRow, SplitsAtSeparatorsWhereverTheyStand) {
    test::Random random;
    // A row that replaces another has its own fields only.
    CsvRow row;
    for (int i = 0; i < 5000; ++i) {
        std::string text;
        for (unsigned length = random.Below(200); length > 0; --length) {
            text += "abc\xff,, \t\x01"[random.Below(9)];
        }
        std::string wanted;
        std::size_t fields = 1;
        for (std::size_t from = 0;; ++fields) {
            const std::size_t to = std::min(text.find(',', from), text.size());
            std::string field = text.substr(from, to - from);
            field.erase(0, std::min(field.find_first_not_of(" \t"), field.size()));
            field.erase(field.find_last_not_of(" \t") + 1);
            wanted += field + "|";
            if (to == text.size()) {
                break;
            }
            from = to + 1;
        }
        EXPECT_TRUE(row.Split(text, ',', 7));
        // A copy has its own text, which outlives the line.
        const CsvRow copy(row);
        const std::string line = text;
        text.assign(text.size(), '?');
        std::string got;
        for (std::size_t field = 0; field < copy.Size(); ++field) {
            got += std::string(copy[field]) + "|";
        }
        ASSERT_EQ(got, wanted) << line;
        EXPECT_EQ(copy.Size(), fields);
        EXPECT_EQ(copy.line, 7U);
        for (const char special : {'"', '\r'}) {
            std::string marked = line;
            marked.insert(random.Below(static_cast<unsigned>(line.size() + 1)), 1, special);
            EXPECT_FALSE(row.Split(marked, ',', 1)) << marked;
        }
    }
}

}  // namespace
}  // namespace velmora::tool
