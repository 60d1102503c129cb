// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_index.h"

#include "support/random.h"
#include "support/random_rules.h"
#include "support/rules.h"
#include "support/subscribers.h"
#include "tessaryn/stream.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

template <class Number>
std::string S(Number number) {
    return std::to_string(number);
}

// Rules by position, bound to a type.
class Indexed {
  public:
    Indexed(const StreamType& type, const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            trees.push_back(Parse(text));
            codes.push_back(CompileRule(trees.back().get()));
            rules.emplace_back(codes.back(), &type);
        }
    }

    // The rules that are to be asked, with "!" those that hold.
    std::string Asked(const Sample& sample, bool onlyThoseThatHold = false) {
        const SampleView view(sample);
        const SubscriptionArgs args{pushed, const_cast<Sample*>(&sample), nullptr};
        const auto size = static_cast<std::uint32_t>(rules.size());
        if (index.End() == 0) {
            index.Extend(
                size, [this](std::uint32_t i) { return &rules[i]; }, view, args);
        }
        index.Select(selection, 0, view, args);
        std::string asked;
        EntryKeys keys;
        for (auto i = selection.Next(0); i < size; i = selection.Next(i + 1)) {
            const bool holds = rules[i].Holds(view, args);
            EXPECT_EQ(rules[i].Holds(keys, view, args), holds) << i;
            asked += holds || !onlyThoseThatHold ? S(i) + (holds ? "! " : " ") : "";
        }
        return asked;
    }

    // Those that hold, all asked by keys.
    std::string HoldByKeys(const Sample& sample) const {
        const SubscriptionArgs args{pushed, const_cast<Sample*>(&sample), nullptr};
        EntryKeys keys;
        std::string held;
        for (std::size_t i = 0; i < rules.size(); ++i) {
            held += rules[i].Holds(keys, SampleView(sample), args) ? S(i) + "! " : "";
        }
        return held;
    }

  private:
    std::vector<std::shared_ptr<RLExpr>> trees;
    std::deque<CompiledRule> codes;
    std::vector<BoundRule> rules;
    RuleIndex index;
    RuleSelection selection;
};

std::vector<std::string> Repeat(const std::function<std::string(int)>& ruleOf, int count = 8) {
    std::vector<std::string> rules;
    for (int k = 0; k < count; ++k) {
        rules.push_back(ruleOf(k));
    }
    return rules;
}

