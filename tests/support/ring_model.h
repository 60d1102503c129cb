// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "support/choices.h"
#include "support/samples.h"
#include "support/subscribers.h"
#include "tessaryn/errors.h"
#include "tessaryn/stream.h"

#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace velmora::test {

using core::tessaryn::Sample;
using Poco::Timestamp;

/// Asks a query for the numbers of the samples that it selects.
template <class Query>
std::vector<int> Ask(Query query) {
    std::vector<int> numbers;
    query([&](const std::vector<Sample*>& samples) {
        for (const Sample* sample : samples) {
            numbers.push_back(sample->GetInt32(0, 0));
        }
    });
    return numbers;
}

inline std::vector<int> AllOf(const Stream& stream) {
    return Ask([&](auto callback) { stream.GetAll(callback); });
}

constexpr int none = -1;
constexpr int now = INT_MAX;

inline int LatestOf(const Stream& stream) {
    int number = none;
    try {
        stream.GetLatest([&](const Sample& sample) { number = sample.GetInt32(0, 0); });
    } catch (const core::tessaryn::ItemNotFoundException& exception) {
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
        if (slots.erase(newest) != 0) {
            newest = (newest + maxSize - 1) % maxSize;
        }
        return number;
    }
    int Latest() const { return slots.contains(newest) ? slots.at(newest) : none; }
    std::vector<int> Between(int from, int to) const {
        std::vector<int> numbers;
        for (const auto& [slot, number] : slots) {
            if (times.at(number) >= from && times.at(number) <= to) {
                numbers.push_back(number);
            }
        }
        return numbers;
    }

    int maxSize;
    int newest;
    std::map<int, int> slots;
    std::map<int, int> times;
};

/// A stream and its model, which go through the same operations, those of callbacks included.
class ModelledStream {
  public:
    ModelledStream(int maxSize, Choices& source) : choices(source), model(maxSize) {
        stream.Subscribe(SubscriptionOf(1, [this](Stream&, SubscriptionArgs& args) {
            static const char* const names[] = {"pushed ", "popped ", "changed "};
            told += names[args.changeType] + std::to_string(args.sample->GetInt32(0, 0)) + ". ";
            Nest();
        }));
    }

    /// Does one thing, from whose callbacks others may follow, and compares.
    void Step() {
        told.clear();
        expected.clear();
        budget = 4;
        Operate();
        PushForeign();
        ASSERT_EQ(told, expected);
        ExpectSame();
        ASSERT_LE(CountedSample::live, static_cast<int>(model.slots.size()));
    }

  private:
    void ExpectSame() {
        const int from = Time();
        const int to = Time();
        ASSERT_EQ(Ask([&](auto f) { stream.GetBetween(Timestamp(from), Timestamp(to), f); }),
                  model.Between(from, to));
        ASSERT_EQ(Ask([&](auto f) { stream.GetSince(Timestamp(from), f); }),
                  model.Between(from, now));
        ASSERT_EQ(AllOf(stream), model.Between(0, now));
        ASSERT_EQ(stream.IsEmpty(), model.slots.empty());
        ASSERT_EQ(LatestOf(stream), model.Latest());
    }

    int Time() { return static_cast<int>(choices.Below(20)); }

    /// What a callback does besides its own business.
    void Nest() {
        if (budget == 0 || choices.Below(4) != 0) {
            return ExpectSame();
        }
        --budget;
        Operate();
    }

    void PushForeign() { stream.PushNew(new CountedSample(&foreign.type, Timestamp(1))); }

    void Stamp(Sample& live, int time) {
        Sample other(live.GetStreamType(), Timestamp(time));
        other.Set(0, 0, std::to_string(live.GetInt32(0, 0)));
        live = other;
        model.times[live.GetInt32(0, 0)] = time;
        ExpectSame();
    }

    /// A fill or a change.
    auto Filling(int number, int time, const char* change) {
        return [=, this](Sample& live) {
            live.Set(0, 0, number);
            Nest();
            // Also where the sample has left the stream meanwhile.
            if (time % 2 == 0) {
                Stamp(live, time);
            }
            if (*change != '\0') {
                Expect(change, live.GetInt32(0, 0));
            }
        };
    }

    void Expect(const char* change, int number) {
        expected += change + (' ' + std::to_string(number)) + ". ";
    }

    void Operate() {
        const int number = ++lastNumber;
        const int time = Time();
        std::istringstream in(BinaryForm({BytesOf(number)}));
        // Some rings are to fill, others to run empty.
        const unsigned action = choices.Below(model.maxSize % 2 == 0 ? 10 : 14);
        if (action < 2) {
            auto sample = std::make_unique<CountedSample>(&layout.type, Timestamp(time));
            sample->Set(0, 0, std::to_string(number));
            model.Push(number, time);
            Expect("pushed", number);
            stream.PushNew(sample.release());
        } else if (action < 4) {
            model.Push(number, now);
            stream.PushNew(Filling(number, time, "pushed"));
        } else if (action == 4) {
            model.Push(number, now);
            Expect("pushed", number);
            stream.PushNew(in, nullptr);
        } else if (action == 5) {
            model.slots.empty() ? model.Push(number, now) : model.Change(number, false);
            Expect("changed", number);
            stream.DeserializeLatest(in, nullptr);
        } else if (action == 6 && !model.slots.empty()) {
            model.Change(number, true);
            stream.ChangeLatest(Filling(number, time, time < 10 ? "changed" : ""), time < 10);
        } else if (action < 9) {
            Query(time, action == 7);
        } else if (action == 9) {
            // Only the lowest bit means samples.
            stream.Clear(time == 0 ? 1 + 4 + 8 : 4 + 8);
            if (time == 0) {
                model = RingModel(model.maxSize);
            }
        } else {
            const int gone = model.Pop();
            if (gone != none) {
                Expect("popped", gone);
            }
            stream.PopLatest();
        }
    }

    void Query(int time, bool stamp) {
        stream.GetSince(Timestamp(time), [&](const std::vector<Sample*>& samples) {
            for (Sample* live : samples) {
                if (stamp) {
                    Stamp(*live, Time());
                } else {
                    Nest();
                }
                // Whatever has happened to it, it is there to be read.
                ASSERT_LE(live->GetInt32(0, 0), lastNumber);
            }
        });
    }

    Choices& choices;
    TestType layout{{"id", core::tessaryn::Int32, 1}};
    TestType foreign{{"id", core::tessaryn::Int32, 1}};
    RingModel model;
    Stream stream{&layout.type, model.maxSize};
    int lastNumber = 0;
    int budget = 0;
    std::string told;
    std::string expected;
};

}  // namespace velmora::test
