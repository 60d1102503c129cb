// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "support/choices.h"
#include "support/samples.h"
#include "support/subscribers.h"
#include "tessaryn/errors.h"
#include "tessaryn/stream.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
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

inline int LatestOf(const Stream& stream) {
    int number = none;
    try {
        stream.GetLatest([&](const Sample& sample) { number = sample.GetInt32(0, 0); });
    } catch (const core::tessaryn::ItemNotFoundException& exception) {
        EXPECT_STREQ(exception.what(), "No Sample in Stream");
    }
    return number;
}

/// The times of the model: some long ago, the present as one time, some in the far future.
struct ModelTime {
    static constexpr int early = 0;
    static constexpr int present = 100;
    static constexpr int late = 200;
    static constexpr int end = 300;
    static constexpr unsigned count = 20;

    static Timestamp Stamp(int time) {
        return time < present ? Timestamp(time) : Timestamp::TIMEVAL_MAX - (end - time);
    }
};

/// What a stream should hold: numbers by slot, and a time for each.
struct RingModel {
    explicit RingModel(int size) : maxSize(size), newest(size - 1) {}

    void Push(int number, int time) {
        newest = (newest + 1) % maxSize;
        slots[newest] = number;
        times[number] = time;
    }
    /// Gives the newest sample another number, and keeps its time or gives it another.
    void Change(int number, std::optional<int> time = {}) {
        times[number] = time.value_or(times[slots[newest]]);
        slots[newest] = number;
    }
    int Pop() {
        const int number = Latest();
        if (slots.erase(newest) != 0) {
            newest = (newest + maxSize - 1) % maxSize;
        }
        return number;
    }
    void Clear() {
        slots.clear();
        newest = maxSize - 1;
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
    /// From the oldest on.
    std::vector<int> InPushOrder(int from) const {
        std::vector<int> numbers;
        for (int i = 1; i <= maxSize; ++i) {
            const int slot = (newest + i) % maxSize;
            if (slots.contains(slot) && times.at(slots.at(slot)) >= from) {
                numbers.push_back(slots.at(slot));
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
    enum class Action {
        pushSample,
        pushFilled,
        pushDecoded,
        decodeLatest,
        change,
        query,
        stampAnswer,
        clearSamples,
        clearNothing,
        pop
    };
    /// Which actions come, each as often as it stands there.
    using Mix = std::vector<Action>;

    /// A mix under which the ring stays full, and one under which it runs empty.
    static Mix FillingMix() {
        using enum Action;
        return {pushSample, pushSample,   pushFilled, pushFilled, pushFilled,  pushDecoded,
                change,     decodeLatest, query,      query,      stampAnswer, clearNothing};
    }
    static Mix DrainingMix() {
        using enum Action;
        return {pushSample,  pushFilled,   pushDecoded,  decodeLatest, change, query, query,
                stampAnswer, clearSamples, clearNothing, pop,          pop,    pop,   pop};
    }

    ModelledStream(int maxSize, Mix mix, Choices& source)
        : choices(source), mix(std::move(mix)), model(maxSize) {
        stream.Subscribe(SubscriptionOf(1, [this](Stream&, SubscriptionArgs& args) {
            static const std::array names = {"pushed", "popped", "changed"};
            Log(log, names[args.changeType], args.sample->GetInt32(0, 0));
            Nest();
        }));
    }

    /// Does one thing, from whose callbacks others may follow, and compares.
    void Step() {
        log.clear();
        expected.clear();
        nestedActions = 4;
        Operate();
        // Of another type: deleted without a notification.
        stream.PushNew(new CountedSample(&foreign.type, Timestamp(1)));
        ASSERT_EQ(log, expected);
        ExpectSame();
        ASSERT_LE(CountedSample::live, static_cast<int>(model.slots.size()));
    }

  private:
    static void Log(std::string& to, const char* change, int number) {
        to += change + (' ' + std::to_string(number)) + ". ";
    }
    void Expect(const char* change, int number) { Log(expected, change, number); }

    bool Chance() { return choices.Below(2) == 0; }
    int Time() {
        const int time = static_cast<int>(choices.Below(ModelTime::count));
        return time + (choices.Below(4) == 0 ? ModelTime::late : ModelTime::early);
    }

    void ExpectSame() {
        const int from = Time();
        const int to = Time();
        const Timestamp first = ModelTime::Stamp(from);
        const Timestamp last = ModelTime::Stamp(to);
        ASSERT_EQ(Ask([&](auto f) { stream.GetBetween(first, last, f); }), model.Between(from, to));
        ASSERT_EQ(Ask([&](auto f) { stream.GetSince(first, f); }),
                  model.Between(from, ModelTime::end));
        ASSERT_EQ(AllOf(stream), model.Between(ModelTime::early, ModelTime::end));
        ASSERT_EQ(Ask([&](auto f) { stream.GetSinceInPushOrder(first, f); }),
                  model.InPushOrder(from));
        ASSERT_EQ(Ask([&](auto f) { stream.GetAllInPushOrder(f); }),
                  model.InPushOrder(ModelTime::early));
        ASSERT_EQ(stream.GetNumSamples(), static_cast<int>(model.slots.size()));
        ASSERT_EQ(stream.IsEmpty(), model.slots.empty());
        ASSERT_EQ(LatestOf(stream), model.Latest());
    }

    /// What a callback does besides its own business.
    void Nest() {
        if (nestedActions == 0 || choices.Below(3) == 0) {
            return ExpectSame();
        }
        --nestedActions;
        Operate();
        Nest();
    }

    /// Gives a sample that a callback has in hand another time, also where it has left the stream.
    void Stamp(Sample& live, int time) {
        live = Restamped(live, ModelTime::Stamp(time));
        model.times[live.GetInt32(0, 0)] = time;
        ExpectSame();
    }

    /// A fill or a change.
    auto Filling(int number, const char* change) {
        return [=, this](Sample& live) {
            live.Set(0, 0, number);
            Nest();
            if (Chance()) {
                Stamp(live, Time());
            }
            if (change != nullptr) {
                Expect(change, live.GetInt32(0, 0));
            }
        };
    }

    void Operate() {
        const int number = ++lastNumber;
        const int time = Time();
        std::istringstream in(BinaryForm({BytesOf(number)}));
        switch (mix[choices.Below(static_cast<unsigned>(mix.size()))]) {
            case Action::pushSample: {
                Sample sample(&layout.type, Timestamp());
                sample.Set(0, 0, number);
                model.Push(number, time);
                Expect("pushed", number);
                stream.PushNew(new CountedSample(Restamped(sample, ModelTime::Stamp(time))));
                break;
            }
            case Action::pushFilled:
                model.Push(number, ModelTime::present);
                stream.PushNew(Filling(number, "pushed"));
                break;
            case Action::pushDecoded:
                model.Push(number, ModelTime::present);
                Expect("pushed", number);
                stream.PushNew(in, nullptr);
                break;
            case Action::decodeLatest:
                if (model.slots.empty()) {
                    model.Push(number, ModelTime::present);
                } else {
                    model.Change(number);
                }
                Expect("changed", number);
                stream.DeserializeLatest(in, nullptr);
                break;
            case Action::change:
                if (!model.slots.empty()) {
                    const bool notify = Chance();
                    model.Change(number, ModelTime::present);
                    stream.ChangeLatest(Filling(number, notify ? "changed" : nullptr), notify);
                }
                break;
            case Action::query:
                Query(time, [this](Sample&) { Nest(); });
                break;
            case Action::stampAnswer:
                Query(time, [this](Sample& live) { Stamp(live, Time()); });
                break;
            case Action::clearSamples:
                model.Clear();
                stream.Clear(1 + 4 + 8);
                break;
            case Action::clearNothing:
                stream.Clear(4 + 8);
                break;
            case Action::pop:
                if (const int gone = model.Pop(); gone != none) {
                    Expect("popped", gone);
                }
                stream.PopLatest();
                break;
        }
    }

    template <class Use>
    void Query(int time, Use use) {
        stream.GetSince(ModelTime::Stamp(time), [&](const std::vector<Sample*>& samples) {
            for (Sample* live : samples) {
                use(*live);
                // It can be read, whatever has happened to it.
                ASSERT_LE(live->GetInt32(0, 0), lastNumber);
            }
        });
    }

    Choices& choices;
    Mix mix;
    TestType layout{{"id", core::tessaryn::Int32, 1}};
    TestType foreign{{"id", core::tessaryn::Int32, 1}};
    RingModel model;
    Stream stream{&layout.type, model.maxSize};
    int lastNumber = 0;
    int nestedActions = 0;
    std::string log;
    std::string expected;
};

}  // namespace velmora::test