// x is 3 everywhere: as a number, a text, an array and a size.
TEST(RuleIndex, SelectsOnlyRulesThatHold) {
    TestType layout({{"state", Int32, 1},
                     {"temp", Double, 1},
                     {"bytes", Int8, 1},
                     {"big", UInt64, 1},
                     {"level", Float, 1},
                     {"open", Bool, 1},
                     {"text", String, 1},
                     {"array", Float, 40},
                     {"none", Int16, 0},
                     {"nans", Double, 2}});
    Sample sample(&layout.type, Poco::Timestamp());
    for (unsigned short id = 0; id < 5; ++id) {
        sample.Set(id, 0, "3");
    }
    sample.Set(6, "3");
    for (unsigned int i = 0; i < 40; ++i) {
        sample.Set(7, i, i == 37 ? 3.0F : 5.0F);
    }
    sample.Set(9, 0, 5.0);
    sample.Set(9, 1, std::nan(""));
    const struct {
        std::function<std::string(int)> rule;
        std::string asked;
    } cases[] = {
        {[](int k) { return "state == " + S(k); }, "3! "},
        {[](int k) { return "state != " + S(k); }, "0! 1! 2! 4! 5! 6! 7! "},
        {[](int k) { return "state < " + S(k); }, "4! 5! 6! 7! "},
        {[](int k) { return "temp <= " + S(k); }, "3! 4! 5! 6! 7! "},
        {[](int k) { return "temp > -" + S(k) + ".5"; }, "0! 1! 2! 3! 4! 5! 6! 7! "},
        {[](int k) { return "level >= " + S(k); }, "0! 1! 2! 3! "},
        {[](int k) { return "bytes > -9" + S(k) + " && bytes < " + S(k); }, "4! 5! 6! 7! "},
        {[](int k) { return "big > " + S(k) + " && big != 3"; }, "0 1 2 "},
        {[](int k) { return "open == false && state == " + S(k); }, "3! "},
        {[](int k) { return "text == \"" + S(k) + "\""; }, "3! "},
        {[](int k) { return "text < \"" + S(k) + "\""; }, "4! 5! 6! 7! "},
        {[](int k) { return "text >= \"" + S(k) + "\" && text.size == 1"; }, "0! 1! 2! 3! "},
        {[](int k) { return "array > " + S(k); }, "0! 1! 2! "},
        {[](int k) { return "array < " + S(k); }, "6! 7! "},
        {[](int k) { return "array == " + S(k); }, ""},
        {[](int k) { return "array[37:38] < " + S(k); }, "6! 7! "},
        {[](int k) { return "!(nans > " + S(k) + ")"; }, "0! 1! 2! 3! 4! 5! 6! 7! "},
        {[](int k) { return "array[" + S(k) + "] == 5"; }, "0! 1! 2! 3! 4! 5! 6! 7! "},
        {[](int k) { return "array[37:37] == " + S(k); }, "3! "},
        {[](int k) { return "array.size == 4" + S(k); }, "0! "},
        {[](int k) { return "none == " + S(k); }, ""},
        {[](int k) { return "none.size == " + S(k); }, "0! "},
        {[](int k) { return "!(state != " + S(k) + ")"; }, "3! "},
        {[](int k) { return "!(array > " + S(k) + ")"; }, "3! 4! 5! 6! 7! "},
        {[](int k) { return "!(state < " + S(k) + " || temp > 3)"; }, "0! 1! 2! 3! "},
        {[](int k) { return "state == " + S(k) + " || state == 1" + S(k); }, "3! "},
        {[](int k) { return "state == " + S(k) + " ^^ temp == 1" + S(k); }, "3! "},
        {[](int k) { return "popped() && state == " + S(k); }, ""},
        {[](int k) { return "(missing) && state == " + S(k); }, ""},
        {[](int k) { return "state > 0 && temp < " + S(k) + " && missing == 1"; }, ""},
        {[](int k) { return "state == " + S(k) + " && array[0:1]"; }, "3? "},
    };
    for (const auto& each : cases) {
        if (each.asked == "3? ") {
            Indexed rules(layout.type, Repeat(each.rule));
            EXPECT_THROW(rules.Asked(sample), Poco::BadCastException);
            sample.Set(0, 0, 9);
            EXPECT_EQ(rules.Asked(sample), "");
            sample.Set(0, 0, 3);
        } else {
            EXPECT_EQ(Indexed(layout.type, Repeat(each.rule)).Asked(sample), each.asked)
                << each.rule(0);
        }
    }
}

TEST(RuleIndex, ComparesTheLimitsOfNumbersAsRulesDo) {
    TestType layout({{"d", Double, 1}, {"i", Int64, 1}, {"u", UInt64, 1}});
    const double infinity = std::numeric_limits<double>::infinity();
    const double numbers[] = {0.0, -0.0, std::nan(""), infinity, -infinity, 5e-324, -5e-324, 1e308};
    std::vector<std::string> texts;
    for (const std::string& comparison : comparisons) {
        for (const char* literal :
             {"0", "-0.0", "\"nan\"", "\"inf\"", "\"-inf\"", "5e-324", "7", "-9223372036854775808",
              "9223372036854775807", "\"18446744073709551615\""}) {
            for (const std::string name : {"d ", "i ", "u "}) {
                texts.push_back(name + comparison + " " + literal);
                texts.push_back("!(" + texts.back() + ")");
            }
        }
    }
    Indexed rules(layout.type, texts);
    Sample sample(&layout.type, Poco::Timestamp());
    for (const double number : numbers) {
        for (const long long integer : {0LL, -1LL, std::numeric_limits<long long>::min(),
                                        std::numeric_limits<long long>::max()}) {
            sample.Set(0, 0, number);
            sample.Set(1, 0, integer);
            sample.Set(2, 0, static_cast<unsigned long long>(integer));
            SubscriptionArgs args{pushed, &sample, nullptr};
            std::string expected;
            for (std::size_t i = 0; i < texts.size(); ++i) {
                const std::unique_ptr<ISubscriptionRule> rule(Expression(texts[i]));
                expected += rule->Applies(args) ? std::to_string(i) + "! " : "";
            }
            EXPECT_EQ(rules.Asked(sample, true), expected) << number << " " << integer;
            EXPECT_EQ(rules.HoldByKeys(sample), expected) << number << " " << integer;
        }
    }
}

