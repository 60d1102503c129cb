// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/rules.h"
#include "support/samples.h"
#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/sample.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using Poco::Dynamic::Var;
using test::OutcomeOf;
using test::Parse;
using namespace std::string_literals;

const std::string noValue = "Invalid access: Can not convert empty value.";
const std::string noTruth = "Bad cast exception: Can not convert to bool";
const std::string outOfRange = "std: Index out of range.";

/// One sample with an entry for every case below.
class RuleEvaluation : public testing::Test {
  protected:
    RuleEvaluation()
        : type({{"x", Int8, 1},      {"neg", Int8, 1},
                {"low", Int8, 1},    {"i16", Int16, 1},
                {"i32", Int32, 1},   {"i64", Int64, 1},
                {"u8", UInt8, 1},    {"u16", UInt16, 1},
                {"u32", UInt32, 1},  {"u64", UInt64, 1},
                {"f", Float, 1},     {"d", Double, 1},
                {"b", Bool, 1},      {"s", String, 0},
                {"arr", Int32, 3},   {"zero", Double, 1},
                {"flags", Bool, 2},  {"empty", String, 0},
                {"none", Int32, 0},  {"nul", String, 0},
                {"high", String, 0}, {"odd", static_cast<BaseType>(13), 2}}),
          sample(&type.type, Poco::Timestamp()) {
        Set("x", char{7});
        Set("neg", char{-5});
        Set("low", char{-128});
        Set("i16", short{-300});
        Set("i32", -70000);
        Set("i64", 5000000000LL);
        Set("u8", static_cast<unsigned char>(200));
        Set("u16", static_cast<unsigned short>(60000));
        Set("u32", 4000000000U);
        Set("u64", std::numeric_limits<unsigned long long>::max());
        Set("f", 0.1F);
        Set("d", 0.5);
        Set("b", true);
        Set("flags", true);
        for (unsigned i = 0; i < 3; ++i)
            sample.Set(sample.EntryId("arr"), i, static_cast<int>(i + 1));
        sample.Set(sample.EntryId("s"), "abc"s);
        sample.Set(sample.EntryId("nul"), "a\0b"s);
        sample.Set(sample.EntryId("high"), "\xff"s);
    }

    template <class T>
    void Set(const std::string& entry, T value) {
        sample.Set(sample.EntryId(entry), 0, value);
    }

    /// What the rule answers, and the tree itself in case it answers something else.
    std::string OutcomeOfRule(const std::string& text) {
        const std::unique_ptr<ISubscriptionRule> rule(Expression(text));
        const std::string outcome = OutcomeOf([&] { return rule->Applies(args); });
        const std::shared_ptr<RLExpr> tree = Parse(text);
        const std::string ofTree =
            OutcomeOf([&] { return valueOf(tree.get(), args).convert<bool>(); });
        return outcome == ofTree ? outcome : outcome + ", but the tree: " + ofTree;
    }

    test::TestType type;
    Sample sample;
    SubscriptionArgs args{changed, &sample, nullptr};
};

