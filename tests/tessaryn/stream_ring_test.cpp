// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/node_tree.h"
#include "support/allocation_probe.h"
#include "support/random.h"
#include "support/samples.h"
#include "support/subscribers.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"
#include "tessaryn/stream.h"

#include <gmock/gmock.h>
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
using test::MessageOf;
using test::TestType;

class StreamRing : public testing::Test {
  protected:
    /// A counted sample with a number that names it.
    std::unique_ptr<CountedSample> Numbered(int number, Poco::Timestamp::TimeVal time = 1) {
        auto sample = std::make_unique<CountedSample>(&layout.type, Timestamp(time));
        sample->Set(0, 0, std::to_string(number));
        return sample;
    }

    TestType layout{{"id", Int32, 1}};
};

std::vector<int> NumbersOf(const std::vector<Sample*>& samples) {
    std::vector<int> numbers;
    for (const Sample* sample : samples)
        numbers.push_back(sample->GetInt32(0, 0));
    return numbers;
}

/// Asks a query for the numbers of the samples that it selects.
template <class Query>
std::vector<int> Ask(Query query) {
    std::vector<int> numbers;
    query([&](const std::vector<Sample*>& samples) { numbers = NumbersOf(samples); });
    return numbers;
}

std::vector<int> AllOf(const Stream& stream) {
    return Ask([&](auto callback) { stream.GetAll(callback); });
}

constexpr int none = -1;

int LatestOf(const Stream& stream) {
    int number = none;
    try {
        stream.GetLatest([&](const Sample& sample) { number = sample.GetInt32(0, 0); });
    } catch (const ItemNotFoundException& exception) {
        EXPECT_STREQ(exception.what(), "No Sample in Stream");
    }
    return number;
}

TEST_F(StreamRing, KeepsTheNewestInStorageOrder) {
    struct Row {
        long maxSize;
        const char* script;  // a digit pushes, "-" pops, "!" clears
        std::vector<int> stored;
        int latest;
    };
    const Row table[] = {
        {3, "1234", {4, 2, 3}, 4}, {5, "12", {1, 2}, 2},         {5, "-", {}, none},
        {5, "12--", {}, none},     {5, "12--3", {3}, 3},         {3, "1234-", {2, 3}, 3},
        {3, "1234----", {}, none}, {3, "1234----56", {5, 6}, 6}, {3, "1234!5", {5}, 5},
        {1, "12", {2}, 2},         {2, "1-2-3456", {5, 6}, 6}};
    for (const Row& row : table) {
        SCOPED_TRACE(std::to_string(row.maxSize) + ": " + row.script);
        Stream stream(&layout.type, row.maxSize);
        for (const char* step = row.script; *step != '\0'; ++step) {
            if (*step == '-')
                stream.PopLatest();
            else if (*step == '!')
                stream.Clear(1);
            else
                stream.PushNew(Numbered(*step - '0').release());
        }
        EXPECT_EQ(AllOf(stream), row.stored);
        EXPECT_EQ(LatestOf(stream), row.latest);
        EXPECT_EQ(stream.IsEmpty(), row.stored.empty());
    }
    EXPECT_EQ(CountedSample::live, 0);
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
    void Change(int number) {
        times[number] = times[slots[newest]];
        slots[newest] = number;
    }
    int Pop() {
        if (!slots.contains(newest))
            return none;
        const int number = Latest();
        slots.erase(newest);
        newest = (newest + maxSize - 1) % maxSize;
        return number;
    }
    void Clear() { *this = RingModel(maxSize); }
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

constexpr int now = INT_MAX;

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
std::string Step(Stream& stream, RingModel& model, test::Random& random, int number) {
    const int time = static_cast<int>(random.Below(20));
    StreamType& type = *stream.GetStreamType();
    const std::string name = std::to_string(number);
    const auto assign = [&](Sample& sample, int given) {
        Sample other(&type, Timestamp(given));
        other.Set(0, 0, std::to_string(sample.GetInt32(0, 0)));
        sample = other;
        model.times[sample.GetInt32(0, 0)] = given;
        ExpectSame(stream, model, random);
    };
    std::istringstream in(test::BinaryForm({test::BytesOf(number)}));
    switch (random.Below(model.maxSize % 2 == 0 ? 9 : 13)) {
        case 0:
        case 1: {
            auto sample = std::make_unique<CountedSample>(&type, Timestamp(time));
            sample->Set(0, 0, name);
            stream.PushNew(sample.release());
            model.Push(number, time);
            return "pushed " + name;
        }
        case 2:
        case 3:
            stream.PushNew([&](Sample& sample) {
                model.Push(number, now);
                sample.Set(0, 0, name);
                ExpectSame(stream, model, random);
                if (time % 2 == 0)
                    assign(sample, time);
            });
            return "pushed " + name;
        case 4:
            stream.PushNew(in, nullptr);
            model.Push(number, now);
            return "pushed " + name;
        case 5:
            stream.DeserializeLatest(in, nullptr);
            if (model.slots.empty())
                model.Push(number, now);
            else
                model.Change(number);
            return "changed " + name;
        case 6:
            if (model.slots.empty())
                return "";
            stream.ChangeLatest(
                [&](Sample& sample) {
                    sample.Set(0, 0, name);
                    model.Change(number);
                    assign(sample, time);
                },
                time < 10);
            return time < 10 ? "changed " + name : "";
        case 7:
            stream.GetSince(Timestamp(time), [&](const std::vector<Sample*>& samples) {
                for (Sample* sample : samples) {
                    if (random.Below(3) == 0)
                        assign(*sample, static_cast<int>(random.Below(20)));
                }
            });
            return "";
        case 8:
            // Only the lowest bit means samples.
            stream.Clear(time == 0 ? 1 + 4 + 8 : 4 + 8);
            if (time == 0)
                model.Clear();
            return "";
        default: {
            const int gone = model.Pop();
            stream.PopLatest();
            return gone == none ? "" : "popped " + std::to_string(gone);
        }
    }
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
            const std::string expected = Step(stream, model, random, number);
            ASSERT_EQ(told, expected);
            ASSERT_NO_FATAL_FAILURE(ExpectSame(stream, model, random));
            ASSERT_LE(CountedSample::live, static_cast<int>(model.slots.size()));
        }
    }
    EXPECT_EQ(CountedSample::live, 0);
}