// No text gives such a literal, but a host's tree may have it.
TEST(EntryKeys, CompareWithNaNAsRulesDo) {
    TestType layout({{"d", Double, 1}, {"f", Float, 1}});
    Sample sample(&layout.type, Poco::Timestamp());
    const SubscriptionArgs args{pushed, &sample, nullptr};
    const SampleView view(sample);
    const Poco::Dynamic::Var nan(std::nan(""));
    for (const char* name : {"d", "f"}) {
        const auto entry = std::make_shared<RLIndexExpr>(name, 0, -1);
        std::string held;
        for (const std::shared_ptr<RLExpr>& tree : std::initializer_list<std::shared_ptr<RLExpr>>{
                 std::make_shared<RLEqExpr>(entry, nan), std::make_shared<RLNeExpr>(entry, nan),
                 std::make_shared<RLLtExpr>(entry, nan), std::make_shared<RLLeExpr>(entry, nan),
                 std::make_shared<RLGtExpr>(entry, nan), std::make_shared<RLGeExpr>(entry, nan)}) {
            const CompiledRule code = CompileRule(tree.get());
            const BoundRule rule(code, &layout.type);
            EntryKeys keys;
            held += rule.Holds(keys, view, args) ? "1" : "0";
            EXPECT_EQ(rule.Holds(view, args), tree->evaluate(args).value.convert<bool>());
        }
        EXPECT_EQ(held, "010000") << name;
    }
}

// Keys are of the first entries only, and only of those that are one number.
TEST(EntryKeys, AreReadOfSingleNumbers) {
    TestType layout({});
    std::vector<std::string> texts;
    for (unsigned short id = 0; id < 40; ++id) {
        const std::string name = "x" + S(id);
        layout.type.Add(name, static_cast<BaseType>(1 + id % 11), 1);
        texts.push_back(name + " == 1");
        texts.push_back(name + " != 0 && x" + S(39 - id) + " < 2");
    }
    const Indexed rules(layout.type, texts);
    Sample sample(&layout.type, Poco::Timestamp());
    for (unsigned short id = 0; id < 40; ++id) {
        EXPECT_EQ(rules.HoldByKeys(sample), "") << id;
        sample.Set(id, 0, "1");
        EXPECT_EQ(rules.HoldByKeys(sample), S(2 * id) + "! " + S(2 * id + 1) + "! ") << id;
        sample.Resize(id, 2);
        EXPECT_EQ(rules.HoldByKeys(sample), "") << id;
        sample.Set(id, 1, "1");
        EXPECT_EQ(rules.HoldByKeys(sample), S(2 * id) + "! " + S(2 * id + 1) + "! ") << id;
        sample.Resize(id, 0);
        EXPECT_EQ(rules.HoldByKeys(sample), "") << id;
        sample.Resize(id, 1);
        sample.Set(id, 0, "0");
    }
}

// Some thousand rules of one form: what is asked grows with what holds, not with the rules.
TEST(RuleIndex, FindsFewAmongManyInBatches) {
    TestType layout({{"temp", Double, 1}, {"state", Int32, 1}});
    Sample sample(&layout.type, Poco::Timestamp());
    Random random;
    struct Rule {
        int above;
        int state;
    };
    std::vector<Rule> expected;
    std::vector<std::shared_ptr<RLExpr>> trees;
    std::vector<BoundRule> rules;
    RuleIndex index;
    RuleSelection selection;
    const SampleView view(sample);
    const SubscriptionArgs args{pushed, &sample, nullptr};
    while (rules.size() < 3000) {
        for (unsigned count = 1 + random.Below(200); count > 0; --count) {
            const Rule rule{static_cast<int>(random.Below(1000)),
                            static_cast<int>(random.Below(9))};
            expected.push_back(rule);
            trees.push_back(Parse("temp > " + S(rule.above) + " && state == " + S(rule.state)));
            rules.emplace_back(CompileRule(trees.back().get()), &layout.type);
        }
        index.Extend(
            static_cast<std::uint32_t>(rules.size()), [&](std::uint32_t i) { return &rules[i]; },
            view, args);
        const int temp = static_cast<int>(random.Below(1000));
        const int state = static_cast<int>(random.Below(9));
        const auto from = random.Below(static_cast<unsigned>(rules.size()));
        sample.Set(0, 0, static_cast<double>(temp));
        sample.Set(1, 0, state);
        index.Select(selection, from, SampleView(sample), args);
        auto next = selection.Next(from);
        for (auto i = from; i < rules.size(); ++i) {
            if (expected[i].state == state && expected[i].above < temp) {
                ASSERT_EQ(next, i);
                next = selection.Next(i + 1);
            }
        }
        ASSERT_EQ(next, rules.size());
    }
}

