// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample_batch.h"

#include "support/allocation_probe.h"
#include "support/ring_model.h"
#include "support/thrown.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

const std::vector<Timestamp::TimeVal> times{30, 10, 20};
const std::vector<int> ids{1, 2, 3};

SampleBatch BatchOf(StreamType& type) {
    SampleBatch batch = MakeSamples(type, times);
    SetColumn(batch, Field<int>(type, "id"), ids);
    return batch;
}

std::string FormOf(const std::vector<int>& numbers) {
    std::string bytes;
    for (const int number : numbers) {
        bytes += BinaryForm({BytesOf(number)});
    }
    return bytes;
}

class PushMany : public testing::TestWithParam<bool> {
  protected:
    // Pushes the batch as samples, or in binary form.
    void Push(Stream& stream, void* sender = nullptr) {
        if (GetParam()) {
            stream.PushMany(times, FormOf(ids), sender);
        } else {
            batch = BatchOf(layout.type);
            stream.PushMany(batch, sender);
        }
    }

    TestType layout{{"id", Int32, 1}};
    SampleBatch batch;
};

INSTANTIATE_TEST_SUITE_P(Forms, PushMany, testing::Bool());

TEST_P(PushMany, NotifiesOfEachSampleBeforeTheNext) {
    Stream stream(&layout.type, 2);
    int sender = 0;
    std::vector<int> seen;
    stream.Subscribe(SubscriptionOf(1, [&](Stream&, SubscriptionArgs& args) {
        EXPECT_EQ(args.changeType, pushed);
        EXPECT_EQ(args.sender, &sender);
        EXPECT_EQ(args.sample->GetTimeStamp(), Timestamp(times[seen.size()]));
        seen.push_back(args.sample->GetInt32(0, 0));
        EXPECT_EQ(LatestOf(stream), seen.back());
    }));
    Push(stream, &sender);
    EXPECT_EQ(seen, ids);
    EXPECT_EQ(std::count(batch.begin(), batch.end(), nullptr), batch.size());
    EXPECT_EQ(Ask([&](auto f) { stream.GetSince(Timestamp(20), f); }), std::vector<int>{3});
}

TEST_P(PushMany, EndsWhereADelegateThrows) {
    Stream stream(&layout.type, 9);
    stream.Subscribe(SubscriptionOf(1, [](Stream&, SubscriptionArgs& args) {
        if (args.sample->GetInt32(0, 0) == 2) {
            throw std::runtime_error("enough");
        }
    }));
    EXPECT_EQ(MessageOf<std::runtime_error>([&] { Push(stream); }), "enough");
    EXPECT_EQ(AllOf(stream), (std::vector<int>{1, 2}));
}

// A sample of a host's that, when it goes, removes the newest one of its stream and asks it.
class Nosy : public Sample {
  public:
    Nosy(Stream& stream, std::vector<std::vector<int>>& seen)
        : Sample(stream.GetStreamType(), Timestamp(15)), stream(stream), seen(seen) {}
    ~Nosy() override {
        stream.PopLatest();
        seen.push_back(Ask([&](auto f) { stream.GetSince(Timestamp(15), f); }));
    }

  private:
    Stream& stream;
    std::vector<std::vector<int>>& seen;
};

// Without a subscriber samples are pushed without a step for each: the outcome is the same.
TEST_P(PushMany, DoesTheSameWithAndWithoutASubscriber) {
    for (const int size : {1, 2, 3, 4, 5, 8}) {
        std::vector<std::vector<int>> results[2];
        for (const bool hasSubscriber : {false, true}) {
            Stream stream(&layout.type, size);
            std::vector<std::vector<int>>& result = results[hasSubscriber ? 1 : 0];
            if (hasSubscriber) {
                stream.Subscribe(SubscriptionOf(1, [](Stream&, SubscriptionArgs&) {}));
            }
            for (int round = 0; round < 4; ++round) {
                Push(stream);
                result.push_back(AllOf(stream));
                for (const int since : {10, 15, 20, 30}) {
                    result.push_back(Ask([&](auto f) { stream.GetSince(Timestamp(since), f); }));
                }
                if (round % 2 == 0) {
                    stream.PushNew(new Nosy(stream, result));
                }
            }
            result.push_back({static_cast<int>(stream.CountPushes())});
            stream.Clear(Stream::clearSamples);
        }
        EXPECT_EQ(results[0], results[1]) << size;
    }
}