TEST_F(RuleEvaluation, AnswersEachRule) {
    const struct {
        std::string outcome;
        std::vector<std::string> rules;
    } cases[] = {
        // The literal is converted to the entry's type, and compared as that.
        {"true",
         {"x == 7 && x == \"7\" && x == 7.5 && x <= 7.5 && x >= 7.5",
          "neg == -5 && neg < 0 && neg > -6 && neg == \"-5\" && neg == -5.9",
          "b == 1 && b == 2 && b == \"yes\" && b != 0 && b == 0.5 && b > false",
          "i16 == -300 && i16 < \"-299\" && i32 == -70000 && i32 == \"-70000\"",
          "i64 == 5000000000 && i64 == 5e9 && i64 == \"5000000000\" && i64 != 705032704",
          "u8 == 200 && u8 > true && u8 >= 200.5 && u16 == 60000 && u16 > -0",
          "u32 == 4000000000 && u32 > 2147483648 && u64 > 9223372036854775807",
          "u64 == \"18446744073709551615\" && f == 0.1 && f == \"0.1\"",
          "d == 0.5 && d < 1 && d == \"0.5\" && zero == false && zero == -0.0",
          "s == \"abc\" && s < \"abd\" && s > \"ab\" && s <= \"abc\" && s != \"ABC\"",
          "nul == \"a\0b\""s, "high > \"z\""}},
        {"false",
         {"x < 7.5", "x != 7.5", "b == \"false\"", "f < 0.1 || f > 0.1", "nul == \"a\"",
          "s == 5 || s == 1.5 || s == true", "s < 5"}},
        // A literal that doesn't fit the entry's type makes every operator false.
        {"false",
         {"x == 300 || x != 300 || x < 300 || x <= 300 || x > 300 || x >= 300",
          "x != -129 || x > -129 || x != \"300\" || x < 1e30",
          "low == -128.0 || low != -128.0 || low >= -128.0",
          "u8 != -1 || u8 > -1 || u8 != 256 || u8 != -0.5", "u64 != -1 || u64 > -1",
          "i32 != 2147483648 || i32 < 2147483648", "x != \"abc\" || x == \"abc\" || x != \"\"",
          "d != \"abc\" || d == \"\""}},
        {"true", {"low == -128 && low <= -127.0"}},
        // All elements must pass, whatever the operator.
        {"true",
         {"arr > 0", "arr != 4", "arr[0:1] < 3",
          "arr[1:99] > 1 && arr[1:] > 1 && arr[:1] < 3 && arr[:] >= 1",
          "arr[-1] >= 1 && arr[-7:-7] <= 3", "arr[-1:0] == 1",
          "arr[2:-1] == 3 && arr[2:2147483647] == 3", "arr > \"0\" && arr <= 3.9"}},
        {"false",
         {"arr > 1", "arr != 2", "arr == 1", "arr[0:2] < 3", "arr[-1] == 1 || arr[-1] == 3",
          "arr[5] == 1 || arr[5] != 1 || arr[2:1] != 9 || arr[3:] != 9",
          "flags == true || flags == false || flags != true", "arr > \"0\" && arr < 3.9"}},
        // Every element of a text is the whole text.
        {"true", {"s[0] == \"abc\" && s[2] == \"abc\" && s[1:] == \"abc\""}},
        {"false",
         {"s[3] == \"abc\" || s[3] != \"abc\"",
          "empty == \"\" || empty != \"\" || empty < \"a\" || empty[0] == \"\""}},
        // Properties.
        {"true",
         {"x.type == \"Int8\" && s.type == \"String\" && u64.type == \"UInt64\"",
          "odd.type == \"Unknown\"",
          "arr.size == 3 && s.size == 3 && none.size == 0 && empty.size < 1",
          "x.exists && nosuch.exists == false && x.exists == true",
          "arr.front == 1 && arr.back == 3 && x.front == 7 && x.back == 7",
          "s.front == \"abc\" && s.back == \"abc\"", "empty.front == \"\" && empty.back == \"\""}},
        {"false",
         {"odd.type == \"UnknownType\"", "arr.size > -1 || arr.size != -1", "nosuch.exists",
          "nosuch.size == 0 || nosuch.size != 0 || nosuch.type == \"Unknown\"",
          "nosuch.front == 1 || nosuch.back != 1", "x.Size == 1 || x.length != 0",
          "odd.front == 0 || odd == 0 || odd != 0 || odd[0] != 0"}},
        // Entries and functions.
        {"true", {"x", "changed()", "true()", "changed() == 1 && pushed() != true"}},
        {"false",
         {"nosuch", "X", "pushed() || popped() || Changed() || false() || anything() || True()",
          "nosuch == 1 || nosuch != 1 || none == 1 || none != 1"}},
        // A value used as a truth, without a comparison.
        {"true", {"x[0] && arr.size && s[0] && d[0] && u64[0] && i64[0] && b[0]", "x.type"}},
        {"false", {"zero[0]", "flags[1]", "empty.front"}},
        {noTruth, {"arr[0:1]", "!arr[:]"}},
        {noValue, {"nosuch[0]", "arr[5]", "none[:]", "nosuch.size", "x.nosuch", "!nosuch.front"}},
        // Short circuits leave the right side alone; "^^" asks both.
        {"false", {"pushed() && nosuch[0]"}},
        {"true",
         {"changed() || nosuch[0]", "changed() ^^ pushed()", "changed() ^^ x == 7 ^^ b == 1"}},
        {noValue,
         {"changed() && nosuch[0]", "pushed() || nosuch[0]", "nosuch[0] && pushed()",
          "pushed() ^^ nosuch[0]"}},
        // The first and last of an entry without elements: an error that comparisons let through.
        {outOfRange,
         {"none.front", "none.back == 1", "!(none.front != 1)", "arr[0:1] ^^ none.back",
          "none.back ^^ nosuch[0]"}},
        {"false", {"pushed() && none.back == 1"}},
        // Missing operands have no value.
        {noValue, {"", "()", "!", "&& x", "x == 7 &&", "x == 7 ^^", "|| x == 7"}},
        {"false", {"x == 8 &&"}},
        {"true", {"x == 7 ||"}},
    };
    for (const auto& [outcome, rules] : cases) {
        for (const std::string& rule : rules)
            EXPECT_EQ(OutcomeOfRule(rule), outcome) << "of: " << rule;
    }
}