/// A host's sample that takes its time from what it reads.
struct StampedByInput : Sample {
    using Sample::Sample;
    void Deserialize(std::istream& in) override {
        Sample::Deserialize(in);
        Sample::operator=(Sample(GetStreamType(), Timestamp(GetInt32(0, 0))));
    }
};

TEST_F(StreamRing, SelectsByTimesThatSamplesGaveThemselves) {
    Stream stream(&layout.type, 5);
    for (const int time : {10, 20, 30})
        stream.PushNew(new StampedByInput(&layout.type, Timestamp(time)));
    const auto count = [&] {
        return Ask([&](auto f) { stream.GetBetween(Timestamp(5), Timestamp(15), f); }).size();
    };
    EXPECT_EQ(count(), 1U);
    std::istringstream in(test::BinaryForm({test::BytesOf(12)}));
    stream.DeserializeLatest(in, nullptr);
    EXPECT_EQ(count(), 2U);
}

TEST_F(StreamRing, DeletesASampleOfAnotherTypeAndSaysNothing) {
    TestType foreign({{"id", Int32, 1}});
    Stream stream(&layout.type, 2);
    stream.Subscribe(test::SubscriptionOf(1, [](Stream&, SubscriptionArgs&) { FAIL(); }));
    stream.PushNew(new CountedSample(&foreign.type, Timestamp(1)));
    EXPECT_EQ(CountedSample::live, 0);
    EXPECT_TRUE(stream.IsEmpty());
}

