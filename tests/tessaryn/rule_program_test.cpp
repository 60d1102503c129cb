// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_program.h"

#include "support/allocation_probe.h"
#include "support/random.h"
#include "support/random_rules.h"
#include "support/rules.h"
#include "support/samples.h"
#include "tessaryn/encoded_rule.h"
#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using namespace std::string_literals;

using Expr = std::shared_ptr<RLExpr>;

std::string OutcomeOfTree(const Expr& tree, const SubscriptionArgs& args) {
    return OutcomeOf([&] { return valueOf(tree.get(), args).convert<bool>(); });
}

// A program binds the names of entries at its first evaluation, so the second may differ.
void ExpectOutcomeOfTree(const Expr& tree, const SubscriptionArgs& args, const std::string& where) {
    const std::string expected = OutcomeOfTree(tree, args);
    const RuleProgram program(tree);
    for (int evaluation = 1; evaluation <= 2; ++evaluation) {
        ASSERT_EQ(OutcomeOf([&] { return program.Holds(args); }), expected)
            << where << "\nevaluation " << evaluation << " of\n"
            << program.Dump();
    }
    const std::string bytes = EncodeRule(tree.get());
    if (!bytes.empty()) {
        ASSERT_EQ(OutcomeOfTree(DecodeRule(bytes), args), expected) << where;
    }
}

TEST(RuleProgram, DumpsItsInstructions) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "0: Fallback ? true : false\n"},
        {"true()", "true\n"},
        {"true() && other() || false()", "false\n"},
        {"x", "0: Exists x ? true : false\n"},
        {"!x", "0: Exists x ? false : true\n"},
        {"x == 1", "0: Compare x == 1 ? true : false\n"},
        {"x[:] < 1.5", "0: Compare x < 1.5 ? true : false\n"},
        {"x[1] != \"a\"", "0: CompareRange x[1:1] != a ? true : false\n"},
        {"x[1:3] >= true", "0: CompareRange x[1:3] >= true ? true : false\n"},
        {"x.size <= 3", "0: CompareSize x <= 3 ? true : false\n"},
        {"popped()", "0: ChangeType func: popped ? true : false\n"},
        {"x[0]", "0: Fallback index: x[0:0] ? true : false\n"},
        {"x.front > 5", "0: Fallback > prop: x.front 5 ? true : false\n"},
        {"x > 1 && y > 2 && z > 3",
         "0: Compare x > 1 ? 1 : false\n"
         "1: Compare y > 2 ? 2 : false\n"
         "2: Compare z > 3 ? true : false\n"},
        {"x > 1 || y > 2",
         "0: Compare x > 1 ? true : 1\n"
         "1: Compare y > 2 ? true : false\n"},
        {"!(x > 1 || (y)) && true() && z[0]",
         "0: Compare x > 1 ? false : 1\n"
         "1: Exists y ? false : 2\n"
         "2: Fallback index: z[0:0] ? true : false\n"},
        // The last operand comes first, as in the tree; the others are compiled for an even and for
        // an odd number of true ones behind them.
        {"x > 1 ^^ y > 2 ^^ !z",
         "0: Exists z ? 2 : 1\n"
         "1: Compare y > 2 ? 4 : 3\n"
         "2: Compare y > 2 ? 3 : 4\n"
         "3: Compare x > 1 ? false : true\n"
         "4: Compare x > 1 ? true : false\n"},
        {"(x > 1 && y > 2) ^^ z > 3",
         "0: Compare z > 3 ? 1 : 2\n"
         "1: Call 3 ? false : true\n"
         "2: Call 3 ? true : false\n"
         "3: Compare x > 1 ? 4 : false\n"
         "4: Compare y > 2 ? true : false\n"},
        // The tree converts the operands to bool after it has evaluated them all.
        {"x[0] ^^ y > 2", "0: Fallback ^^ index: x[0:0] > index: y[0:-1] 2 ? true : false\n"},
    };
    for (const auto& [text, dump] : cases) {
        EXPECT_EQ(RuleProgram(Parse(text)).Dump(), dump) << text;
    }
}