TEST_F(RuleEvaluation, ValuesHaveExactlyTheGettersTypes) {
    const struct {
        BaseType type;
        const std::type_info& held;
        std::vector<std::string> expressions;
    } cases[] = {
        {Int8, typeid(char), {"x[0]"}},
        {Int16, typeid(short), {"i16[0]"}},
        {Int32, typeid(int), {"i32.front", "arr[2]"}},
        {Int64, typeid(long long), {"i64.back"}},
        {UInt8, typeid(unsigned char), {"u8[:]"}},
        {UInt16, typeid(unsigned short), {"u16[0]"}},
        {UInt32, typeid(unsigned int), {"u32[0]", "x.size"}},
        {UInt64, typeid(unsigned long long), {"u64[0]"}},
        {Float, typeid(float), {"f[0]"}},
        {Double, typeid(double), {"d[0]"}},
        {Bool, typeid(bool), {"b[0]", "x.exists", "nosuch.exists", "x", "pushed()", "x == 7"}},
        {Bool, typeid(bool), {"x[0] == 7 && arr[:] > 0", "(x) || x[0]", "x[0] ^^ x[0]", "!x[0]"}},
        {String, typeid(std::string), {"s.front", "s[0]", "x.type"}},
        {Int32, typeid(std::vector<Var>), {"arr[:]", "arr[1:2]"}},
        {String, typeid(std::vector<Var>), {"s[:]"}},
        {UnknownType, typeid(void), {"nosuch.size", "x.nosuch", "nosuch[0]", "arr[9]", "none[:]"}},
    };
    for (const auto& c : cases) {
        for (const std::string& expression : c.expressions) {
            const TypedValue value = Parse(expression)->evaluate(args);
            EXPECT_EQ(value.type, c.type) << expression;
            EXPECT_EQ(value.value.type(), c.held) << expression;
        }
    }
    EXPECT_EQ(Parse("arr[1:]")->evaluate(args).value.toString(), "[ 2, 3 ]");
}

/// A sample that answers for itself.
struct Answering : Sample {
    using Sample::Sample;
    int GetInt32(unsigned short /*entry*/, unsigned int /*index*/) const override { return 42; }
    unsigned int GetSize(unsigned short /*entry*/) const override { return 1; }
};

TEST_F(RuleEvaluation, AsksADerivedSampleItself) {
    Answering answering(&type.type, Poco::Timestamp());
    args.sample = &answering;
    EXPECT_EQ(OutcomeOfRule("arr == 42 && arr.size == 1 && none.front == 42"), "true");
}

