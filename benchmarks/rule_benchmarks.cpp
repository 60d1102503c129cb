// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Pushes into a stream with up to a million rules, and rules of every shape one by one, beside C++
// lambdas that do the same.

#include "floor_stream.h"
#include "heap.h"
#include "streams.h"
#include "tessaryn/subscription_rule.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Delegate.h>
#include <Poco/MemoryStream.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <istream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace velmora::benchmarks {
namespace {

using core::tessaryn::Always;
using core::tessaryn::Expression;
using core::tessaryn::ISubscriptionRule;
using RuleOf = std::function<std::string(int)>;

constexpr int manyMatches = 10;
constexpr int manySubscriptions = 10'000;

// The limit of the k-th rule of thousands: below and above the temperatures of the samples.
double RuleLimit(int k) {
    return 20.0 + 0.002 * (k % 10'000);
}

// No sample has the state, as in P3.
std::string RuleOfMany(int k) {
    return "temperature > " + std::to_string(RuleLimit(k)) +
           " && state == " + std::to_string(StateLimit(k));
}

// Not the library's own, so that it is always asked.
class HostRule : public ISubscriptionRule {
  public:
    bool Applies(SubscriptionArgs& args) const override { return args.sample == nullptr; }
    ISubscriptionRule* Clone() const override { return new HostRule(*this); }
};

// A stream and its subscriptions, made once and used by all repetitions.
struct Subscribed {
    explicit Subscribed(StreamType& type) : stream(&type, ringSize) {
        Wrap<Stream, Sample>(stream, source, ringSize);
    }

    void Add(ISubscriptionRule* rule) {
        stream.Subscribe({rule, Poco::delegate(&counter, &Counter<SubscriptionArgs>::OnChange)});
    }

    Stream stream;
    ValueSource source;
    Counter<SubscriptionArgs> counter;
};

std::vector<int> Shuffled(int count) {
    std::vector<int> numbers(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        numbers[static_cast<std::size_t>(i)] = i;
    }
    std::shuffle(numbers.begin(), numbers.end(), std::minstd_rand(1));
    return numbers;
}

struct Case {
    std::string name;
    int count;
    RuleOf ruleOf;
    // Rules that hold for every push, in places among the others.
    int holding = 0;
    int hostRules = 0;
};

void PushMany(benchmark::State& state, const Case& rules) {
    static std::map<std::string, std::unique_ptr<Subscribed>> made;
    std::unique_ptr<Subscribed>& subscribed = made[rules.name];
    if (!subscribed) {
        subscribed = std::make_unique<Subscribed>(TypeOfMoreValues());
        const int total = rules.count + rules.holding + rules.hostRules;
        int place = 0;
        for (const int k : Shuffled(total)) {
            if (k < rules.count) {
                subscribed->Add(Expression(rules.ruleOf(k)));
            } else if (k < rules.count + rules.holding) {
                subscribed->Add(Expression("temperature > " + std::to_string(k % 20) +
                                           " && state != " + std::to_string(10 + place)));
            } else {
                subscribed->Add(new HostRule);
            }
            ++place;
        }
    }
    // The index is made, and caches hold what pushes need: other benchmarks run in between.
    for (int i = 0; i < ringSize; ++i) {
        PushValues<Stream, Sample>(subscribed->stream, subscribed->source);
    }
    const long long before = subscribed->counter.Calls();
    long long pushes = 0;
    for (auto _ : state) {
        PushValues<Stream, Sample>(subscribed->stream, subscribed->source);
        ++pushes;
    }
    if (subscribed->counter.Calls() - before != pushes * rules.holding) {
        state.SkipWithError("the delegates were called at the wrong times");
    }
}

void PushAlways(benchmark::State& state) {
    Subscribed subscribed(TypeOfMoreValues());
    for (int i = 0; i < manyMatches; ++i) {
        subscribed.Add(Always());
    }
    for (auto _ : state) {
        PushValues<Stream, Sample>(subscribed.stream, subscribed.source);
    }
}

// A loop over as many lambdas.
void PushManyLambdas(benchmark::State& state, int count) {
    FloorStream stream(FloorTypeOfValues(), ringSize);
    ValueSource source;
    Wrap<FloorStream, FloorSample>(stream, source, ringSize);
    Counter<FloorArgs> counter;
    for (const int k : Shuffled(count)) {
        const double limit = RuleLimit(k);
        const int wanted = StateLimit(k);
        stream.Subscribe(
            [=](const FloorSample& sample) {
                return sample.Get<double>(temperatureId, 0) > limit &&
                       sample.Get<int>(stateId, 0) == wanted;
            },
            Poco::delegate(&counter, &Counter<FloorArgs>::OnChange));
    }
    for (auto _ : state) {
        PushValues<FloorStream, FloorSample>(stream, source);
    }
}

// Subscribes one more between two pushes; all are dropped when they are as many as before.
void PushAndAdd(benchmark::State& state) {
    constexpr int count = manySubscriptions;
    Subscribed subscribed(TypeOfMoreValues());
    int more = count;
    for (auto _ : state) {
        if (more == count) {
            state.PauseTiming();
            subscribed.stream.Clear(Stream::clearSubscriptions);
            for (const int k : Shuffled(count)) {
                subscribed.Add(Expression(RuleOfMany(k)));
            }
            more = 0;
            state.ResumeTiming();
        }
        subscribed.Add(Expression(RuleOfMany(more++)));
        PushValues<Stream, Sample>(subscribed.stream, subscribed.source);
    }
}

void Parse(benchmark::State& state) {
    int k = 0;
    for (auto _ : state) {
        const std::unique_ptr<ISubscriptionRule> rule(Expression(RuleOfMany(k++ % 10'000)));
        benchmark::DoNotOptimize(rule.get());
    }
}

// Subscribes 10,000 rules, which the next push indexes.
void SubscribeMany(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        Subscribed subscribed(TypeOfValues());
        state.ResumeTiming();
        for (int k = 0; k < manySubscriptions; ++k) {
            subscribed.Add(Expression(RuleOfMany(k)));
        }
        PushValues<Stream, Sample>(subscribed.stream, subscribed.source);
        state.PauseTiming();
        subscribed.stream.Clear(Stream::clearSubscriptions);
        state.ResumeTiming();
    }
}

void ParseMany(benchmark::State& state) {
    for (auto _ : state) {
        for (int k = 0; k < manySubscriptions; ++k) {
            const std::unique_ptr<ISubscriptionRule> rule(Expression(RuleOfMany(k)));
            benchmark::DoNotOptimize(rule.get());
        }
    }
}

// Memory that a subscription takes, its delegate and its part of the index included.
void MeasureSubscriptions(benchmark::State& state, int count) {
    for (auto _ : state) {
        Subscribed subscribed(TypeOfValues());
        const double before = GetHeap();
        for (int k = 0; k < count; ++k) {
            subscribed.Add(Expression(RuleOfMany(k)));
        }
        PushValues<Stream, Sample>(subscribed.stream, subscribed.source);
        ReportBytes(state, (GetHeap() - before) / count);
    }
}

// ---- One by one ----

// As many as are asked one by one, and a few, so that the difference is what rules cost without
// what a notification costs.
constexpr int fewRules = 20;
constexpr int fewestRules = 2;

// Rules with the literal k.
struct Shape {
    const char* name;
    std::function<std::string(const std::string& k)> ruleOf;
    std::function<FloorStream::Filter(int k)> filterOf;
    bool hasMoreValues = false;
};

template <class T>
T At(const FloorSample& sample, Entry entry, unsigned int index = 0) {
    return sample.Get<T>(entry, index);
}

FloorStream::Filter AllPressuresAbove(double limit) {
    return [limit](const FloorSample& sample) {
        const unsigned int count = sample.SizeInBytes(pressureId) / sizeof(float);
        for (unsigned int i = 0; i < count; ++i) {
            if (!(At<float>(sample, pressureId, i) > static_cast<float>(limit))) {
                return false;
            }
        }
        return count > 0;
    };
}

// None holds. Where two are joined, the first one does not decide.
std::vector<Shape> Shapes() {
    using Floor = FloorSample;
    using K = const std::string&;
    const auto hot = [](const Floor& s, int k) { return At<double>(s, temperatureId) > k; };
    const auto is = [](const Floor& s, int k) { return At<int>(s, stateId) == k; };
    const auto label = [](int k) { return "label-0000" + std::to_string(10 + k); };
    return {
        {"one", [](K k) { return "temperature > 1" + k; },
         [=](int k) { return [=](const Floor& s) { return hot(s, 100 + k); }; }},
        {"and", [](K k) { return "temperature > " + k + " && state == 1" + k; },
         [=](int k) { return [=](const Floor& s) { return hot(s, k) && is(s, 100 + k); }; }},
        {"or", [](K k) { return "temperature > 1" + k + " || state == 1" + k; },
         [=](int k) { return [=](const Floor& s) { return hot(s, 100 + k) || is(s, 100 + k); }; }},
        {"not", [](K k) { return "!(temperature > " + k + " && state != 1" + k + ")"; },
         [=](int k) { return [=](const Floor& s) { return !(hot(s, k) && !is(s, 100 + k)); }; }},
        {"xor", [](K k) { return "temperature > 1" + k + " ^^ state == 1" + k; },
         [=](int k) { return [=](const Floor& s) { return hot(s, 100 + k) != is(s, 100 + k); }; }},
        {"element", [](K k) { return "pressure[2] > " + k; },
         [=](int k) {
             return [=](const Floor& s) {
                 return s.SizeInBytes(pressureId) > 2 * sizeof(float) &&
                        At<float>(s, pressureId, 2) > static_cast<float>(k);
             };
         }},
        {"size", [](K k) { return "pressure.size == " + k; },
         [=](int k) {
             return [=](const Floor& s) {
                 return s.SizeInBytes(pressureId) / sizeof(float) == static_cast<unsigned>(k);
             };
         }},
        {"array", [](K k) { return "pressure > -0." + k; },
         [=](int k) { return AllPressuresAbove(-0.01 * k); }},
        {"text", [](K k) { return "label == \"label-0000" + k + '"'; },
         [=](int k) {
             return
                 [wanted = label(k - 10)](const Floor& s) { return s.GetText(labelId) == wanted; };
         }},
        {"range", [](K k) { return "pressure[1:2] > " + k; },
         [=](int k) {
             return [=](const Floor& s) {
                 return s.SizeInBytes(pressureId) > 2 * sizeof(float) &&
                        At<float>(s, pressureId, 1) > static_cast<float>(k) &&
                        At<float>(s, pressureId, 2) > static_cast<float>(k);
             };
         }},
        {"Int32", [](K k) { return "state == " + k; },
         [=](int k) { return [=](const Floor& s) { return is(s, k); }; }},
        {"Int64", [](K k) { return "serial > " + k; },
         [=](int k) { return [=](const Floor& s) { return At<long long>(s, serialId) > k; }; },
         true},
        {"Float", [](K k) { return "level > " + k; },
         [=](int k) {
             return [=](const Floor& s) { return At<float>(s, levelId) > static_cast<float>(k); };
         },
         true},
        {"Bool", [](K k) { return "open == true && state == " + k; },
         [=](int k) { return [=](const Floor& s) { return At<bool>(s, openId) && is(s, k); }; },
         true},
        {"text order", [](K k) { return "label < \"label-0000" + k + '"'; },
         [=](int k) {
             return
                 [wanted = label(k - 10)](const Floor& s) { return s.GetText(labelId) < wanted; };
         }},
    };
}

StreamType& TypeOf(const Shape& shape) {
    return shape.hasMoreValues ? TypeOfMoreValues() : TypeOfValues();
}

const FloorType& FloorTypeOf(const Shape& shape) {
    return shape.hasMoreValues ? FloorTypeOfMoreValues() : FloorTypeOfValues();
}

// Streams with few rules and with the fewest.
struct FewRules {
    explicit FewRules(const Shape& shape) : few(TypeOf(shape)), fewest(TypeOf(shape)) {
        for (int k = 10; k < 10 + fewRules; ++k) {
            few.Add(Expression(shape.ruleOf(std::to_string(k))));
            if (k < 10 + fewestRules) {
                fewest.Add(Expression(shape.ruleOf(std::to_string(k))));
            }
        }
    }
    void PushToFew(std::istream& in) { few.stream.PushNew(in, nullptr); }
    void PushToFewest(std::istream& in) { fewest.stream.PushNew(in, nullptr); }
    long long Calls() const { return few.counter.Calls() + fewest.counter.Calls(); }

    Subscribed few;
    Subscribed fewest;
};

struct FewLambdas {
    explicit FewLambdas(const Shape& shape)
        : few(FloorTypeOf(shape), ringSize), fewest(FloorTypeOf(shape), ringSize) {
        ValueSource source;
        Wrap<FloorStream, FloorSample>(few, source, ringSize);
        Wrap<FloorStream, FloorSample>(fewest, source, ringSize);
        for (int k = 10; k < 10 + fewRules; ++k) {
            const auto delegate = Poco::delegate(&counter, &Counter<FloorArgs>::OnChange);
            few.Subscribe(shape.filterOf(k), delegate);
            if (k < 10 + fewestRules) {
                fewest.Subscribe(shape.filterOf(k), delegate);
            }
        }
    }
    void PushToFew(std::istream& in) { few.PushNew(in); }
    void PushToFewest(std::istream& in) { fewest.PushNew(in); }
    long long Calls() const { return counter.Calls(); }

    FloorStream few;
    FloorStream fewest;
    Counter<FloorArgs> counter;
};

// What the rules cost that few have more than the fewest: both in turn, in one state of the heap.
template <class Rules>
void PushFew(benchmark::State& state, const Shape& shape) {
    Rules rules(shape);
    const std::string bytes = EncodedValues(TypeOf(shape));
    Poco::MemoryInputStream in(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    const auto timeOf = [&](void (Rules::*push)(std::istream&)) {
        constexpr int pushes = 2'000;
        const auto begin = std::chrono::steady_clock::now();
        for (int i = 0; i < pushes; ++i) {
            in.rdbuf()->reset();
            (rules.*push)(in);
        }
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count() /
               pushes;
    };
    double few = 1;
    double fewest = 1;
    for (auto _ : state) {
        constexpr int blocks = 40;
        for (int i = 0; i < blocks; ++i) {
            few = std::min(few, timeOf(&Rules::PushToFew));
            fewest = std::min(fewest, timeOf(&Rules::PushToFewest));
        }
        state.SetIterationTime(std::max(few - fewest, 0.0));
    }
    if (!in || rules.Calls() != 0) {
        state.SkipWithError("a rule holds, or the encoded sample is too short");
    }
}

// ---- Cases ----

std::vector<Case> Cases() {
    const auto text = [](auto number) { return std::to_string(number); };
    std::vector<Case> cases;
    for (const int count : {10, 30, 100, 300, 1000, 10'000, 100'000, 1'000'000}) {
        cases.push_back({"R." + text(count), count, RuleOfMany});
    }
    constexpr int many = manySubscriptions;
    cases.push_back({"R.ten", many, RuleOfMany, manyMatches});
    cases.push_back({"R.host", 1000, RuleOfMany, 0, manyMatches});
    cases.push_back({"R.host alone", 0, RuleOfMany, 0, manyMatches});
    const auto add = [&](const char* name, const RuleOf& ruleOf) {
        cases.push_back({name, many, ruleOf});
    };
    add("R.text", [](int k) { return "label == \"label-1" + std::to_string(20'000 + k) + '"'; });
    add("R.array", [](int k) { return "pressure > " + std::to_string(0.01 * k); });
    // A push leaves one of three states, under which a third of the limits stand.
    add("R.state", [=](int k) {
        return "state == " + text(k % 3) + " && temperature > " + text(40 + 0.01 * k);
    });
    add("R.band", [=](int k) {
        return "temperature > " + text(0.001 * k) + " && temperature < " + text(0.001 * k + 5);
    });
    add("R.or", [=](int k) {
        return "temperature > " + text(40 + 0.01 * k) + " || state == " + text(3 + k);
    });
    add("R.size", [=](int k) { return "label.size == " + text(13 + k); });
    add("R.types", [=](int k) {
        return "open == false && serial == " + text(1 + k) + " && level > " + text(k % 7 - 5);
    });
    add("R.order", [=](int k) { return "label < \"label-0" + text(10'000 + k) + '"'; });
    add("R.mixed", [=](int k) {
        const std::string n = text(10 + k);
        const std::string forms[] = {"temperature > 1" + n,
                                     "!(state != " + n + ")",
                                     "pressure[1] == " + n,
                                     "label == \"" + n + '"',
                                     "popped() && state < " + n,
                                     "serial > " + n,
                                     "level < -" + n + " || label.size > " + n,
                                     "pressure < -" + n};
        return forms[k % 8];
    });
    return cases;
}

}  // namespace

void RegisterRuleBenchmarks() {
    for (const Case& each : Cases()) {
        benchmark::RegisterBenchmark((each.name + "/ours").c_str(), PushMany, each);
    }
    benchmark::RegisterBenchmark("R.always/ours", PushAlways);
    for (const int count : {10, 100, 1000, 10'000, 100'000}) {
        const std::string name = "R." + std::to_string(count) + "/floor";
        benchmark::RegisterBenchmark(name.c_str(), PushManyLambdas, count);
    }
    benchmark::RegisterBenchmark("R.added/ours", PushAndAdd);
    benchmark::RegisterBenchmark("R.parsed/ours", Parse);
    benchmark::RegisterBenchmark("R.subscribe/ours", SubscribeMany);
    benchmark::RegisterBenchmark("R.subscribe/parsed", ParseMany);
    for (const int count : {1000, manySubscriptions}) {
        const std::string name = "R.bytes." + std::to_string(count) + "/ours";
        benchmark::RegisterBenchmark(name.c_str(), MeasureSubscriptions, count)
            ->Iterations(1)
            ->UseManualTime();
    }
    for (const Shape& shape : Shapes()) {
        const std::string name = std::string("R1.") + shape.name;
        const auto add = [&](const char* side, auto run) {
            benchmark::RegisterBenchmark((name + side).c_str(), run, shape)
                ->Iterations(1)
                ->UseManualTime();
        };
        add("/ours", PushFew<FewRules>);
        add("/floor", PushFew<FewLambdas>);
    }
}

}  // namespace velmora::benchmarks