TEST(RuleProgram, HasTheOutcomeOfTheTreeForRandomTexts) {
    Random random;
    std::map<std::string, int> outcomes;
    for (int round = 0; round < 6000; ++round) {
        const RandomRule rule = RuleMaker(random).Expression(0, true);
        RandomSample random_sample(random);
        const SubscriptionArgs args = random_sample.Args();
        const std::string where = rule.text + "\n" + BinaryOf(random_sample.sample);
        const Expr tree = Parse(rule.text);
        ASSERT_EQ(DumpOf(tree.get()), DumpOf(Parse(rule.full).get())) << where;
        ASSERT_NO_FATAL_FAILURE(ExpectOutcomeOfTree(tree, args, where));
        ++outcomes[OutcomeOfTree(tree, args)];
    }
    // Rules that all fail, or all hold, would show nothing.
    EXPECT_TRUE(outcomes["true"] > 500 && outcomes["false"] > 500 && outcomes.size() == 5U);
}

TEST(RuleProgram, HasTheOutcomeOfTheTreeForLiteralsAtTheEndsOfTypes) {
    const std::pair<BaseType, std::string> typesAndValues[] = {
        {Int8, "127"},     {UInt8, "255"},        {Int16, "32767"},
        {UInt16, "65535"}, {Int32, "2147483647"}, {UInt32, "4294967295"}};
    for (const auto& [type, value] : typesAndValues) {
        TestType layout({{"x", type, 1}});
        Sample sample(&layout.type, Poco::Timestamp());
        sample.Set(0, 0, value);
        const SubscriptionArgs args{pushed, &sample, nullptr};
        for (const std::string literal :
             {"-129", "-128", "-127", "-1", "0", "127", "128", "255", "256", "32767", "32768",
              "65535", "65536", "2147483647", "2147483648", "4294967295", "4294967296"}) {
            for (const std::string fraction : {"", ".0"}) {
                for (const std::string comparison : {" == ", " > ", " <= "}) {
                    const std::string text = "x" + comparison + literal + fraction;
                    ASSERT_NO_FATAL_FAILURE(ExpectOutcomeOfTree(Parse(text), args, text)) << type;
                }
            }
        }
    }
}

// A host's operator, which logs that it is evaluated.
template <class Base>
class Logged : public Base {
  public:
    Logged(const Expr& left, const Expr& right, std::string& log) : Base(left, right), log(log) {}
    TypedValue evaluate(const SubscriptionArgs& args) const override {
        log += '(';
        TypedValue value = Base::evaluate(args);
        log += ')';
        return value;
    }

  private:
    std::string& log;
};

// Nodes of all operators on random nodes made before, so that parts are shared.
Expr RandomTree(Random& random, std::string& log) {
    std::vector<Expr> nodes;
    for (int i = 0; i < 3; ++i) {
        nodes.push_back(Parse(RuleMaker(random).Expression(2, true).text));
    }
    const auto pick = [&] { return nodes[random.Below(static_cast<unsigned>(nodes.size()))]; };
    for (int i = 0; i < 9; ++i) {
        switch (random.Below(9)) {
            case 0:
            case 1:
                nodes.push_back(std::make_shared<RLAndExpr>(pick(), pick()));
                break;
            case 2:
            case 3:
                nodes.push_back(std::make_shared<RLOrExpr>(pick(), pick()));
                break;
            case 4:
            case 5:
                nodes.push_back(std::make_shared<RLXorExpr>(pick(), pick()));
                break;
            case 6:
                nodes.push_back(std::make_shared<RLNotExpr>(pick()));
                break;
            case 7:
                nodes.push_back(std::make_shared<RLEqExpr>(pick(), random.Below(2) == 0));
                break;
            default:
                nodes.push_back(std::make_shared<Logged<RLAndExpr>>(pick(), pick(), log));
        }
    }
    return nodes.back();
}