/// An operand that reports when it is evaluated, and answers or throws what it was given.
class Operand : public RLExpr {
  public:
    Operand(char operandName, TypedValue operandValue, std::string* journal)
        : name(operandName), value(std::move(operandValue)), log(journal) {}
    ~Operand() override = default;

    TypedValue evaluate(const SubscriptionArgs& /*args*/) const override {
        *log += name;
        if (value.type == Bool && value.value.isString())
            throw std::runtime_error(value.value.extract<std::string>());
        return value;
    }
    void dump(std::ostream& /*out*/, int /*indent*/) const override {}

  private:
    char name;
    TypedValue value;
    std::string* log;
};

/// A rule made of a tree by hand.
struct TreeRule : ExpressionRule {
    explicit TreeRule(std::shared_ptr<RLExpr> tree) : ExpressionRule(std::move(tree)) {}
};

TEST(RuleExpressions, OperandsAreEvaluatedAndConvertedInOrder) {
    std::string log;
    test::TestType type({});
    Sample sample(&type.type, Poco::Timestamp());
    SubscriptionArgs args{pushed, &sample, nullptr};
    const auto make = [&](char name, TypedValue value) {
        return std::make_shared<Operand>(name, std::move(value), &log);
    };
    const TypedValue yes(true);
    const TypedValue no(false);
    const TypedValue empty;
    const TypedValue array(Int32, std::vector<Var>());
    const TypedValue error(Bool, "broken"s);
    const struct {
        std::string operators;  // the one between a and b, and between b and c
        TypedValue a, b, c;
        std::string outcome;
        std::string order;
    } cases[] = {
        {"^^", yes, no, yes, "false", "cba"},
        {"^^", yes, yes, yes, "true", "cba"},
        {"^^", empty, array, yes, noValue, "cba"},
        {"^^", array, empty, yes, noTruth, "cba"},
        {"^^", yes, array, empty, noTruth, "cba"},
        {"^^", yes, no, empty, noValue, "cba"},
        {"^^", array, error, empty, "std: broken", "cb"},
        {"&&", yes, no, error, "false", "ab"},
        {"&&", yes, yes, yes, "true", "abc"},
        {"&&", empty, error, error, noValue, "a"},
        {"&&", yes, yes, array, noTruth, "abc"},
        {"||", no, yes, error, "true", "ab"},
        {"||", no, no, no, "false", "abc"},
        {"||", no, array, error, noTruth, "ab"},
        {"^&", yes, yes, yes, "false", "ba"},
        {"^&", yes, no, yes, "true", "bac"},
        {"|&", no, yes, no, "false", "abc"},
        {"|&", yes, error, no, "false", "ac"},
        {"&|", no, error, yes, "true", "ac"},
        {"&|", yes, no, error, "std: broken", "abc"},
        {"&^", no, error, yes, "true", "ca"},
    };
    for (const auto& c : cases) {
        std::shared_ptr<RLExpr> tree = make('a', c.a);
        for (std::size_t i = 0; i < 2; ++i) {
            const auto right = i == 0 ? make('b', c.b) : make('c', c.c);
            if (c.operators[i] == '&')
                tree = std::make_shared<RLAndExpr>(tree, right);
            else if (c.operators[i] == '|')
                tree = std::make_shared<RLOrExpr>(tree, right);
            else
                tree = std::make_shared<RLXorExpr>(tree, right);
        }
        const TreeRule rule(tree);
        for (const bool ofTree : {true, false}) {
            log.clear();
            const auto ask = [&] {
                return ofTree ? tree->evaluate(args).value.convert<bool>() : rule.Applies(args);
            };
            EXPECT_EQ(OutcomeOf(ask), c.outcome) << c.operators << " " << c.order;
            EXPECT_EQ(log, c.order) << c.operators << " " << c.outcome;
        }
    }
}