// Rules that do not hold, and a last one that does after a delegate has acted.
std::string LogAfter(const std::string& others, const std::string& last,
                     const std::function<void(Stream&, Sample&)>& act, int count = 30) {
    TestType layout({{"a", String, 1}, {"b", Int32, 1}});
    Stream stream(&layout.type, 3);
    std::string log;
    bool acted = false;
    const auto subscribe = [&](const std::string& text, int target) {
        stream.Subscribe({Expression(text), TestDelegate(target, [&, target](Stream&, auto& args) {
                              log += S(target) + " ";
                              if (target == 1 && !std::exchange(acted, true)) {
                                  act(stream, *args.sample);
                              }
                          })});
    };
    subscribe("b == 0", 1);
    for (int i = 1; i <= count; ++i) {
        subscribe(others + " \"" + S(i) + '"', 2);
    }
    subscribe(last, 3);
    stream.PushNew([](Sample& sample) { sample.Set(0, "9"); });
    return log;
}

TEST(RuleIndex, FindsTheRestAgainWhenADelegateChangesAText) {
    EXPECT_EQ(LogAfter("a <", "a < \"9\"", [](Stream&, Sample& copy) { copy.Set(0, "90"); }), "1 ");
    EXPECT_EQ(LogAfter("a <", "a < \"9\"", [](Stream&, Sample& copy) { copy.Set(0, "8"); }),
              "1 2 3 ");
}

// Rules like the last one come, so that it is found in another way than when the push began.
// So few are asked one by one, by keys.
TEST(EntryKeys, AreReadAgainWhenADelegateChangesTheSample) {
    for (const int count : {1, 5, 20}) {
        const auto set = [](Stream&, Sample& copy) { copy.Set(1, 0, 99); };
        EXPECT_EQ(LogAfter("b == -1 && a !=", "b == 99", set, count), "1 3 ") << count;
        EXPECT_EQ(LogAfter("b == -1 && a !=", "b == 0", set, count), "1 ") << count;
        const auto enlarge = [](Stream&, Sample& copy) { copy.Resize(1, 2); };
        EXPECT_EQ(LogAfter("b == -1 && a !=", "b[1] == 0", enlarge, count), "1 3 ") << count;
    }
}

TEST(RuleIndex, FindsTheRestAgainWhenADelegateChangesTheIndex) {
    const auto subscribeAndPush = [](Stream& stream, Sample&) {
        for (int i = 0; i < 40; ++i) {
            stream.Subscribe({Expression("b > " + S(i)), TestDelegate(4, [](auto&&...) {})});
        }
        stream.PushNew([](Sample& sample) { sample.Set(0, "9"); });
    };
    EXPECT_EQ(LogAfter("b ==", "b > -1", subscribeAndPush), "1 1 3 3 ");
}

// Gives two worlds the same numbers.
class Repeatable : public Choices {
  public:
    explicit Repeatable(unsigned seed = 1) : engine(seed) {}
    unsigned Below(unsigned limit) override { return static_cast<unsigned>(engine() % limit); }
    void Reseed(unsigned seed) { engine.seed(seed); }

  private:
    std::minstd_rand engine;
};

// A stream, its subscribers and what they did. Delegates act by chance, but equally in two streams
// that are used alike.
class World {
  public:
    // \param isAsked whether each rule is wrapped in one of the host, which is asked always
    World(TestType& layout, bool isAsked) : stream(&layout.type, 3), isAsked(isAsked) {}

    void Subscribe(const std::string& text, int target) {
        std::shared_ptr<ISubscriptionRule> rule(Expression(text));
        std::unique_ptr<ISubscriptionRule> stored(rule->Clone());
        if (isAsked) {
            stored = std::make_unique<TestRule>(
                [rule](SubscriptionArgs& args) { return rule->Applies(args); });
        }
        const auto notified = [this, target, text](Stream&, SubscriptionArgs& args) {
            log += std::to_string(target) + ' ' + text + '\n';
            Act(target, args);
        };
        stream.Subscribe({std::move(stored), TestDelegate(target, notified)});
    }

    void Unsubscribe(int target) {
        stream.Unsubscribe(SubscriptionOf(target, [](auto&&...) {}));
    }

    // Delegates that act, one of so many.
    unsigned actEvery = 60;
    std::function<void(Choices&, Sample&)> fill;
    Repeatable actions;
    std::string log;
    Stream stream;

