// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "common/version.h"

#include "common/base_exception.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::utils {
namespace {

TEST(VersionText, KeepsEveryPartUpToItsLimit) {
    const struct {
        Version version;
        const char* text;
    } cases[] = {
        {Version(), "0.0.0"},
        {Version(1, 0, 0), "1.0.0"},
        {Version(0, 1, 0), "0.1.0"},
        {Version(0, 0, 256), "0.0.256"},
        {Version::SmallestDelta(), "0.0.1"},
        {Version::Latest(), "255.255.65535"},
    };
    for (const auto& [version, text] : cases) {
        EXPECT_EQ(version.ToString(), text);
        EXPECT_EQ(Version(std::string(text)), version) << text;
    }
    EXPECT_EQ(Version("007.010.00001").ToString(), "7.10.1");
}

TEST(VersionText, RefusesAndQuotesWhatIsNoVersion) {
    const std::vector<std::string> texts = {"",
                                            "1",
                                            "1.0",
                                            "1.0.",
                                            ".1.0",
                                            "1..0",
                                            "1.0.0.",
                                            "1.0.0.0",
                                            "256.0.0",
                                            "0.256.0",
                                            "0.0.65536",
                                            "-1.0.0",
                                            "+1.0.0",
                                            " 1.0.0",
                                            "1.0.0 ",
                                            "1. 0.0",
                                            "1,0,0",
                                            "0x1.0.0",
                                            "a.b.c",
                                            "1.0.0a",
                                            std::string("1.0.0\0", 6),
                                            "1.0.99999999999999999999"};
    for (const std::string& text : texts) {
        try {
            const Version version(text);
            ADD_FAILURE() << '"' << text << "\" gave " << version.ToString();
        } catch (const std::invalid_argument& exception) {
            EXPECT_STREQ(exception.what(),
                         ("'" + text + "' is not a version such as '1.0.0'.").c_str());
        }
    }
}

TEST(VersionOrder, IsThatOfOneNumber) {
    const std::vector<Version> ascending = {
        Version(),          Version(0, 0, 1),   Version(0, 0, 65535),     Version(0, 1, 0),
        Version(0, 1, 1),   Version(0, 255, 0), Version(1, 0, 0),         Version(1, 0, 65535),
        Version(127, 0, 0), Version(128, 0, 0), Version(255, 255, 65534), Version::Latest()};
    for (std::size_t a = 0; a < ascending.size(); ++a) {
        for (std::size_t b = 0; b < ascending.size(); ++b) {
            const std::string pair = ascending[a].ToString() + " and " + ascending[b].ToString();
            EXPECT_EQ(ascending[a] < ascending[b], a < b) << pair;
            EXPECT_EQ(ascending[a] > ascending[b], a > b) << pair;
            EXPECT_EQ(ascending[a] == ascending[b], a == b) << pair;
            EXPECT_EQ(ascending[a] != ascending[b], a != b) << pair;
            Version delta = ascending[a];
            delta -= ascending[b];
            Version sum = ascending[b];
            sum += delta;
            EXPECT_EQ(sum, ascending[a]) << pair;
        }
    }
}

TEST(VersionArithmetic, CarriesBetweenPartsAndWraps) {
    const struct {
        Version left;
        Version right;
        const char* sum;
        const char* difference;
    } cases[] = {
        {Version(1, 0, 0), Version(0, 0, 1), "1.0.1", "0.255.65535"},
        {Version(0, 0, 65535), Version(0, 0, 1), "0.1.0", "0.0.65534"},
        {Version(1, 255, 65535), Version(0, 0, 1), "2.0.0", "1.255.65534"},
        {Version::Latest(), Version(0, 0, 1), "0.0.0", "255.255.65534"},
        {Version(), Version(0, 0, 1), "0.0.1", "255.255.65535"},
    };
    for (const auto& [left, right, sum, difference] : cases) {
        Version result = left;
        EXPECT_EQ((result += right).ToString(), sum);
        result = left;
        EXPECT_EQ((result -= right).ToString(), difference);
    }
}

TEST(BaseException, IsCaughtByEitherBaseWithItsWholeText) {
    const std::string text("100 % of\nwhat was said");
    EXPECT_THROW(throw BaseException(text), std::runtime_error);
    try {
        throw BaseException(text);
    } catch (const std::exception& exception) {
        EXPECT_EQ(exception.what(), text);
    }
}

}  // namespace
}  // namespace velmora::utils