TEST(RuleExpressions, ComparisonsOfHandMadeValues) {
    std::string log;
    SubscriptionArgs args{pushed, nullptr, nullptr};
    using Elements = std::vector<Var>;
    const struct {
        std::string name;
        TypedValue left;
        Var literal;
        std::string outcome;  // of "==" and "!=" alike
    } cases[] = {
        {"no elements", {Int32, Elements()}, 5, "true"},
        {"no elements of no type", {UnknownType, Elements()}, 5, "true"},
        {"elements of no type", {UnknownType, Elements{1, 1}}, 1, "false"},
        {"no type", {UnknownType, 1}, 1, "false"},
        {"a type above all", {static_cast<BaseType>(13), 1}, 1, "false"},
        {"a value of another type", {Int32, short{1}}, 1, "false"},
        {"an element of another type", {Int32, Elements{1, short{1}}}, 1, "false"},
        {"a failing element before it", {Int32, Elements{2, short{1}}}, 1, "false"},
        {"no value", {Int32, Var()}, 1, "false"},
        {"an empty literal", {Int32, 1}, Var(), "false"},
        {"a signed char for Int8", {Int8, static_cast<signed char>(1)}, 1, "false"},
        {"a nested array", {Int32, Elements{Elements{1}}}, 1, "false"},
        {"an error of another kind", {Bool, "broken"s}, 1, "std: broken"},
    };
    for (const auto& c : cases) {
        const auto operand = std::make_shared<Operand>('a', c.left, &log);
        const RLEqExpr equal(operand, c.literal);
        const RLNeExpr unequal(operand, c.literal);
        for (const RLRelExpr* comparison :
             {static_cast<const RLRelExpr*>(&equal), static_cast<const RLRelExpr*>(&unequal)}) {
            const auto ask = [&] { return comparison->evaluate(args).value.convert<bool>(); };
            EXPECT_EQ(OutcomeOf(ask), c.outcome) << c.name;
        }
    }
    EXPECT_FALSE(RLEqExpr(nullptr, 1).evaluate(args).value.convert<bool>());
    EXPECT_FALSE(RLNeExpr(nullptr, 1).evaluate(args).value.convert<bool>());
}

TEST(RuleOnChangingTypes, FollowsTheTypeOfEachSample) {
    const std::unique_ptr<ISubscriptionRule> rule(Expression("a == 1 && !b"));
    const auto ask = [&](test::TestType& type) {
        Sample sample(&type.type, Poco::Timestamp());
        if (type.type.EntryExists("a"))
            sample.Set(sample.EntryId("a"), 0, "1");
        SubscriptionArgs args{pushed, &sample, nullptr};
        return OutcomeOf([&] { return rule->Applies(args); });
    };
    test::TestType first({{"a", Int32, 1}});
    test::TestType second({{"b", Int32, 1}, {"a", Double, 1}});
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ask(first), "true");
        EXPECT_EQ(ask(second), "false");
    }
    // The types change under the rule: entries come, go and move to other ids.
    first.type.Add("b", Bool, 1);
    EXPECT_EQ(ask(first), "false");
    second.type.Remove(0);
    EXPECT_EQ(ask(second), "true");
    second.type.Remove(0);
    EXPECT_EQ(ask(second), "false");
    second.type = first.type;
    EXPECT_EQ(ask(second), "false");
    first.type.Remove(1);
    EXPECT_EQ(ask(first), "true");
}

TEST_F(RuleEvaluation, ThreadsShareOneTree) {
    const std::unique_ptr<ISubscriptionRule> rule(Expression(
        "arr > 0 && s == \"abc\" && x.size == 1 ^^ (nosuch) || x[0:] == \"7\" && !none"));
    std::atomic<int> applied = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            Sample own(sample);
            SubscriptionArgs ownArgs{changed, &own, nullptr};
            for (int round = 0; round < 500; ++round) {
                // Clones come and go while others evaluate.
                const std::unique_ptr<ISubscriptionRule> clone(rule->Clone());
                applied += clone->Applies(ownArgs) && rule->Applies(ownArgs) ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(applied, 4 * 500);
}

}  // namespace
}  // namespace velmora::core::tessaryn
