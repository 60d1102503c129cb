// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/replay.h"

#include "storage/history.h"
#include "storage/history_support.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Delegate.h>
#include <Poco/Logger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

namespace velmora::test {
namespace {

using namespace core::tessaryn;
using storage::History;
using storage::Replay;
using testing::ElementsAre;

/// A history of two streams, a: 1000, 3000, 5000 µs; b: 2000, 3000 µs, and a host to replay it.
class ReplayTest : public testing::Test {
  protected:
    ReplayTest() {
        HistoryWriter writer(folder.PathOf("a.db"));
        for (const int number : {1, 3, 5}) {
            writer.Write("a", Number(type, number, number * 1000));
        }
        writer.Write("b", Number(type, 2, 2000));
        writer.Write("b", Number(type, 4, 3000));
        writer.Close();
        history.emplace(folder.PathOf("a.db"));
    }

    std::vector<int> NumbersOf(const std::string& path) {
        std::vector<int> numbers;
        if (Stream* const stream = streams.GetStreamPtr(path)) {
            stream->GetAllInPushOrder([&](const std::vector<Sample*>& samples) {
                for (const Sample* const sample : samples) {
                    EXPECT_EQ(sample->GetTimeStamp().epochMicroseconds() / 1000,
                              std::min(3, sample->GetInt32(0, 0)) +
                                  (sample->GetInt32(0, 0) == 5 ? 2 : 0));
                    numbers.push_back(sample->GetInt32(0, 0));
                }
            });
        }
        return numbers;
    }

    const Folder folder;
    TestType type{{"n", Int32, 1}};
    std::optional<History> history;
    StreamTypeRepository types{Poco::Logger::root(), '/'};
    StreamRepository streams{Poco::Logger::root(), '/'};
};

TEST_F(ReplayTest, MakesStreamsAndTypesAndPushesAllAtOnce) {
    Replay replay(*history, {}, types, streams, {.speed = 0, .maxSize = 2});
    EXPECT_EQ(replay.Advance(0us), std::nullopt);
    EXPECT_THAT(NumbersOf("a"), ElementsAre(3, 5));
    EXPECT_THAT(NumbersOf("b"), ElementsAre(2, 4));
    EXPECT_EQ(replay.GetStatistics().pushed, 5U);
    EXPECT_EQ(replay.GetTime(), Poco::Timestamp(5000));
    EXPECT_EQ(streams["a"].GetStreamType(), &types["Root/Pos"].Get({1, 0, 0}));
    EXPECT_EQ(streams["b"].GetStreamType(), streams["a"].GetStreamType());
}

TEST_F(ReplayTest, PushesWhatIsDueInTheOrderOfTime) {
    Replay replay(*history, {}, types, streams, {.speed = 2});
    EXPECT_EQ(replay.Advance(1h), 500us);  // the first sample starts the clock
    EXPECT_THAT(NumbersOf("a"), ElementsAre(1));
    EXPECT_EQ(replay.Advance(499us), 1us);
    EXPECT_THAT(NumbersOf("b"), ElementsAre());
    EXPECT_EQ(replay.Advance(1us), 500us);
    EXPECT_THAT(NumbersOf("b"), ElementsAre(2));
    replay.Pause();
    EXPECT_EQ(replay.Advance(1h), std::chrono::microseconds::max());
    replay.Resume();
    replay.SetSpeed(1);
    EXPECT_EQ(replay.Advance(1000us), 2000us);
    EXPECT_THAT(NumbersOf("a"), ElementsAre(1, 3));
    EXPECT_THAT(NumbersOf("b"), ElementsAre(2, 4));
    replay.Seek(Poco::Timestamp(2500));
    EXPECT_TRUE(replay.Step());
    EXPECT_EQ(replay.GetTime(), Poco::Timestamp(3000));
    EXPECT_EQ(replay.Advance(5000us), std::nullopt);
    EXPECT_THAT(NumbersOf("a"), ElementsAre(1, 3, 3, 5));
    EXPECT_THAT(NumbersOf("b"), ElementsAre(2, 4, 4));
    EXPECT_FALSE(replay.Step());
}

TEST_F(ReplayTest, RunsByItsClockUntilItIsStopped) {
    long long time = 0;
    const auto now = [&] { return std::chrono::microseconds(time += 400); };
    Replay whole(*history, {.streams = "a"}, types, streams, {.now = now});
    whole.Run();
    EXPECT_THAT(NumbersOf("a"), ElementsAre(1, 3, 5));
    Replay stopped(*history, {.streams = "b"}, types, streams, {.now = now});
    struct Stopper {
        void OnPush(SubscriptionArgs&) { replay.Stop(); }
        Replay& replay;
    } stopper{stopped};
    Stream& b = *streams.AddStream("b", streams["a"].GetStreamType(), 10);
    b.Subscribe({Always(), Poco::delegate(&stopper, &Stopper::OnPush)});
    stopped.Run();
    EXPECT_THAT(NumbersOf("b"), ElementsAre(2));
}

TEST_F(ReplayTest, TakesOverEntriesThatAStreamOfAnotherLayoutHas) {
    TestType wider{{"x", String, 2}, {"n", Int32, 1}, {"y", Double, 1}};
    TestType foreign{{"n", Double, 1}};
    Stream& a = *streams.AddStream("a", &wider.type, 10);
    streams.AddStream("b", &foreign.type, 10);
    Replay replay(*history, {}, types, streams, {.speed = 0});
    replay.Run();
    a.GetLatest([](const Sample& sample) {
        EXPECT_EQ(sample.GetString(0), std::string(2, '\0'));
        EXPECT_EQ(sample.GetInt32(1, 0), 5);
        EXPECT_EQ(sample.GetDouble(2, 0), 0);
        EXPECT_EQ(sample.GetTimeStamp(), Poco::Timestamp(5000));
    });
    EXPECT_EQ(replay.GetStatistics().pushed, 3U);
    EXPECT_EQ(replay.GetStatistics().skipped, 2U);
}

}  // namespace
}  // namespace velmora::test
