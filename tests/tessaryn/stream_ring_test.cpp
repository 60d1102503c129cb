// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/allocation_probe.h"
#include "support/random.h"
#include "support/ring_model.h"
#include "support/samples.h"
#include "support/subscribers.h"
#include "support/thrown.h"
#include "tessaryn/stream.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using Poco::Timespan;
using Poco::Timestamp;
using test::AllocationProbe;
using test::AllOf;
using test::Ask;
using test::CountedSample;
using test::TestType;

class StreamRing : public testing::Test {
  protected:
    /// A counted sample with a number that names it.
    CountedSample* Numbered(int number, Timestamp::TimeVal time = 1) {
        auto* const sample = new CountedSample(&layout.type, Timestamp(time));
        sample->Set(0, 0, std::to_string(number));
        return sample;
    }

    TestType layout{{"id", Int32, 1}};
};

TEST_F(StreamRing, BehavesAsAModelUnderRandomOperations) {
    test::Random random;
    for (int round = 0; round < 68; ++round) {
        test::ModelledStream modelled(round % 17 + 1, random);
        for (int step = 0; step < 100; ++step)
            ASSERT_NO_FATAL_FAILURE(modelled.Step());
    }
    EXPECT_EQ(CountedSample::live, 0);
}

TEST_F(StreamRing, SelectsWhatIsAsOldAsASpan) {
    constexpr long long day = 86400000000;
    const long long present = Timestamp().epochMicroseconds();
    Stream stream(&layout.type, 9);
    int number = 0;
    for (const long long time : {-LLONG_MAX, 0LL, present, LLONG_MAX})
        stream.PushNew(Numbered(++number, time));
    const std::pair<long long, std::vector<int>> spans[] = {{day, {3, 4}},
                                                            {-day, {4}},
                                                            {present + day, {1, 2, 3, 4}},
                                                            {LLONG_MAX, {1, 2, 3, 4}},
                                                            {LLONG_MIN, {1, 2, 3, 4}}};
    for (const auto& [span, numbers] : spans)
        EXPECT_EQ(Ask([&](auto f) { stream.GetLast(Timespan(span), f); }), numbers) << span;
}

TEST_F(StreamRing, HasACapacityFromOneTo31Bits) {
    for (const long size : {0L, -1L, LONG_MIN, 2147483648L, 4294967297L}) {
        const std::string message =
            test::MessageOf<std::invalid_argument>([&] { Stream(&layout.type, size); });
        EXPECT_NE(message.find(std::to_string(size)), std::string::npos) << message;
    }
    Stream stream(&layout.type, INT_MAX);
    for (int i = 0; i < 3; ++i) {
        stream.PushNew(Numbered(i));
        EXPECT_EQ(AllOf(stream), std::vector<int>{i});
        // The index steps down to the last slot, far beyond those there are.
        stream.PopLatest();
        EXPECT_EQ(test::LatestOf(stream), test::none);
    }
}

TEST_F(StreamRing, AllocatesForItsSamplesOnlyAndLosesNothingWhenMemoryRunsOut) {
    const std::function<void(Sample&)> fill = [](Sample& sample) { sample.Set(0, 0, 2); };
    for (const long failAt : {0, 1, 2, 3, -1}) {
        Stream stream(&layout.type, 2);
        stream.PushNew(Numbered(1));
        const auto push = [&] {
            const AllocationProbe probe(failAt);
            stream.PushNew(fill);
            stream.ChangeLatest(fill, true);
            EXPECT_EQ(AllocationProbe::Count(), 4);
            stream.PushNew(fill);
            EXPECT_EQ(AllocationProbe::Count(), 4 + 3);
        };
        if (failAt >= 0) {
            EXPECT_THROW(push(), std::bad_alloc) << failAt;
            EXPECT_EQ(AllOf(stream), std::vector<int>{1});
        } else {
            push();
            EXPECT_EQ(AllOf(stream), (std::vector<int>{2, 2}));
        }
    }
}

struct Trouble : std::runtime_error {
    Trouble() : std::runtime_error("trouble") {}
};

TEST_F(StreamRing, KeepsWhatItSaysAndFreesItsLocksWhateverThrows) {
    const auto fails = [](auto&&...) { throw Trouble(); };
    const auto passes = [](auto&&...) {};
    std::istringstream in;
    struct Row {
        const char* name;
        std::function<void(Stream&)> operation;
        std::vector<int> stored;
        int notifications;
    };
    const Row table[] = {
        {"fill", [&](Stream& s) { s.PushNew(fails); }, {1, 2, 0}, 0},
        {"input", [&](Stream& s) { s.PushNew(in, nullptr); }, {1, 2, 0}, 0},
        {"input of change", [&](Stream& s) { s.DeserializeLatest(in, nullptr); }, {1, 2}, 0},
        {"change", [&](Stream& s) { s.ChangeLatest(fails, true); }, {1, 2}, 0},
        {"latest", [&](Stream& s) { s.GetLatest(fails); }, {1, 2}, 0},
        {"last", [&](Stream& s) { s.GetLast(Timespan(5), fails); }, {1, 2}, 0},
        {"work", [&](Stream& s) { s.AtomicExecute(fails); }, {1, 2}, 0},
        {"told of push", [&](Stream& s) { s.PushNew(passes); }, {1, 2, 0}, 1},
        {"told of pop", [](Stream& s) { s.PopLatest(); }, {1}, 1},
        {"told of change", [&](Stream& s) { s.ChangeLatest(passes, true); }, {1, 2}, 1}};
    for (const Row& row : table) {
        for (const bool byRule : {true, false}) {
            SCOPED_TRACE(std::string(row.name) + (byRule ? ", rule" : ", delegate"));
            in = std::istringstream(std::string(9, '\1'));
            in.exceptions(std::ios::failbit);
            Stream stream(&layout.type, 5);
            stream.PushNew(Numbered(1));
            stream.PushNew(Numbered(2));
            int notifications = 0;
            const auto notified = [&](auto&&...) -> bool {
                ++notifications;
                throw Trouble();
            };
            if (byRule)
                stream.Subscribe({new test::TestRule(notified), test::TestDelegate(1, passes)});
            else
                stream.Subscribe(test::SubscriptionOf(1, notified));
            EXPECT_ANY_THROW(row.operation(stream));
            EXPECT_EQ(notifications, row.notifications);
            EXPECT_TRUE(test::LocksAreFree(stream));
            EXPECT_EQ(AllOf(stream), row.stored);
        }
        EXPECT_EQ(CountedSample::live, 0);
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
