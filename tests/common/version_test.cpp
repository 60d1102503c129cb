// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "common/version.h"

#include "support/thrown.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unordered_set>

namespace velmora::utils {
namespace {

TEST(VersionText, KeepsEveryPartUpToItsLimitAndRefusesTheRest) {
    EXPECT_EQ(Version(1, 2, 256).ToString(), "1.2.256");
    EXPECT_EQ(Version("007.010.00001").ToString(), "7.10.1");
    for (const std::string text : {"0.0.0", "0.0.256", "255.255.65535"}) {
        EXPECT_EQ(Version(text).ToString(), text);
    }
    for (const std::string text :
         {"", "1.0", "1.0.", ".1.0", "1..0", "1.0.0.", "1.0.0.0", "256.0.0", "0.256.0", "0.0.65536",
          "-1.0.0", "+1.0.0", " 1.0.0", "1.0.0 ", "1,0,0", "0x1.0.0", "1.0.99999999999999999999"}) {
        EXPECT_EQ(test::MessageOf<std::invalid_argument>([&] { Version{text}; }),
                  "'" + text + "' is not a version such as '1.0.0'.");
    }
    EXPECT_THROW(Version(std::string("1.0.0\0", 6)), std::invalid_argument);
}

TEST(Version, OrdersAddsAndSubtractsAsOneNumber) {
    const auto make = [](std::uint32_t number) {
        return Version(static_cast<unsigned char>(number >> 24U),
                       static_cast<unsigned char>(number >> 16U),
                       static_cast<unsigned short>(number));
    };
    const std::uint32_t numbers[] = {0,         1,         0xFFFF,     0x10000,    0xFF0000,
                                     0x1000000, 0x1FFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF};
    for (const std::uint32_t a : numbers) {
        for (const std::uint32_t b : numbers) {
            EXPECT_TRUE((make(a) <=> make(b)) == (a <=> b)) << a << " and " << b;
            EXPECT_EQ((make(a) += make(b)).ToString(), make(a + b).ToString()) << a << " + " << b;
            EXPECT_TRUE((make(a) -= make(b)) == make(a - b)) << a << " - " << b;
        }
    }
}

TEST(Version, HasThreePartsATextAndAHash) {
    const Version version(1, 2, 256);
    EXPECT_EQ(version.GetFirst(), 1);
    EXPECT_EQ(version.GetSecond(), 2);
    EXPECT_EQ(version.GetThird(), 256);
    std::ostringstream out;
    out << version << ' ' << Version::Latest();
    EXPECT_EQ(out.str(), "1.2.256 255.255.65535");
    const std::unordered_set<Version> versions = {version, Version(1, 2, 256), Version(1, 2, 0)};
    EXPECT_EQ(versions.size(), 2U);
}

}  // namespace
}  // namespace velmora::utils
