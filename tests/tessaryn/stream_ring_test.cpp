// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/allocation_probe.h"
#include "support/random.h"
#include "support/samples.h"
#include "support/subscribers.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"
#include "tessaryn/stream.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <map>
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
    TestType foreign{{"id", Int32, 1}};
};

/// Asks a query for the numbers of the samples that it selects.
template <class Query>
std::vector<int> Ask(Query query) {
    std::vector<int> numbers;
    query([&](const std::vector<Sample*>& samples) {
        for (const Sample* sample : samples)
            numbers.push_back(sample->GetInt32(0, 0));
    });
    return numbers;
}

std::vector<int> AllOf(const Stream& stream) {
    return Ask([&](auto callback) { stream.GetAll(callback); });
}

constexpr int none = -1;
constexpr int now = INT_MAX;

int LatestOf(const Stream& stream) {
    int number = none;
    try {
        stream.GetLatest([&](const Sample& sample) { number = sample.GetInt32(0, 0); });
    } catch (const ItemNotFoundException& exception) {
        EXPECT_STREQ(exception.what(), "No Sample in Stream");
    }
    return number;
}

/// What a stream should hold: numbers by slot, and a time for each.
struct RingModel {
    explicit RingModel(int size) : maxSize(size), newest(size - 1) {}

    void Push(int number, int time) {
        newest = (newest + 1) % maxSize;
        slots[newest] = number;
        times[number] = time;
    }
    /// Gives the newest sample another number.
    void Change(int number, bool stamped) {
        times[number] = stamped ? now : times[slots[newest]];
        slots[newest] = number;
    }
    int Pop() {
        const int number = Latest();
        if (slots.erase(newest) != 0)
            newest = (newest + maxSize - 1) % maxSize;
        return number;
    }
    int Latest() const { return slots.contains(newest) ? slots.at(newest) : none; }
    std::vector<int> Between(int from, int to) const {
        std::vector<int> numbers;
        for (const auto& [slot, number] : slots) {
            if (times.at(number) >= from && times.at(number) <= to)
                numbers.push_back(number);
        }
        return numbers;
    }

    int maxSize;
    int newest;
    std::map<int, int> slots;
    std::map<int, int> times;
};

void ExpectSame(const Stream& stream, const RingModel& model, test::Random& random) {
    const int from = static_cast<int>(random.Below(20));
    const int to = static_cast<int>(random.Below(20));
    ASSERT_EQ(Ask([&](auto f) { stream.GetBetween(Timestamp(from), Timestamp(to), f); }),
              model.Between(from, to));
    ASSERT_EQ(Ask([&](auto f) { stream.GetSince(Timestamp(from), f); }), model.Between(from, now));
    ASSERT_EQ(AllOf(stream), model.Between(0, now));
    ASSERT_EQ(stream.IsEmpty(), model.slots.empty());
    ASSERT_EQ(LatestOf(stream), model.Latest());
}

/// Does one random thing, also from inside callbacks; answers with the change to be told, if any.
std::string Step(Stream& stream, RingModel& model, test::Random& random, CountedSample* numbered) {
    std::unique_ptr<CountedSample> sample(numbered);
    const int time = static_cast<int>(sample->GetTimeStamp().epochMicroseconds());
    const int number = sample->GetInt32(0, 0);
    const auto stamp = [&](Sample& live, int given) {
        Sample other(live.GetStreamType(), Timestamp(given));
        other.Set(0, 0, std::to_string(live.GetInt32(0, 0)));
        live = other;
        model.times[live.GetInt32(0, 0)] = given;
        ExpectSame(stream, model, random);
    };
    const auto fill = [&](Sample& live) {
        live.Set(0, 0, number);
        ExpectSame(stream, model, random);
        if (time % 2 == 0)
            stamp(live, time);
    };
    std::istringstream in(test::BinaryForm({test::BytesOf(number)}));
    const unsigned action = random.Below(model.maxSize % 2 == 0 ? 9 : 13);
    if (action <= 4 || (action == 5 && model.slots.empty()))
        model.Push(number, action < 2 ? time : now);
    else if (action == 5 || (action == 6 && !model.slots.empty()))
        model.Change(number, action == 6);
    if (action < 2) {
        stream.PushNew(sample.release());
    } else if (action < 4) {
        stream.PushNew(fill);
    } else if (action == 4) {
        stream.PushNew(in, nullptr);
    } else if (action == 5) {
        stream.DeserializeLatest(in, nullptr);
    } else if (action == 6 && !model.slots.empty()) {
        stream.ChangeLatest(fill, time < 10);
        return time < 10 ? "changed " + std::to_string(number) : "";
    } else if (action == 7) {
        stream.GetSince(Timestamp(time), [&](const std::vector<Sample*>& samples) {
            for (Sample* live : samples)
                stamp(*live, static_cast<int>(random.Below(20)));
        });
    } else if (action == 8) {
        // Only the lowest bit means samples.
        stream.Clear(time == 0 ? 1 + 4 + 8 : 4 + 8);
        if (time == 0)
            model = RingModel(model.maxSize);
    } else if (action > 8) {
        const int gone = model.Pop();
        stream.PopLatest();
        return gone == none ? "" : "popped " + std::to_string(gone);
    }
    return action > 5 ? "" : (action == 5 ? "changed " : "pushed ") + std::to_string(number);
}

TEST_F(StreamRing, BehavesAsAModelUnderRandomOperations) {
    test::Random random;
    const char* const names[] = {"pushed ", "popped ", "changed "};
    for (int round = 0; round < 68; ++round) {
        RingModel model(round % 17 + 1);
        Stream stream(&layout.type, model.maxSize);
        std::string told;
        stream.Subscribe(test::SubscriptionOf(1, [&](Stream&, SubscriptionArgs& args) {
            told += names[args.changeType] + std::to_string(args.sample->GetInt32(0, 0));
        }));
        for (int number = 1; number < 150; ++number) {
            told.clear();
            const std::string expected =
                Step(stream, model, random, Numbered(number, random.Below(20)));
            stream.PushNew(new CountedSample(&foreign.type, Timestamp(1)));
            ASSERT_EQ(told, expected);
            ASSERT_NO_FATAL_FAILURE(ExpectSame(stream, model, random));
            ASSERT_LE(CountedSample::live, static_cast<int>(model.slots.size()));
        }
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
        EXPECT_EQ(LatestOf(stream), none);
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
