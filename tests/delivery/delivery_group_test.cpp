// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/delivery_group.h"

#include "delivery/stream_pattern.h"
#include "delivery/support.h"
#include "support/random.h"
#include "tessaryn/stream_repository.h"

#include <Poco/Logger.h>
#include <Poco/RegularExpression.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <string>

namespace velmora::test {
namespace {

using core::tessaryn::Always;
using core::tessaryn::StreamRepository;
using delivery::DeliveryGroup;
using delivery::StreamPattern;
using testing::ElementsAre;

// Whether the pattern matches as a regular expression.
bool ModelMatches(const std::string& pattern, const std::string& path) {
    std::string text;
    for (const char c : pattern) {
        text += c == '*' ? "[^/]*" : c == '>' ? ".*" : std::string(1, c);
    }
    return Poco::RegularExpression(text).match(path);
}

TEST(StreamPattern, AgreesWithRegularExpressions) {
    Random random;
    const std::vector<std::string> names = {"a", "b", "*"};
    int matches = 0;
    for (int round = 0; round < 3000; ++round) {
        const auto path = [&](unsigned kinds) {
            std::string text = names[random.Below(kinds)];
            for (unsigned more = random.Below(4); more > 0; --more) {
                text += "/" + names[random.Below(kinds)];
            }
            return text;
        };
        const std::string pattern = random.Below(3) == 0 ? path(3) + "/>" : path(3);
        const std::string candidate = path(2);
        const bool expected = ModelMatches(pattern, candidate);
        matches += expected ? 1 : 0;
        EXPECT_EQ(StreamPattern(pattern, '/').Matches(candidate), expected)
            << pattern << " and " << candidate;
    }
    EXPECT_GT(matches, 100);
}

TEST(StreamPattern, AtItsEdges) {
    const std::vector<std::tuple<const char*, const char*, bool>> cases = {
        {"a.>", "a", false},
        {"a*", "ab", false},
        {"a*", "a*", true},
        {"a.b", "a", false},
    };
    for (const auto& [pattern, path, expected] : cases) {
        EXPECT_EQ(StreamPattern(pattern, '.').Matches(path), expected)
            << pattern << " and " << path;
    }
    for (const char* const malformed : {"", ".a", "a.", "a..b", ">.a", "a.>.b", ">."}) {
        EXPECT_THROW(StreamPattern(malformed, '.'), std::invalid_argument) << malformed;
    }
}

class DeliveryGroupTest : public testing::Test {
  protected:
    DeliveryGroupTest() {
        number.Add("n", core::tessaryn::Int32, 1);
        text.Add("label", core::tessaryn::String, 0);
    }

    void Push(const std::string& path, int value) {
        repository.GetStream(path).PushNew([&](Sample& sample) { sample.Set(0, 0, value); });
    }
    DeliveryGroup SubscribeAll(const std::string& pattern, DeliveryOptions options = {}) {
        return dispatcher.SubscribeAll(
            repository, pattern, "n > 0",
            [this](const Change& change) {
                const std::lock_guard lock(mutex);
                received[change.path].push_back(NumberOf(change.sample));
            },
            std::move(options));
    }

    StreamType number;
    StreamType text;
    StreamRepository repository{Poco::Logger::root(), '/'};
    std::mutex mutex;
    std::map<std::string, std::vector<int>> received;
    Dispatcher dispatcher{2};
};

TEST_F(DeliveryGroupTest, FollowsStreamsThatComeAndGo) {
    repository.AddStream("plant/a/level", &number, 10);
    repository.AddStream("plant/b/level", &number, 10);
    repository.AddStream("plant/b/name", &text, 10);
    repository.AddStream("level", &number, 10);
    DeliveryGroup group = SubscribeAll("plant/*/level");
    EXPECT_THAT(group.GetPaths(), ElementsAre("plant/a/level", "plant/b/level"));
    Push("plant/a/level", 1);
    Push("plant/b/level", 2);
    Push("level", 3);
    EXPECT_EQ(group.Rescan(), 0U);
    repository.Remove("plant/a");
    repository.AddStream("plant/c/level", &number, 10);
    ASSERT_TRUE(dispatcher.Drain(patience));
    EXPECT_EQ(group.Rescan(), 1U);
    Push("plant/c/level", 4);
    ASSERT_TRUE(group.Drain(patience));
    EXPECT_THAT(group.GetPaths(), ElementsAre("plant/b/level", "plant/c/level"));
    const std::map<std::string, std::vector<int>> expected = {
        {"plant/a/level", {1}}, {"plant/b/level", {2}}, {"plant/c/level", {4}}};
    EXPECT_EQ(received, expected);
    EXPECT_EQ(group.GetStatistics("plant/c/level").delivered, 1U);
    EXPECT_EQ(group.GetStatistics().delivered, 3U) << "those of the stream that has gone are lost";
    group.Stop();
    Push("plant/c/level", 5);
    EXPECT_EQ(group.Rescan(), 0U);
    EXPECT_EQ(group.GetStatistics().accepted, 3U);
    EXPECT_TRUE(group.GetPaths().empty());
}

TEST_F(DeliveryGroupTest, LeavesStreamsAloneForWhichTheRuleCannotHold) {
    repository.AddStream("a", &number, 10);
    repository.AddStream("b", &text, 10);
    const auto paths = [&](const delivery::Rule& rule) {
        return dispatcher.SubscribeAll(repository, ">", rule, [](Change&) {}).GetPaths();
    };
    EXPECT_THAT(paths("n > 0 && pushed()"), ElementsAre("a"));
    EXPECT_THAT(paths("pushed() && label"), ElementsAre("b"));
    EXPECT_THAT(paths("n > 0 || label == \"x\""), ElementsAre("a", "b"));
    EXPECT_THAT(paths("!(n > 0)"), ElementsAre("a", "b"));
    EXPECT_THAT(paths("n > 0 ^^ true()"), ElementsAre("a", "b"));
    EXPECT_THAT(paths(core::tessaryn::Expression("n > 0")), ElementsAre("a", "b"));
}

TEST_F(DeliveryGroupTest, FindsNewStreamsAtAnInterval) {
    DeliveryGroup group = SubscribeAll(">", {.rescanInterval = 1ms});
    repository.AddStream("a", &number, 10);
    const auto end = std::chrono::steady_clock::now() + patience;
    while (group.GetPaths().empty() && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    EXPECT_THAT(group.GetPaths(), ElementsAre("a"));
}

}  // namespace
}  // namespace velmora::test