TEST(RuleProgram, HasTheOutcomeOfTheTreeForSharedPartsAndNodesOfAHost) {
    Random random;
    for (int round = 0; round < 1000; ++round) {
        std::string log;
        const Expr tree = RandomTree(random, log);
        RandomSample random_sample(random);
        const SubscriptionArgs args = random_sample.Args();
        const std::string where = DumpOf(tree.get()) + BinaryOf(random_sample.sample);
        const std::string expected = OutcomeOfTree(tree, args);
        const std::string expectedLog = std::exchange(log, "");
        const RuleProgram program(tree);
        ASSERT_EQ(OutcomeOf([&] { return program.Holds(args); }), expected) << where;
        ASSERT_EQ(log, expectedLog) << where << program.Dump();
        ASSERT_NO_FATAL_FAILURE(ExpectOutcomeOfTree(tree, args, where));
    }
}

// Each level uses the one below twice, so the tree unfolds to 2 to the power of 2,000 nodes.
TEST(RuleProgram, OfSharedPartsIsAsLargeAsTheTree) {
    TestType type({{"x", Int32, 1}});
    Sample sample(&type.type, Poco::Timestamp());
    const SubscriptionArgs args{pushed, &sample, nullptr};
    const struct {
        std::string name;
        Expr (*combine)(const Expr& part);
        std::string leaf;
        bool holds;
    } cases[] = {
        {"And", [](const Expr& e) -> Expr { return std::make_shared<RLAndExpr>(e, e); }, "x == 0",
         true},
        {"Or", [](const Expr& e) -> Expr { return std::make_shared<RLOrExpr>(e, e); }, "x == 1",
         false},
        {"Xor", [](const Expr& e) -> Expr { return std::make_shared<RLXorExpr>(e, e); }, "x == 0",
         false},
        {"Not of And",
         [](const Expr& e) -> Expr {
             return std::make_shared<RLNotExpr>(std::make_shared<RLAndExpr>(e, e));
         },
         "x == 0", true},
    };
    constexpr int levels = 2000;
    for (const auto& c : cases) {
        Expr tree = Parse(c.leaf);
        for (int i = 0; i < levels; ++i) {
            tree = c.combine(tree);
        }
        const RuleProgram program(tree);
        EXPECT_EQ(program.Holds(args), c.holds) << c.name;
        EXPECT_LT(program.Dump().size(), levels * 200U) << c.name;
    }
}

TEST(RuleProgram, TakesRareTypesAndLiteralsToo) {
    TestType type({{"u64", UInt64, 1}, {"f", Float, 1}, {"s", String, 0}, {"arr", Int32, 3}});
    type.type.Add("odd", static_cast<BaseType>(13), 2).Add("odder", static_cast<BaseType>(32), 2);
    Sample sample(&type.type, Poco::Timestamp());
    sample.Set(0, 0, ~0ULL);
    sample.Set(1, 0, 0.1F);
    sample.Set(2, "a\0b"s);
    const SubscriptionArgs args{changed, &sample, nullptr};
    for (const std::string& text :
         {"u64 == \"18446744073709551615\" && u64 > 9223372036854775807 && !(u64 != -1)"s,
          "f == 0.1 && arr[2:2147483647] == 0 && arr[:1] < 3"s,
          "s == \"a\0b\" && s[2] == \"a\0b\" && odd.type == \"Unknown\""s,
          "!(odd == 0 || odd != 0 || odd[0] == 0 || odd.front == 0)"s,
          "odder.size == 0 && odd.size < 1 && odder"s}) {
        EXPECT_EQ(OutcomeOfTree(Parse(text), args), "true") << text;
        ASSERT_NO_FATAL_FAILURE(ExpectOutcomeOfTree(Parse(text), args, text));
    }
}

