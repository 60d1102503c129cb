// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/allocation_probe.h"
#include "support/nodes.h"
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

TEST_F(StreamRing, BehavesAsAModelUnderRandomOperations) {
    test::Random random;
    TestType foreign({{"id", Int32, 1}});
    for (int round = 0; round < 68; ++round) {
        const int maxSize = round % 17 + 1;
        Stream stream(&layout.type, maxSize);
        std::vector<int> told;
        stream.Subscribe(test::SubscriptionOf(1, [&](Stream& sender, SubscriptionArgs& args) {
            EXPECT_EQ(&sender, &stream);
            told.push_back(args.changeType * 100000 + args.sample->GetInt32(0, 0));
        }));
        // Slot to number; times are kept apart, for every sample has a time of its own.
        std::map<int, int> model;
        std::map<int, int> times;
        int newest = maxSize - 1;
        std::vector<int> tellings;
        const auto tell = [&](StreamChangeType type, int number) {
            tellings.push_back(type * 100000 + number);
        };
        const auto push = [&](int number, int time) {
            newest = (newest + 1) % maxSize;
            model[newest] = number;
            times[number] = time;
        };
        for (int number = 1; number < 120; ++number) {
            const int time = static_cast<int>(random.Below(20));
            const std::string binary = test::BinaryForm({test::BytesOf(number)});
            std::istringstream in(binary);
            const unsigned operation = random.Below(round % 2 == 0 ? 20 : 30);
            if (operation < 8) {
                stream.PushNew(Numbered(number, time).release());
                push(number, time);
                tell(pushed, number);
            } else if (operation < 10) {
                stream.PushNew([&](Sample& sample) {
                    sample.Set(0, 0, std::to_string(number));
                    EXPECT_NE(sample.GetTimeStamp(), 0);
                });
                push(number, INT_MAX);
                tell(pushed, number);
            } else if (operation < 11) {
                stream.PushNew(in, nullptr);
                push(number, INT_MAX);
                tell(pushed, number);
            } else if (operation < 12) {
                stream.PushNew(new CountedSample(&foreign.type, Timestamp(time)));
            } else if (operation < 13) {
                const bool fresh = model.empty();
                stream.DeserializeLatest(in, nullptr);
                if (fresh) {
                    push(number, INT_MAX);
                } else {
                    times[number] = times[model[newest]];
                    model[newest] = number;
                }
                tell(changed, number);
            } else if (operation < 15 && !model.empty()) {
                const bool notify = operation == 14;
                const auto change = [&](Sample& sample) {
                    sample.Set(0, 0, std::to_string(number));
                };
                stream.ChangeLatest(change, notify);
                times[number] = times[model[newest]];
                model[newest] = number;
                if (notify)
                    tell(changed, number);
            } else if (operation == 15 && random.Below(5) == 0) {
                stream.Clear(1 + 4 + 8);
                model.clear();
                newest = maxSize - 1;
            } else if (operation > 15) {
                stream.PopLatest();
                if (model.contains(newest)) {
                    tell(popped, model[newest]);
                    model.erase(newest);
                    newest = (newest + maxSize - 1) % maxSize;
                }
            }
            const int from = static_cast<int>(random.Below(20));
            const int to = static_cast<int>(random.Below(20));
            std::vector<int> all;
            std::vector<int> since;
            std::vector<int> between;
            for (const auto& [slot, stored] : model) {
                all.push_back(stored);
                if (times[stored] >= from)
                    since.push_back(stored);
                if (times[stored] >= from && times[stored] <= to)
                    between.push_back(stored);
            }
            ASSERT_EQ(AllOf(stream), all);
            ASSERT_EQ(Ask([&](auto f) { stream.GetSince(Timestamp(from), f); }), since);
            ASSERT_EQ(Ask([&](auto f) { stream.GetBetween(Timestamp(from), Timestamp(to), f); }),
                      between);
            ASSERT_EQ(stream.IsEmpty(), model.empty());
            ASSERT_EQ(LatestOf(stream), model.contains(newest) ? model[newest] : none);
            ASSERT_EQ(told, tellings);
            ASSERT_LE(CountedSample::live, static_cast<int>(model.size()));
        }
    }
    EXPECT_EQ(CountedSample::live, 0);
}

TEST_F(StreamRing, SelectsByTimeWithBothEnds) {
    constexpr long long future = LLONG_MAX;
    constexpr long long day = 86400000000;
    const long long now = Timestamp().epochMicroseconds();
    Stream stream(&layout.type, 9);
    for (const long long time : {-7LL, 0LL, 10LL, 10LL, 11LL, now, future})
        stream.PushNew(Numbered(static_cast<int>(time % 100), time).release());
    const int recent = static_cast<int>(now % 100);
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
                                                            {now + day, all},
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