TEST_F(StreamRing, SelectsByTimeWithBothEnds) {
    constexpr long long future = LLONG_MAX;
    constexpr long long day = 86400000000;
    const long long present = Timestamp().epochMicroseconds();
    Stream stream(&layout.type, 9);
    for (const long long time : {-LLONG_MAX, 0LL, 10LL, 10LL, 11LL, present, future})
        stream.PushNew(Numbered(static_cast<int>(time % 100), time).release());
    const int recent = static_cast<int>(present % 100);
    const int last = static_cast<int>(future % 100);
    const std::vector<int> all = {-7, 0, 10, 10, 11, recent, last};
    const auto between = [&](long long from, long long to) {
        return Ask([&](auto f) { stream.GetBetween(Timestamp(from), Timestamp(to), f); });
    };
    EXPECT_EQ(between(10, 10), (std::vector<int>{10, 10}));
    EXPECT_EQ(between(0, 10), (std::vector<int>{0, 10, 10}));
    EXPECT_EQ(between(11, 10), std::vector<int>{});
    EXPECT_EQ(Ask([&](auto f) { stream.GetSince(Timestamp(11), f); }),
              (std::vector<int>{11, recent, last}));
    const std::pair<long long, std::vector<int>> spans[] = {{day, {recent, last}},
                                                            {-day, {last}},
                                                            {present + day, all},
                                                            {LLONG_MAX, all},
                                                            {LLONG_MIN, all}};
    for (const auto& [span, numbers] : spans)
        EXPECT_EQ(Ask([&](auto f) { stream.GetLast(Timespan(span), f); }), numbers) << span;
}

TEST_F(StreamRing, HasACapacityFromOneTo31Bits) {
    for (const long size : {0L, -1L, LONG_MIN, 2147483648L, 4294967297L, LONG_MAX}) {
        const std::string message =
            MessageOf<std::invalid_argument>([&] { Stream(&layout.type, size); });
        EXPECT_NE(message.find(std::to_string(size)), std::string::npos) << message;
    }
    for (const long size : {1L, 2147483647L}) {
        Stream stream(&layout.type, size);
        EXPECT_EQ(stream.GetMaxSize(), size);
        EXPECT_EQ(stream.GetStreamType(), &layout.type);
        stream.PushNew([](Sample&) {});
        EXPECT_EQ(AllOf(stream).size(), 1U);
        // The index steps down to the last slot, far beyond those there are.
        stream.PopLatest();
        EXPECT_EQ(LatestOf(stream), none);
        stream.PushNew([](Sample&) {});
        EXPECT_EQ(AllOf(stream).size(), 1U);
    }
}

TEST_F(StreamRing, AllocatesForItsSamplesOnly) {
    Stream stream(&layout.type, 3);
    const std::function<void(Sample&)> fill = [](Sample& sample) { sample.Set(0, 0, 1); };
    const auto costOf = [&](const std::function<void()>& operation) {
        const AllocationProbe probe;
        operation();
        return AllocationProbe::Count();
    };
    const std::function<void()> push = [&] { stream.PushNew(fill); };
    const long growing = 4;
    const long stored = 3;
    const long costs[] = {costOf(push), costOf(push), costOf(push), costOf(push), costOf(push)};
    EXPECT_THAT(costs, testing::ElementsAre(growing, growing, stored, stored, stored));
    EXPECT_EQ(costOf([&] { stream.ChangeLatest(fill, true); }), 0);
    EXPECT_EQ(costOf([&] { stream.PopLatest(); }), 0);
    EXPECT_EQ(costOf([&] { stream.IsEmpty(); }), 0);
}

TEST_F(StreamRing, LosesNothingWhenMemoryRunsOut) {
    for (long failAt = 0; failAt < 4; ++failAt) {
        Stream stream(&layout.type, 5);
        stream.PushNew(Numbered(1).release());
        const std::function<void(Sample&)> fill = [](Sample&) {};
        const auto push = [&] {
            const AllocationProbe probe(failAt);
            stream.PushNew(fill);
        };
        EXPECT_THROW(push(), std::bad_alloc) << failAt;
        auto sample = Numbered(2);
        const auto offer = [&] {
            const AllocationProbe probe(0);
            stream.PushNew(sample.release());
        };
        EXPECT_THROW(offer(), std::bad_alloc);
        EXPECT_EQ(AllOf(stream), std::vector<int>{1});
        EXPECT_EQ(LatestOf(stream), 1);
        EXPECT_EQ(CountedSample::live, 1);
    }
}

TEST_F(StreamRing, ReadsASampleFromItsNode) {
    Stream stream(&layout.type, 5);
    serialization::NodeTree tree;
    const serialization::Serializer<serialization::NodeRef> serializer;
    auto root = tree.GetRoot();
    Numbered(42, 7)->Serialize(serializer, root);
    stream.PushNew(serializer, root);
    EXPECT_EQ(AllOf(stream), std::vector<int>{42});
    stream.GetLatest([](const Sample& sample) { EXPECT_EQ(sample.GetTimeStamp(), 7); });
    root["Entries"].GetNodes()[0]["Key"].SetValue("nope");
    EXPECT_THROW(stream.PushNew(serializer, root), EntryNotFoundException);
    EXPECT_EQ(AllOf(stream), std::vector<int>{42});
}