  private:
    void Act(int target, SubscriptionArgs& args) {
        if (actions.Below(actEvery) != 0 || depth > 1) {
            return;
        }
        ++depth;
        switch (actions.Below(12)) {
            case 0:
                Unsubscribe(target);
                break;
            case 1:
                Unsubscribe(static_cast<int>(actions.Below(100)));
                break;
            case 2:
                for (int i = 0; i < 40; ++i) {
                    Subscribe("a > " + S(i) + " || c == " + S(i), 100 + target);
                }
                break;
            case 3:
                stream.PopLatest();
                break;
            case 4:
                stream.PushNew([this](Sample& sample) { fill(actions, sample); });
                break;
            case 5:
                args.changeType = changed;
                break;
            case 6:
                args.sample = &replacement;
                break;
            case 7:
                if (actions.Below(10) == 0) {
                    --depth;
                    throw std::runtime_error("thrown " + S(target));
                }
                break;
            default:
                fill(actions, *args.sample);
        }
        --depth;
    }

    bool isAsked;
    // Of a type whose entries have the names in another order.
    TestType other{{"c", String, 2}, {"b", Double, 1}, {"a", Int16, 3}};
    Sample replacement{&other.type, Poco::Timestamp()};
    int depth = 0;
};

std::string RandomText(Random& random) {
    const auto number = [&] { return S(static_cast<int>(random.Below(40)) - 5); };
    const std::string name = std::string(1, static_cast<char>('a' + random.Below(3)));
    const auto comparison = [&] { return " " + comparisons[random.Below(6)] + " "; };
    switch (random.Below(5)) {
        case 0:
            return RuleMaker(random).Expression(0, true).text;
        case 1:
            return "a" + comparison() + number() + " && b == " + number();
        case 2:
            return name + " > " + number() + " && " + name + " < " + number() + ".5";
        case 3:
            return name + comparison() + '"' + number() + '"';
        default:
            return name + "[0:1]" + comparison() + number() + " || " + name +
                   ".size == " + number();
    }
}

void FillAtRandom(Choices& random, Sample& sample) {
    for (unsigned short id = 0; id < 3 && sample.GetStreamType() != nullptr; ++id) {
        const std::string number = S(static_cast<int>(random.Below(40)));
        if (sample.GetStreamType()->GetType(id) == String) {
            sample.Set(id, random.Below(4) == 0 ? "" : number);
            continue;
        }
        sample.Resize(id, random.Below(4) == 0 ? random.Below(40) : 1);
        for (unsigned int i = 0; i < sample.GetSize(id); ++i) {
            sample.Set(id, i, random.Below(2) == 0 ? number : S(static_cast<int>(i) % 7));
        }
    }
}

// Beside a stream whose rules are all asked, in their order.
TEST(RuleIndex, NotifiesAsIfEachRuleWereEvaluated) {
    Random random;
    int notified = 0;
    int thrown = 0;
    for (unsigned round = 0; round < 6; ++round) {
        const auto type = [&] { return static_cast<BaseType>(1 + random.Below(12)); };
        TestType layout({{"a", type(), 1}, {"b", type(), 1}, {"c", type(), 1}});
        World indexed(layout, false);
        World asked(layout, true);
        indexed.fill = asked.fill = FillAtRandom;
        for (int push = 0; push < 16; ++push) {
            for (unsigned count = random.Below(100); count > 0; --count) {
                const std::string text = RandomText(random);
                // With many rules that throw none would be reached.
                if (CompileRule(Parse(text).get()).mayThrow && random.Below(1000) > round) {
                    continue;
                }
                const int target = static_cast<int>(random.Below(100));
                indexed.Subscribe(text, target);
                asked.Subscribe(text, target);
            }
            const int target = static_cast<int>(random.Below(100));
            const unsigned seed = random.Below(1000000);
            std::string outcomes[2];
            for (World* world : {&indexed, &asked}) {
                world->actions.Reseed(seed);
                world->log.clear();
                // Now and then so many that the list is compacted.
                for (int i = 0; i < (push % 6 == 5 ? 70 : 1); ++i) {
                    world->Unsubscribe((target + i) % 100);
                }
                outcomes[world == &asked ? 1 : 0] = OutcomeOf([&] {
                    world->stream.PushNew(
                        [&](Sample& sample) { FillAtRandom(world->actions, sample); });
                    return true;
                });
            }
            ASSERT_EQ(outcomes[0], outcomes[1]) << round << " " << push;
            ASSERT_EQ(indexed.log, asked.log) << round << " " << push;
            notified += indexed.log.empty() ? 0 : 1;
            thrown += outcomes[0] == "true" ? 0 : 1;
        }
        indexed.stream.Clear(2);
        asked.stream.Clear(2);
    }
    EXPECT_TRUE(notified > 40 && thrown < 100) << notified << " " << thrown;
}

}  // namespace
}  // namespace velmora::core::tessaryn