// Samples of several sizes follow each other in the memory of those that they overwrite, which a
// callback may have in hand.
TEST(PushManyForms, DecodesEachIntoFreshMemory) {
    TestType type{{"id", Int32, 1}, {"text", String, 0}};
    Stream stream(&type.type, 2);
    std::string bytes;
    std::vector<std::string> forms;
    std::vector<Timestamp::TimeVal> stamps;
    for (int i = 0; i < 12; ++i) {
        forms.push_back(BinaryForm({BytesOf(i), std::string(i % 5 < 3 ? 4U : 7U, 'a')}));
        bytes += forms.back();
        stamps.push_back(100 - i);
    }
    std::size_t seen = 0;
    const auto look = [&](const Sample& sample) {
        EXPECT_EQ(BinaryOf(sample), forms.at(seen));
        EXPECT_EQ(sample.GetTimeStamp(), Timestamp(stamps[seen]));
    };
    stream.Subscribe(SubscriptionOf(1, [&](Stream& sender, SubscriptionArgs& args) {
        look(*args.sample);
        sender.GetLatest(look);
        sender.ChangeLatest([&](Sample& sample) { sample.Resize(1, seen % 4 == 0 ? 9 : 4); },
                            false);
        ++seen;
    }));
    stream.PushMany(stamps, bytes);
    EXPECT_EQ(seen, forms.size());

    seen = 0;
    stream.GetAll([&](const std::vector<Sample*>& lent) {
        const std::string before = BinaryOf(*lent[0]) + BinaryOf(*lent[1]);
        stream.PushMany(stamps, bytes);
        EXPECT_EQ(BinaryOf(*lent[0]) + BinaryOf(*lent[1]), before);
    });
    EXPECT_EQ(seen, forms.size());
}

TEST(PushManyForms, RefusesBytesThatAreNotABatchOfSamples) {
    TestType type{{"id", Int32, 1}};
    Stream stream(&type.type, 9);
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] {
                  stream.PushMany(times, FormOf({1, 2}));
              }),
              "Sample 2 of the batch: The offsets take 8 bytes, but there are only 0.");
    EXPECT_TRUE(stream.IsEmpty());
}

TEST(PushManySamples, LeavesWhatItDidNotPush) {
    TestType layout{{"id", Int32, 1}};
    Stream stream(&layout.type, 9);
    stream.Subscribe(SubscriptionOf(1, [](Stream&, SubscriptionArgs& args) {
        if (args.sample->GetInt32(0, 0) == 2) {
            throw std::runtime_error("enough");
        }
    }));
    SampleBatch batch = BatchOf(layout.type);
    EXPECT_EQ(MessageOf<std::runtime_error>([&] { stream.PushMany(batch); }), "enough");
    EXPECT_EQ(AllOf(stream), (std::vector<int>{1, 2}));
    EXPECT_EQ(batch[1], nullptr);
    ASSERT_NE(batch[2], nullptr);
    EXPECT_EQ(batch[2]->GetInt32(0, 0), 3);

    // The slots grow at the first and at the second sample.
    for (const long failAt : {0L, 1L}) {
        Stream growing(&layout.type, 9);
        batch = BatchOf(layout.type);
        {
            const AllocationProbe probe(failAt);
            EXPECT_THROW(growing.PushMany(batch), std::bad_alloc);
        }
        EXPECT_EQ(growing.GetNumSamples(), failAt);
        EXPECT_EQ(std::count(batch.begin(), batch.end(), nullptr), failAt);
        growing.PushMany(std::span(batch).subspan(static_cast<std::size_t>(failAt)));
        EXPECT_EQ(AllOf(growing), ids);
    }

    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { stream.PushMany(batch); }),
              "Sample 0 of the batch is null.");
    TestType foreign{{"id", Int32, 1}};
    batch = BatchOf(layout.type);
    batch[1] = std::make_unique<Sample>(&foreign.type, Timestamp());
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { stream.PushMany(batch); }),
              "Sample 1 of the batch is of another type.");
    EXPECT_EQ(stream.GetNumSamples(), 2);
    EXPECT_NE(batch[0], nullptr);
}

TEST(SampleBatch, IsDecodedFromFormsOneAfterAnother) {
    TestType layout{{"id", Int32, 1}, {"text", String, 0}};
    const std::string first = BinaryForm({BytesOf(1), "abc"});
    const std::string second = BinaryForm({BytesOf(2), ""});
    const std::vector<Timestamp::TimeVal> two{5, 4};
    const SampleBatch batch = DecodeSamples(layout.type, two, first + second);
    ASSERT_EQ(batch.size(), 2U);
    EXPECT_EQ(BinaryOf(*batch[0]), first);
    EXPECT_EQ(BinaryOf(*batch[1]), second);
    EXPECT_EQ(batch[1]->GetTimeStamp(), Timestamp(4));

    const struct {
        std::string bytes;
        const char* message;
    } cases[] = {
        {first, "Sample 1 of the batch: The offsets take 12 bytes, but there are only 0."},
        {first + second.substr(0, 14),
         "Sample 1 of the batch: The entries end at byte 4, but there are 2 bytes of "
         "elements."},
        {first + first.substr(0, 14),
         "Sample 1 of the batch: The entries end at byte 7, but there are 2 bytes of "
         "elements."},
        {first + BytesOf(0) + BytesOf(8) + first.substr(8),
         "Sample 1 of the batch: Entry 'text' ends at byte 7, before it begins at byte 8."},
        {first + second + "x", "The 2 samples of the batch end at byte 35 of 36."},
        {first + first + first, "The 2 samples of the batch end at byte 38 of 57."}};
    for (const auto& each : cases) {
        EXPECT_EQ(
            MessageOf<std::invalid_argument>([&] { DecodeSamples(layout.type, two, each.bytes); }),
            each.message);
    }
    EXPECT_EQ(MessageOf<std::invalid_argument>(
                  [&] { SetColumn(batch, Field<int>(layout.type, "id"), ids); }),
              "A column of 3 values does not fit 2 samples.");
}

}  // namespace
}  // namespace velmora::core::tessaryn