struct Trouble : std::runtime_error {
    Trouble() : std::runtime_error("trouble") {}
};

/// A stream of bytes that throws in the middle of a sample.
struct BrokenInput : std::istringstream {
    BrokenInput() : std::istringstream(std::string(9, '\1')) { exceptions(std::ios::failbit); }
};

TEST_F(StreamRing, KeepsWhatItSaysAndFreesItsLocksWhateverThrows) {
    const auto fails = [](auto&&...) { throw Trouble(); };
    const auto passes = [](auto&&...) {};
    struct Row {
        const char* name;
        std::function<void(Stream&)> operation;
        std::vector<int> stored;
        int notifications;
    };
    const Row table[] = {
        {"fill", [&](Stream& s) { s.PushNew(fails); }, {1, 2, 0}, 0},
        {"empty fill", [](Stream& s) { s.PushNew(std::function<void(Sample&)>()); }, {1, 2, 0}, 0},
        {"input",
         [](Stream& s) {
             BrokenInput in;
             s.PushNew(in, nullptr);
         },
         {1, 2, 0},
         0},
        {"input of change",
         [](Stream& s) {
             BrokenInput in;
             s.DeserializeLatest(in, nullptr);
         },
         {1, 2},
         0},
        {"input of first",
         [](Stream& s) {
             s.Clear(1);
             BrokenInput in;
             s.DeserializeLatest(in, &s);
         },
         {0},
         0},
        {"change", [&](Stream& s) { s.ChangeLatest(fails, true); }, {1, 2}, 0},
        {"empty change", [](Stream& s) { s.ChangeLatest({}, true); }, {1, 2}, 0},
        {"no latest",
         [&](Stream& s) {
             s.Clear(1);
             s.ChangeLatest(passes, true);
         },
         {},
         0},
        {"latest", [&](Stream& s) { s.GetLatest(fails); }, {1, 2}, 0},
        {"empty latest", [](Stream& s) { s.GetLatest({}); }, {1, 2}, 0},
        {"all", [&](Stream& s) { s.GetAll(fails); }, {1, 2}, 0},
        {"empty all", [](Stream& s) { s.GetAll({}); }, {1, 2}, 0},
        {"since", [&](Stream& s) { s.GetSince(Timestamp(0), fails); }, {1, 2}, 0},
        {"between", [&](Stream& s) { s.GetBetween(Timestamp(0), Timestamp(), fails); }, {1, 2}, 0},
        {"last", [&](Stream& s) { s.GetLast(Timespan(5), fails); }, {1, 2}, 0},
        {"work", [&](Stream& s) { s.AtomicExecute(fails); }, {1, 2}, 0},
        {"empty work", [](Stream& s) { s.AtomicExecute({}); }, {1, 2}, 0},
        {"told of push", [&](Stream& s) { s.PushNew(passes); }, {1, 2, 0}, 1},
        {"told of sample", [&](Stream& s) { s.PushNew(Numbered(3).release()); }, {1, 2, 3}, 1},
        {"told of pop", [](Stream& s) { s.PopLatest(); }, {1}, 1},
        {"told of change", [&](Stream& s) { s.ChangeLatest(passes, true); }, {1, 2}, 1}};
    for (const Row& row : table) {
        for (const bool byRule : {true, false}) {
            SCOPED_TRACE(std::string(row.name) + (byRule ? ", rule" : ", delegate"));
            Stream stream(&layout.type, 5);
            stream.PushNew(Numbered(1).release());
            stream.PushNew(Numbered(2).release());
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
    Stream stream(&layout.type, 5);
    EXPECT_THROW(stream.AtomicExecute({}), std::bad_function_call);
    EXPECT_THROW(stream.PushNew(std::function<void(Sample&)>()), std::bad_function_call);
    stream.AtomicExecute([&] { stream.AtomicExecute([&] { stream.PopLatest(); }); });
    EXPECT_TRUE(stream.IsEmpty());
}

}  // namespace
}  // namespace velmora::core::tessaryn