TEST(RuleProgram, ReadsNoEntryThatTheSampleDoesNotHave) {
    TestType type({{"x", Double, 1}});
    Sample older(&type.type, Poco::Timestamp());
    type.type.Add("added", Double, 1);
    Sample newer(&type.type, Poco::Timestamp());
    Sample movedFrom(&type.type, Poco::Timestamp());
    const Sample movedTo(std::move(movedFrom));
    const std::pair<std::string, Sample*> cases[] = {
        {"!(x == 0 && missing == 0)", &newer},
        {"missing.size != 1 || missing", &newer},
        {"x == 0 && !(added == 0 || added != 0)", &older},
        {"added.size == 0 && !(added[0] == 0) && (added)", &older},
        {"!(x == 0 || x.size == 0 || x[0] == 0)", &movedFrom},
        {"!x", &movedFrom},
    };
    for (const auto& [text, sample] : cases) {
        const SubscriptionArgs args{pushed, sample, nullptr};
        ASSERT_NO_FATAL_FAILURE(ExpectOutcomeOfTree(Parse(text), args, text));
        // As one that is bound to a complete sample of the same type.
        SubscriptionArgs other{pushed, &newer, nullptr};
        const RuleProgram program(Parse(text));
        program.Holds(other);
        EXPECT_EQ(OutcomeOf([&] { return program.Holds(args); }), OutcomeOfTree(Parse(text), args))
            << text;
    }
    EXPECT_TRUE(SampleView(older).Bytes(type.type.EntryId("added")).empty());
    EXPECT_EQ(SampleView(older).CompleteLayout(), 0U);
}

TEST(RuleProgram, FollowsMoreTypesThanItIsBoundTo) {
    const RuleProgram program(Parse("x == 7.5"));
    for (int round = 0; round < 100; ++round) {
        TestType type({{"y", Bool, 1}, {"x", round % 2 == 0 ? Int32 : Double, 1}});
        Sample sample(&type.type, Poco::Timestamp());
        sample.Set(1, 0, "7");
        const SubscriptionArgs args{pushed, &sample, nullptr};
        ASSERT_EQ(program.Holds(args), round % 2 == 0) << round;
        ASSERT_EQ(program.Holds(args), round % 2 == 0) << round;
    }
}

TEST(RuleProgram, AllocatesNothingOnceBoundForTheRulesOfTexts) {
    TestType type({{"x", Int32, 2}, {"s", String, 20}});
    Sample sample(&type.type, Poco::Timestamp());
    const SubscriptionArgs args{pushed, &sample, nullptr};
    for (const std::string text :
         {"x == 300 || x == \"a\" || x > 1e300 || missing == 1",
          "x[1] == 0 && x.size == 2 && (s) && !(s == \"a text that is longer than others\")",
          "(x == 0 && pushed()) ^^ (x == 1 || popped()) ^^ !x"}) {
        const RuleProgram program(Parse(text));
        program.Holds(args);
        const AllocationProbe probe;
        program.Holds(args);
        EXPECT_EQ(AllocationProbe::Count(), 0) << text;
    }
}

TEST(RuleProgram, FollowsTheTypeOfEachSampleOnManyThreads) {
    const std::unique_ptr<ISubscriptionRule> rule(Expression("a == 1 && !b"));
    const auto applies = [&](TestType& type) {
        Sample sample(&type.type, Poco::Timestamp());
        if (type.type.EntryExists("a")) {
            sample.Set(sample.EntryId("a"), 0, "1");
        }
        SubscriptionArgs args{pushed, &sample, nullptr};
        // Clones come and go while others evaluate.
        const std::unique_ptr<ISubscriptionRule> clone(rule->Clone());
        return rule->Applies(args) && clone->Applies(args);
    };
    TestType first({{"a", Int32, 1}});
    TestType second({{"b", Int32, 1}, {"a", Double, 1}});
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 300; ++round) {
                EXPECT_TRUE(applies(first) && !applies(second));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    // The types change under the rule: entries come, go and move to other ids.
    first.type.Add("b", Bool, 1);
    EXPECT_FALSE(applies(first));
    second.type.Remove(0);
    EXPECT_TRUE(applies(second));
    second.type.Remove(0);
    EXPECT_FALSE(applies(second));
    first.type.Remove(1);
    EXPECT_TRUE(applies(first));
}

}  // namespace
}  // namespace velmora::core::tessaryn
